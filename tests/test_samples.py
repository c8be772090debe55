"""The real engine, end to end: what a user gets from the samples."""

import hashlib
import os
import re
import shutil
import subprocess
from pathlib import Path

import numpy
import pikepdf
import pytest
from PIL import Image

import messages
from profiles import write_profile
from sequence import MINIMAL

SAMPLES = sorted((Path(__file__).resolve().parent.parent / "samples").glob("*.pdf"))


def text_of(path):
    return subprocess.run(["pdftotext", "-layout", path, "-"], capture_output=True, check=True).stdout


def page_count(path):
    return int(subprocess.run(["qpdf", "--show-npages", path], capture_output=True, check=True).stdout)


def assert_sound(path):
    check = subprocess.run(["qpdf", "--check", path], capture_output=True, text=True)
    assert check.returncode == 0, check.stdout + check.stderr
    assert "WARNING" not in check.stdout + check.stderr


def rendered(path, page, folder):
    base = folder / "page"
    subprocess.run(["pdftoppm", "-r", "60", "-f", str(page), "-l", str(page), "-singlefile", path, base], check=True)
    return numpy.asarray(Image.open(f"{base}.ppm").convert("L")).astype(float)


def looks(one, other, folder):
    """How the first pages compare: the mean difference of their pixels, 0 to 255, and their correlation."""
    before, after = rendered(one, 1, folder), rendered(other, 1, folder)
    assert before.shape == after.shape
    return numpy.abs(before - after).mean(), numpy.corrcoef(before.ravel(), after.ravel())[0, 1]


@pytest.fixture
def copies(granted):
    for sample in SAMPLES:
        shutil.copy(sample, granted.documents)
    return granted


def test_there_are_samples():
    assert len(SAMPLES) >= 5
    assert sum(sample.stat().st_size for sample in SAMPLES) < 3_000_000


@pytest.mark.parametrize("profile", [None, MINIMAL], ids=["web", "minimal"])
def test_every_sample_gets_smaller_and_stays_the_same_document(copies, profile):
    options = []
    if profile:
        write_profile(copies, profile)
        options = ["p.kelvcp"]
    before = {sample.name: hashlib.sha256(sample.read_bytes()).digest() for sample in SAMPLES}
    run = copies.kelv(".", "--output", "out", "--verbose", *options, recording=False, timeout=200)
    run.assert_clean_end()
    assert run.text[-1] == messages.FINISHED, run.text
    for sample in SAMPLES:
        original, result = copies.documents / sample.name, copies.documents / "out" / sample.name
        assert hashlib.sha256(original.read_bytes()).digest() == before[sample.name]
        assert result.stat().st_size < original.stat().st_size * 0.95
        assert_sound(result)
        assert page_count(result) == page_count(original)
        assert text_of(result) == text_of(original)
        difference, correlation = looks(original, result, copies.root)
        # At 150 dpi the type of a black-and-white scan may get coarser; the web profile allows nothing that is seen.
        assert correlation > 0.9, sample.name
        assert profile is not None or difference < 4, sample.name
    assert copies.temporary_files() == []


def test_what_a_reader_uses_stays(copies):
    copies.kelv("report.pdf", "--output", "out", recording=False).assert_clean_end()
    with pikepdf.open(copies.documents / "out" / "report.pdf") as result:
        with result.open_outline() as outline:
            assert [item.title for item in outline.root] == [f"Chapter {number}" for number in range(1, 9)]
        link = result.pages[0].Annots[0]
        assert str(link.A.URI) == "https://example.org/"
        assert str(result.docinfo["/Title"]) == "Report"


def test_results_are_linearized(copies):
    copies.kelv("report.pdf", "--output", "out", recording=False).assert_clean_end()
    check = subprocess.run(["qpdf", "--check-linearization", copies.documents / "out" / "report.pdf"], capture_output=True, text=True)
    assert check.returncode == 0 and "no linearization errors" in check.stdout


def test_the_profiles_information_is_in_the_document(copies):
    write_profile(
        copies,
        {
            **MINIMAL,
            "removeAuthor": True,
            "customAuthor": "Jürgen 日本",
            "removeTitle": True,
            "updateModificationAndCreationDate": True,
            "updateModificationDate": True,
        },
    )
    copies.kelv("report.pdf", "p.kelvcp", "--output", "out", recording=False).assert_clean_end()
    with pikepdf.open(copies.documents / "out" / "report.pdf") as result:
        assert str(result.docinfo["/Author"]) == "Jürgen 日本"
        assert "/Title" not in result.docinfo or str(result.docinfo["/Title"]) == ""
        assert str(result.docinfo["/Producer"]) == "Kelvara 4"
        assert re.fullmatch(r"D:\d{14}\+00'00'", str(result.docinfo["/CreationDate"]))
        assert str(result.docinfo["/CreationDate"]) != "D:20260101120000Z"


