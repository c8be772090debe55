"""Where the bytes are, as text, JSON and a page in a real browser."""

import json
import plistlib
import re
import signal
import subprocess
import time

import pikepdf
import pytest

from browser import Browser
from companion import FAILURE, OK, USAGE, kelvara
from documents import document, picture
from world import KELVARA, SANITIZED


@pytest.fixture
def report(world):
    """A document with something of many kinds."""
    return document(world.documents / "report.pdf", texts=("First page", "Second page"))


def rows_of(answer, index=0):
    return {row["kind"]: row for row in answer.json["files"][index]["rows"]}


@pytest.mark.parametrize(
    "save",
    [
        {},
        {"object_stream_mode": pikepdf.ObjectStreamMode.generate},
        {"linearize": True},
        {"qdf": True},
        {"encryption": pikepdf.Encryption(owner="o", user="")},
        {"object_stream_mode": pikepdf.ObjectStreamMode.generate, "linearize": True},
    ],
    ids=["plain", "object streams", "linearized", "spelt out", "encrypted", "all at once"],
)
def test_what_is_found_adds_up_to_the_files_size(world, save):
    path = document(world.documents / "a.pdf", **save)
    answer = kelvara(world, "audit", "a.pdf", "--json")
    [file] = answer.json["files"]
    assert file["bytes"] == path.stat().st_size == sum(row["bytes"] for row in file["rows"])
    assert file["pages"] == 1
    assert file["linearized"] == ("linearize" in save)
    assert file["encrypted"] == ("encryption" in save)
    rows = rows_of(answer)
    assert "unreferenced" not in rows and "stray-bytes" not in rows and "earlier-versions" not in rows
    with pikepdf.open(path) as pdf:
        image = len(pdf.pages[0].Resources.XObject.Im0.read_raw_bytes())
        attachment = len(pdf.attachments["notes.txt"].obj.EF.F.read_raw_bytes())
    assert image < rows["image-flate"]["bytes"] < image + 400
    assert rows["image-flate"]["dpi"] == "above 150 dpi"
    assert attachment < rows["attachments"]["bytes"] < attachment + 1000
    assert rows["content-pages"]["count"] == 1
    assert rows["form-fields"]["count"] >= 1


def test_the_table_is_aligned_and_holds_the_same_figures(world, report):
    answer = kelvara(world, "audit", "report.pdf")
    assert (answer.status, answer.err) == (OK, "")
    assert answer.lines[0].startswith("report.pdf: ")
    assert "2 pages, PDF 1." in answer.lines[0]
    table = answer.lines[2:]
    ends = {len(line) for line in table[1:-1]}
    assert len(ends) == 1, answer.out
    assert re.search(r"^Images +\d", answer.out, re.M)
    assert re.search(r"^  Flate, above 150 dpi +1 +2\d\.\d kB +\d+\.\d %$", answer.out, re.M)
    assert table[-1].split()[0] == "All"


def test_an_image_is_described(world, report):
    [file] = kelvara(world, "audit", "report.pdf", "--json").json["files"]
    image = file["items"][0]
    assert (image["kind"], image["width"], image["height"], image["bits"], image["color"]) == (
        "image-flate", 200, 100, 8, "DeviceGray")  # fmt: skip
    assert image["dpi"] == pytest.approx(200)
    assert image["page"] == 1
    assert "notes.txt" in [item.get("name") for item in file["items"]]


def test_what_an_update_left_behind_is_named(world, report):
    before = report.read_bytes()
    start = before.rfind(b"startxref\n") + 10
    previous = int(before[start : before.find(b"\n", start)])
    update = b"%d 0 obj\n(orphan)\nendobj\n"
    with pikepdf.open(report) as pdf:
        number = len(pdf.objects) + 1
    update = update % number
    table = b"xref\n%d 1\n%010d 00000 n \n" % (number, len(before))
    trailer = b"trailer\n<< /Size %d /Root 1 0 R /Prev %d >>\nstartxref\n%d\n%%%%EOF\n"
    report.write_bytes(before + update + table + trailer % (number + 1, previous, len(before) + len(update)))
    rows = rows_of(kelvara(world, "audit", "report.pdf", "--json"))
    assert rows["unreferenced"]["bytes"] == len(update) - 1
    assert sum(row["bytes"] for row in rows.values()) == report.stat().st_size


