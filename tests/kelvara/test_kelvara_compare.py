"""Two files beside each other, as text, JSON and a page in a real browser."""

import json
import re

import pikepdf
import pytest
from PIL import Image
from pikepdf import Name

from browser import Browser
from companion import USAGE, kelvara
from documents import document
from world import SANITIZED

SAME, DIFFERENT, TROUBLE = 0, 1, 2


@pytest.fixture
def before(world):
    return document(world.documents / "before.pdf", texts=("First page", "Second page", "Third page"))


def compare(world, *options, before="before.pdf", after="after.pdf"):
    return kelvara(world, "compare", before, after, *options)


def found(world, *options):
    answer = compare(world, "--json", *options)
    assert answer.status in (SAME, DIFFERENT), answer.err
    data = json.loads(answer.out)
    assert data["same"] == (answer.status == SAME)
    return data


def change(world, work):
    """before.pdf with something changed, as after.pdf."""
    with pikepdf.open(world.documents / "before.pdf") as pdf:
        work(pdf)
        pdf.save(world.documents / "after.pdf")


def test_files_that_are_only_stored_otherwise_are_the_same(world, before):
    change(world, lambda pdf: None)
    answer = compare(world)
    assert (answer.status, answer.err) == (SAME, "")
    assert answer.lines[-1] == "The files look and read the same."
    assert re.search(r"^Looks +3 pages compared at 100 dpi, the same$", answer.out, re.M)
    assert re.search(r"^Words +7, 0 lost, 0 new$", answer.out, re.M)  # with what is filled in
    assert re.search(r"^Links +1, all there$", answer.out, re.M)
    assert re.search(r"^Form fields +1, all there$", answer.out, re.M)
    assert re.search(r"^Outline entries +3, all there$", answer.out, re.M)
    assert re.search(r"^Attachments +1, all there$", answer.out, re.M)
    data = found(world)
    assert data["differences"] == []
    assert [page["ssim"] for page in data["pages"]] == [1, 1, 1]


def test_what_kelv_makes_is_the_same(granted):
    document(granted.documents / "before.pdf", texts=("First page", "Second page"))
    granted.kelv("before.pdf", "--output", "after.pdf", recording=False)
    answer = compare(granted)
    assert answer.status == SAME, answer.out


def test_lost_and_new_words(world, before):
    document(world.documents / "after.pdf", texts=("First page", "Second sheet", "Third page"))
    data = found(world)
    assert data["pages"][1]["lostWords"] == ["page"]
    assert data["pages"][1]["newWords"] == ["sheet"]
    assert data["pages"][0]["lostWords"] == [] and data["pages"][2]["ssim"] == 1
    assert "page 2: 1 word lost: “page”" in data["differences"]
    answer = compare(world)
    assert answer.status == DIFFERENT
    assert "  page 2: 1 word new: “sheet”" in answer.lines


def test_a_page_that_looks_otherwise(world, before):
    def darken(pdf):
        pdf.pages[2].contents_add(b"0.3 g 0 0 300 90 re f")

    change(world, darken)
    data = found(world)
    assert data["pages"][2]["ssim"] < 0.9
    assert [page["equal"] for page in data["pages"]] == [True, True, False]
    assert any(text.startswith("page 3: SSIM 0.") for text in data["differences"])
    assert found(world, "--threshold", "0.1")["same"]
    assert found(world, "--pages", "1-2")["same"]
    assert [page["page"] for page in found(world, "--pages", "3,1")["pages"]] == [1, 3]


def lose_link(pdf):
    del pdf.pages[0].Annots[0]


def change_link(pdf):
    pdf.pages[0].Annots[0].A.URI = pikepdf.String("https://example.org/other")


def lose_field(pdf):
    del pdf.Root.AcroForm
    del pdf.pages[0].Annots[1]


def change_field(pdf):
    pdf.Root.AcroForm.Fields[0].V = pikepdf.String("Berta")


def lose_outline(pdf):
    with pdf.open_outline() as outline:
        del outline.root[1]


def lead_outline_elsewhere(pdf):
    with pdf.open_outline() as outline:
        outline.root[1] = pikepdf.OutlineItem("Second page", 0)


def lose_attachment(pdf):
    del pdf.attachments["notes.txt"]


@pytest.mark.parametrize(
    "work, name, lost, new",
    [
        (lose_link, "Links", ["page 1: https://example.org/a"], []),
        (change_link, "Links", ["page 1: https://example.org/a"], ["page 1: https://example.org/other"]),
        (lose_field, "Form fields", ["name = Anna"], []),
        (change_field, "Form fields", ["name = Anna"], ["name = Berta"]),
        (lose_outline, "Outline entries", ["Second page (to page 2)"], []),
        (lead_outline_elsewhere, "Outline entries", ["Second page (to page 2)"], ["Second page (to page 1)"]),
        (lose_attachment, "Attachments", ["notes.txt"], []),
    ],
)
def test_what_a_reader_uses_is_missed(world, before, work, name, lost, new):
    change(world, work)
    data = found(world)
    assert not data["same"]
    [differing] = [entry for entry in data["lists"] if entry["lost"] or entry["new"]]
    assert (differing["name"], differing["lost"], differing["new"]) == (name, lost, new)