def test_an_old_modification_date_is_kept_when_asked(copies):
    write_profile(copies, {**MINIMAL, "updateModificationAndCreationDate": False, "updateModificationDate": False})
    copies.kelv("report.pdf", "p.kelvcp", "--output", "out", recording=False).assert_clean_end()
    with pikepdf.open(copies.documents / "out" / "report.pdf") as result:
        assert str(result.docinfo["/ModDate"]) == "D:20260101120000Z"
        assert str(result.docinfo["/CreationDate"]) == "D:20260101120000Z"


def test_a_document_without_a_modification_date_gets_none_when_asked(copies):
    with pikepdf.open(copies.documents / "report.pdf", allow_overwriting_input=True) as original:
        del original.docinfo["/ModDate"]
        original.save(copies.documents / "report.pdf")
    write_profile(copies, {**MINIMAL, "updateModificationAndCreationDate": False, "updateModificationDate": False})
    copies.kelv("report.pdf", "p.kelvcp", "--output", "out", recording=False).assert_clean_end()
    with pikepdf.open(copies.documents / "out" / "report.pdf") as result:
        assert "/ModDate" not in result.docinfo


def test_the_modification_date_is_renewed_otherwise(copies):
    copies.kelv("report.pdf", "--output", "out", recording=False).assert_clean_end()
    with pikepdf.open(copies.documents / "out" / "report.pdf") as result:
        assert str(result.docinfo["/ModDate"]) != "D:20260101120000Z"


def test_tags_and_replacing_with_the_real_engine(copies):
    path = copies.documents / "report.pdf"
    os.setxattr(path, "user.xdg.tags", b"Red")
    before = path.read_bytes()
    copies.kelv("report.pdf", "--replace", recording=False).assert_clean_end()
    assert path.stat().st_size < len(before)
    assert os.getxattr(path, "user.xdg.tags") == b"Red"
    assert (copies.data / "Trash" / "files" / "report.pdf").read_bytes() == before
    assert_sound(path)


def test_a_second_pass_over_a_result_does_no_harm(copies):
    copies.kelv("report.pdf", "--output", "out", recording=False).assert_clean_end()
    again = copies.kelv("out/report.pdf", "--output", "again", "--verbose", recording=False)
    again.assert_clean_end()
    assert again.text[-1] == messages.FINISHED
    result = copies.documents / "again" / "report.pdf"
    if result.exists():
        assert_sound(result)
        assert text_of(result) == text_of(copies.documents / "report.pdf")


@pytest.mark.parametrize(
    "content",
    [b"", b"no pdf at all", b"%PDF-1.7\n", b"%PDF-1.4\n" + bytes(range(256)) * 20],
    ids=["no bytes", "text", "head only", "noise"],
)
def test_a_file_that_is_no_pdf_is_refused_with_a_reason_and_the_others_go_on(copies, content):
    (copies.documents / "bad.pdf").write_bytes(content)
    run = copies.kelv("bad.pdf", "charts.pdf", "--output", "out", recording=False)
    run.assert_clean_end()
    assert run.text[0].startswith("ERROR: # sdfgWWe :) - error: ")
    assert run.text[0].endswith(f" -  uncompressedFilePath: {copies.documents}/bad.pdf")
    assert run.text[1].startswith(messages.UNABLE) and len(run.text[1]) > len(messages.UNABLE)
    assert (copies.documents / "bad.pdf").read_bytes() == content
    assert copies.names(copies.documents / "out") == ["charts.pdf"]


def test_a_document_with_a_password_is_refused_with_a_reason(copies):
    subprocess.run(
        ["qpdf", "--encrypt", "user", "owner", "256", "--", copies.documents / "charts.pdf", copies.documents / "locked.pdf"], check=True
    )
    run = copies.kelv("locked.pdf", recording=False)
    run.assert_clean_end()
    assert run.text[0].startswith("ERROR: # sdfgWWe :) - error: ")
    assert "assword" in run.text[0]


def test_a_document_with_only_an_owner_password_is_compressed(copies):
    subprocess.run(
        ["qpdf", "--encrypt", "", "owner", "256", "--", copies.documents / "charts.pdf", copies.documents / "owned.pdf"], check=True
    )
    copies.kelv("owned.pdf", "--output", "out", recording=False).assert_clean_end()
    assert_sound(copies.documents / "out" / "owned.pdf")
    assert text_of(copies.documents / "out" / "owned.pdf") == text_of(copies.documents / "owned.pdf")