@pytest.mark.parametrize("profile", ["default", "web", "archive", "minimum", "own.kelvcp"])
def test_what_a_profile_would_save_is_what_kelv_saves(granted, profile):
    path = document(granted.documents / "report.pdf", texts=("First", "Second"))
    arguments = []
    if profile == "own.kelvcp":
        kelvara(granted, "profile", "new", profile, "removeTitle=yes", "customTitle=Short", "imageResolution=72")
    elif profile != "default":
        kelvara(granted, "profile", "export", profile, "own.kelvcp")
    if profile != "default":
        arguments = ["--profile", "own.kelvcp"]
    before = path.read_bytes()
    [file] = kelvara(granted, "audit", "report.pdf", "--profile", profile, "--json").json["files"]
    [estimate] = file["estimates"]
    assert path.read_bytes() == before
    assert granted.temporary_files() == []
    assert sum(row["bytes"] for row in estimate["rows"]) == estimate["bytes"]
    granted.kelv("report.pdf", *arguments, recording=False)
    result = granted.documents / "report 2.pdf"
    if estimate["saved"] > 0:
        # Dates and identifiers are of another moment.
        assert abs(result.stat().st_size - estimate["bytes"]) <= 40
        assert "would save" in kelvara(granted, "audit", "report.pdf", "--profile", profile).out
    else:
        assert not result.exists()


def test_an_estimate_that_is_stopped_leaves_nothing(world):
    path = document(world.documents / "large.pdf")
    with pikepdf.open(path, allow_overwriting_input=True) as pdf:
        for number in range(6):
            pdf.pages[0].Resources.XObject[f"/Large{number}"] = picture(pdf, 1500 + number, 1000)
            pdf.pages[0].contents_add(b"q 200 0 0 150 0 0 cm /Large%d Do Q" % number)
        pdf.save()
    command = [KELVARA, "audit", "large.pdf", "--profile", "all"]
    process = subprocess.Popen(command, env=world.environment, cwd=world.documents, stdout=subprocess.DEVNULL)
    end = time.monotonic() + 60
    while not world.temporary_files() and process.poll() is None and time.monotonic() < end:
        time.sleep(0.01)
    assert world.temporary_files(), "it was too quick"
    process.send_signal(signal.SIGINT)
    assert process.wait(30) == -signal.SIGINT
    assert world.temporary_files() == []


def test_all_ready_profiles_stand_beside_each_other(world, report):
    answer = kelvara(world, "audit", "report.pdf", "--profile", "all")
    header = next(line for line in answer.lines if "Number" in line)
    assert header.split() == ["Number", "Size", "Share", "default", "web", "e-mail", "print", "archive", "minimum"]
    assert answer.out.count("would save") == 6


def test_several_files_and_one_that_is_missing(world, report):
    answer = kelvara(world, "audit", "missing.pdf", "report.pdf")
    assert answer.status == FAILURE
    assert answer.out.startswith("report.pdf: ")
    assert answer.err.startswith("kelvara: missing.pdf: The file does not exist.")
    process = subprocess.run(
        [KELVARA, "audit", "missing.pdf", "report.pdf", "--json"], env=world.environment, cwd=world.documents, capture_output=True
    )
    assert process.returncode == FAILURE
    files = json.loads(process.stdout)["files"]
    assert files[0] == {"file": "missing.pdf", "error": "The file does not exist"}
    assert files[1]["pages"] == 2


@pytest.mark.parametrize(
    "content, text",
    [
        (b"", "empty"),
        (b"no pdf at all", "not a PDF"),
        (b"%PDF-1.7\n" + b"1 0 obj << /Type /Catalog /Pages 1 0 R >> endobj " * 50, "PDF"),
        (b"%PDF-1.7\n" + b"[" * 100_000, "PDF"),
    ],
)
def test_a_file_that_is_no_whole_pdf_is_refused(world, content, text):
    (world.documents / "bad.pdf").write_bytes(content)
    kelvara(world, "audit", "bad.pdf").assert_refused(FAILURE, "bad.pdf", text)


def test_an_encrypted_file_asks_for_its_password(world):
    document(world.documents / "secret.pdf", encryption=pikepdf.Encryption(owner="o", user="u"))
    kelvara(world, "audit", "secret.pdf").assert_refused(FAILURE, "--password")
    kelvara(world, "audit", "secret.pdf", "--password", "wrong").assert_refused(FAILURE, "does not open")
    assert kelvara(world, "audit", "secret.pdf", "--password", "u", "--json").json["files"][0]["encrypted"]