def test_lost_tags_and_lost_pages(world, before):
    with pikepdf.open(before, allow_overwriting_input=True) as pdf:
        pdf.Root.StructTreeRoot = pdf.make_indirect(pikepdf.Dictionary(Type=Name.StructTreeRoot))
        pdf.save()

    def work(pdf):
        del pdf.Root.StructTreeRoot
        del pdf.pages[2]

    change(world, work)
    data = found(world)
    assert "the tags for screen readers are lost" in data["differences"]
    assert "3 pages before, 2 pages after" in data["differences"]
    assert len(data["pages"]) == 2


def test_a_page_of_another_size(world, before):
    def work(pdf):
        pdf.pages[1].MediaBox = [0, 0, 300, 260]

    change(world, work)
    assert "page 2: the page has another size" in found(world)["differences"]


def test_a_huge_page_is_drawn_within_bounds(world):
    document(world.documents / "before.pdf")
    with pikepdf.open(world.documents / "before.pdf", allow_overwriting_input=True) as pdf:
        pdf.pages[0].MediaBox = [0, 0, 14400, 14400]
        pdf.save()
    change(world, lambda pdf: None)
    assert found(world)["same"]


@pytest.mark.parametrize(
    "options, text",
    [
        (["--pages", "x"], "--pages"),
        (["--pages", "3-1"], "--pages"),
        (["--pages", "0"], "--pages"),
        (["--pages", "9"], "there is no page 9"),
        (["--dpi", "5"], "20 to 300"),
        (["--dpi", "ten"], "20 to 300"),
        (["--threshold", "2"], "0 to 1"),
        (["--threshold", "nan"], "0 to 1"),
    ],
)
def test_values_that_cannot_be_used(world, before, options, text):
    change(world, lambda pdf: None)
    compare(world, *options).assert_refused(TROUBLE, text)


def test_only_one_file_is_called_the_wrong_way(world, before):
    kelvara(world, "compare", "before.pdf").assert_refused(USAGE, "kelvara compare --help")


@pytest.mark.parametrize("content, text", [(None, "does not exist"), (b"", "empty"), (b"no pdf", "not a PDF")])
def test_a_file_that_cannot_be_read(world, before, content, text):
    if content is not None:
        (world.documents / "after.pdf").write_bytes(content)
    compare(world).assert_refused(TROUBLE, "after.pdf", text)
    kelvara(world, "compare", "after.pdf", "before.pdf").assert_refused(TROUBLE, "after.pdf", text)


def test_encrypted_files_ask_for_their_password(world):
    for name in ("before.pdf", "after.pdf"):
        document(world.documents / name, encryption=pikepdf.Encryption(owner="o", user="u"))
    compare(world).assert_refused(TROUBLE, "--password")
    assert found(world, "--password", "u")["same"]


def test_without_the_programs_that_draw(world, before):
    change(world, lambda pdf: None)
    answer = kelvara(world, "compare", "before.pdf", "after.pdf", environment={"PATH": str(world.home)})
    answer.assert_refused(TROUBLE, "pdftoppm", "poppler-utils")


def fake_programs(world, pdftoppm):
    folder = world.root / "programs"
    folder.mkdir()
    for name, script in (("pdftoppm", pdftoppm), ("pdftotext", "exit 1")):
        (folder / name).write_text(f"#!/bin/sh\n{script}\n")
        (folder / name).chmod(0o755)
    return {"PATH": f"{folder}:/usr/bin:/bin"}


@pytest.mark.parametrize(
    "script",
    ["exit 3", "echo nonsense", "printf 'P6 100000 100000 255\\n'", "printf 'P6 4294967295 2 255\\n'", "kill -SEGV $$",
     "yes | head -c 300000000"],
)  # fmt: skip
def test_a_program_that_fails_is_no_crash(world, script):
    document(world.documents / "before.pdf")
    change(world, lambda pdf: None)
    answer = kelvara(world, "compare", "before.pdf", "after.pdf", "--json", environment=fake_programs(world, script))
    assert answer.status in (SAME, DIFFERENT), answer.err
    assert "could be drawn" in json.loads(answer.out)["pages"][0]["problem"]