def damaged(path):
    """The document with its bytes changed in many ways."""
    whole = path.read_bytes()
    for cut in (10, 500, len(whole) // 2, len(whole) - 40):
        yield whole[:cut]
    yield b"junk\n" * 30 + whole
    yield whole + b"(<< [" * 200
    yield whole.replace(b"endobj", b"endobx")
    yield whole.replace(b"endstream", b"xxxstream")
    yield re.sub(rb"\d{10} 00000 n", b"0000000015 00000 n", whole)
    yield re.sub(rb"/Length \d+", b"/Length 999999999", whole)
    yield whole.replace(b"/XObject", b"/Parent")


def test_damaged_files_add_up_or_are_refused(world, report):
    for number, content in enumerate(damaged(report)):
        (world.documents / "bad.pdf").write_bytes(content)
        answer = kelvara(world, "audit", "bad.pdf", "--json", "--profile", "default")
        assert answer.status in (OK, FAILURE), (number, answer.err)
        file = json.loads(answer.out)["files"][0]
        assert ("error" in file) == (answer.status == FAILURE)
        if answer.status == OK:
            assert sum(row["bytes"] for row in file["rows"]) == len(content), number


def test_an_unknown_profile_is_refused(world, report):
    kelvara(world, "audit", "report.pdf", "--profile", "nothing").assert_refused(FAILURE, "nothing", "profile list")


def test_a_profile_that_kelv_cannot_use_is_refused(world, report):
    (world.documents / "p.kelvcp").write_bytes(plistlib.dumps([{"imageQuality": "x", "imageResolution": 100}]))
    kelvara(world, "audit", "report.pdf", "--profile", "p.kelvcp").assert_refused(FAILURE, "imageQuality", "profile check")


def test_without_a_file_it_is_called_the_wrong_way(world):
    kelvara(world, "audit").assert_refused(USAGE, "kelvara audit --help")


def test_a_page_that_cannot_be_written_is_a_failure(world, report):
    answer = kelvara(world, "audit", "report.pdf", "--html", "missing/audit.html")
    assert answer.status == FAILURE
    assert "missing/audit.html" in answer.err


@pytest.fixture
def page(world, report):
    document(world.documents / "other.pdf", texts=("<script>alert(1)</script>",))
    answer = kelvara(world, "audit", "report.pdf", "other.pdf", "--profile", "all", "--html", "audit.html")
    assert (answer.status, answer.out) == (OK, "Wrote audit.html.\n")
    return world.documents / "audit.html"


def test_the_page_names_no_other_file(page):
    text = page.read_text()
    assert not re.search(r"(src|href)\s*=\s*[\"'](?!data:|#)", text)
    assert "default-src 'none'" in text
    assert text.count("<script") == 2


@pytest.mark.skipif(SANITIZED, reason="the page is the same without sanitizers")
def test_the_page_in_a_browser(world, page):
    with Browser(world.root) as browser:
        browser.open(page)
        assert browser.value("document.querySelector('h1').textContent").startswith("2 files")
        assert browser.value("document.querySelectorAll('.tile').length") > 5
        # Tiles fill the map: what is missing is their borders.
        filled = browser.value(
            "(() => { const area = (e) => e.clientWidth * e.clientHeight; const map = document.querySelector('.map');"
            "return [...document.querySelectorAll('.region')].reduce((sum, e) => sum + e.offsetWidth * e.offsetHeight, 0) / area(map); })()"
        )
        assert 0.97 < filled < 1.03
        shares = browser.value(
            "[...document.querySelectorAll('.tile')].map((e) => [e.getAttribute('aria-label'), e.offsetWidth * e.offsetHeight])"
        )
        largest = max(shares, key=lambda share: share[1])
        assert largest[0].startswith("Images, Flate, above 150 dpi, 200 × 100")
        # The arrow keys lead from tile to tile, Enter into the group and Escape out of it.
        browser.value("document.querySelector('.tile').focus()")
        first = browser.value("document.activeElement.getAttribute('aria-label')")
        browser.key("ArrowRight")
        second = browser.value("document.activeElement.getAttribute('aria-label')")
        assert first != second
        assert browser.value("document.activeElement.className") == "tile"
        browser.key("Enter", "\r")
        assert browser.value("document.querySelectorAll('.region').length") == 1
        browser.key("Escape")
        assert browser.value("document.querySelectorAll('.region').length") > 3
        assert "of the file" in browser.value("document.querySelector('.detail').textContent")
        # Bars for now and for every profile, and the other file.
        assert browser.value("document.querySelectorAll('.bar').length") == 7
        browser.value("(() => { const s = document.querySelector('select'); s.selectedIndex = 1; s.dispatchEvent(new Event('change')); })()")
        browser.settle()
        assert browser.value("document.querySelectorAll('.tile').length") > 5
        # Dark as the system asks, and the other way at the press of the button.
        backs = []
        for scheme in ("light", "dark"):
            browser.prefer(scheme)
            backs.append(browser.value("getComputedStyle(document.body).backgroundColor"))
        assert backs[0] != backs[1]
        browser.value("document.querySelector('.theme').click()")
        assert browser.value("getComputedStyle(document.body).backgroundColor") == backs[0]
        assert browser.problems() == []