@pytest.mark.parametrize(
    "damage, statuses",
    [
        (lambda whole: whole[: len(whole) * 2 // 3], {DIFFERENT, TROUBLE}),
        (lambda whole: whole.replace(b"/Contents", b"/Contempt"), {DIFFERENT}),
        (lambda whole: whole.replace(b"endstream", b"xxxstream"), {SAME, DIFFERENT}),  # readers find the ends again
    ],
    ids=["cut off", "without content", "without ends"],
)
def test_a_damaged_file_is_compared_as_far_as_it_goes(world, before, damage, statuses):
    (world.documents / "after.pdf").write_bytes(damage(before.read_bytes()))
    answer = compare(world, "--json")
    assert answer.status in statuses, answer.out
    assert (answer.out == "") == (answer.status == TROUBLE)


def test_a_page_that_cannot_be_written(world, before):
    change(world, lambda pdf: None)
    compare(world, "--html", "missing/x.html").assert_refused(TROUBLE, "missing/x.html")


@pytest.fixture
def page(world, before):
    def work(pdf):
        pdf.pages[1].contents_add(b"q 1 0 0 rg 150 0 150 60 re f Q BT /F1 12 Tf 20 20 Td (<b>new</b>) Tj ET")

    change(world, work)
    answer = compare(world, "--html", "changes.html")
    assert answer.status == DIFFERENT
    assert answer.lines[-1] == "Wrote changes.html."
    return world.documents / "changes.html"


def test_the_page_names_no_other_file(page):
    text = page.read_text()
    assert not re.search(r"(src|href)\s*=\s*[\"'](?!data:|#)", text)
    assert "default-src 'none'" in text
    assert text.count("<script") == 2 and "<b>new" not in text


@pytest.mark.skipif(SANITIZED, reason="the page is the same without sanitizers")
def test_the_page_in_a_browser(world, page):
    with Browser(world.root) as browser:
        browser.open(page, "#page=2&at=50")
        assert browser.value("document.querySelectorAll('section.page').length") == 3
        assert browser.value("[...document.images].every((image) => image.complete && image.naturalWidth > 0)")
        assert browser.value("document.querySelector('.strip a.bad').textContent") == "2"
        assert browser.value("document.querySelector('#page-2 ins').textContent") == "<b>new</b>"

        # The slider follows the mouse and the keys, and the picture on top is cut where it stands.
        clip = "document.querySelector('#page-2 img.over').style.clipPath"
        assert browser.value(clip) == "inset(0px 0px 0px 50%)"
        box = browser.value(
            "(() => { const b = document.querySelector('#page-2 .sheet').getBoundingClientRect(); return [b.left, b.top, b.width, b.height]; })()"
        )
        middle = box[1] + box[3] / 2
        browser.drag((box[0] + box[2] / 2, middle), (box[0] + box[2] * 0.8, middle))
        cut = float(re.search(r"([\d.]+)%", browser.value(clip))[1])
        assert 75 < cut < 85
        browser.key("ArrowLeft")
        assert float(re.search(r"([\d.]+)%", browser.value(clip))[1]) < cut
        # What is seen left of the edge is the page before (white), right of it the page after (red).
        browser.open(page, "#page=2&at=75")
        seen = world.root / "seen.png"
        browser.screenshot(seen)
        box = browser.value(
            "(() => { const b = document.querySelector('#page-2 .sheet').getBoundingClientRect(); return [b.left, b.top, b.width, b.height]; })()"
        )
        with Image.open(seen) as image:
            row = int(box[1] + box[3] * 0.9)
            assert image.convert("RGB").getpixel((int(box[0] + box[2] * 0.65), row)) == (255, 255, 255)
            red = image.convert("RGB").getpixel((int(box[0] + box[2] * 0.9), row))
            assert red[0] > 240 and red[1] < 20 and red[2] < 20

        # The other views.
        press = "[...document.querySelectorAll('#page-2 .modes button')].find((button) => button.textContent === '%s').click()"
        browser.value(press % "Difference")
        assert browser.value("document.querySelectorAll('#page-2 .sheet.dark img').length") == 1
        browser.value(press % "Side by side")
        assert browser.value("document.querySelectorAll('#page-2 figure').length") == 2
        assert browser.value("document.querySelector('#page-2 [aria-pressed=true]').textContent") == "Side by side"

        backs = []
        for scheme in ("light", "dark"):
            browser.prefer(scheme)
            backs.append(browser.value("getComputedStyle(document.body).backgroundColor"))
        assert backs[0] != backs[1]
        assert browser.problems() == []


@pytest.mark.skipif(SANITIZED, reason="the page is the same without sanitizers")
def test_the_page_of_a_long_document(world):
    document(world.documents / "before.pdf", texts=[f"Page number {number}" for number in range(1, 81)])

    def work(pdf):
        pdf.pages[69].contents_add(b"0 g 0 0 300 60 re f")

    change(world, work)
    assert compare(world, "--dpi", "40", "--html", "long.html").status == DIFFERENT
    with Browser(world.root) as browser:
        browser.open(world.documents / "long.html")
        # Pictures of 60 pages, among them the one that differs; the others together in few cards.
        assert browser.value("document.querySelectorAll('.sheet').length") == 60
        assert browser.value("document.querySelectorAll('#page-70 .sheet').length") == 1
        assert browser.value("document.querySelectorAll('.strip a').length") == 80
        assert browser.value("[...document.querySelectorAll('.strip a')].every((link) => document.querySelector(link.getAttribute('href')))")
        assert browser.value("[...document.querySelectorAll('h2')].some((title) => /^Pages \\d+ to \\d+$/.test(title.textContent))")
        assert browser.problems() == []
