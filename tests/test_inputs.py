"""Which files are compressed."""

import os

import pytest

import messages


def documents(world, *names):
    return [os.path.join(bytes(world.documents), os.fsencode(name)) for name in names]


def enumeration_errors(run):
    return [line for line in run.log if line.startswith(b"ERROR #khz45Iq39- ")]


# Files.


def test_files_are_taken_in_order_and_duplicates_are_kept(granted):
    for name in ("b.pdf", "a.pdf"):
        granted.make_pdf(name)
    run = granted.kelv("b.pdf", "a.pdf", "b.pdf")
    run.assert_clean_end()
    assert run.opened == documents(granted, "b.pdf", "a.pdf", "b.pdf")
    assert granted.names() == ["a 2.pdf", "a.pdf", "b 2.pdf", "b 3.pdf", "b.pdf"]


def test_an_absolute_argument_stays_as_it_is(granted):
    path = granted.make_pdf("deep/a.pdf")
    run = granted.kelv(f"{granted.documents}//deep/../deep/./a.pdf")
    assert run.opened == [f"{granted.documents}//deep/../deep/./a.pdf".encode()]
    assert path.exists()


def test_dots_in_a_relative_argument_are_resolved(granted):
    granted.make_pdf("a.pdf")
    (granted.documents / "sub").mkdir()
    run = granted.kelv("./sub/../a.pdf", environment={"PWD": str(granted.documents)})
    assert run.opened == documents(granted, "a.pdf")


def test_a_double_slash_in_a_relative_argument_is_kept(granted):
    granted.make_pdf("sub/a.pdf")
    run = granted.kelv("sub//a.pdf")
    assert run.opened == documents(granted, "sub//a.pdf")


def test_a_tilde_is_a_plain_name(granted):
    granted.make_pdf("~/a.pdf")
    run = granted.kelv("~/a.pdf")
    assert run.opened == documents(granted, "~/a.pdf")


def test_percent_signs_and_url_characters_are_plain_names(granted):
    names = ["100%25 %20d %s%n.pdf", "a?b#c;d:e.pdf", "a b.pdf"]
    for name in names:
        granted.make_pdf(name)
    run = granted.kelv(*names)
    assert run.opened == documents(granted, *names)


def test_a_pdf_text_inside_the_name_is_enough(granted):
    granted.make_pdf("a.pdf.txt")
    run = granted.kelv("a.pdf.txt")
    run.assert_clean_end()
    assert run.opened == documents(granted, "a.pdf.txt")
    assert granted.names() == ["a.pdf 2.pdf", "a.pdf.txt"]


def test_a_missing_file_is_reported_by_the_batch_only(granted):
    run = granted.kelv("missing.pdf")
    run.assert_clean_end()
    assert run.lines[0].startswith("ERROR: 3fiuhI§22 - ".encode())
    assert run.opened == []


def test_an_upper_case_extension_makes_an_argument_a_folder(granted):
    granted.make_pdf("Report.PDF")
    run = granted.kelv("Report.PDF")
    run.assert_clean_end()
    assert run.text == [messages.NO_PDF_IN_FOLDER]
    run.assert_engine_untouched()


# Folders.


def test_a_folder_gives_its_pdfs_whatever_the_case_of_the_extension(granted):
    for name in ("a.pdf", "Report.PDF", "c.Pdf", "d.txt", "pdf", "e.pdf.txt", "f.pdfx"):
        granted.make_pdf(f"in/{name}")
    run = granted.kelv("in")
    run.assert_clean_end()
    assert sorted(run.opened) == documents(granted, "in/Report.PDF", "in/a.pdf", "in/c.Pdf")


def test_the_order_is_the_file_systems(granted):
    for number in range(30):
        granted.make_pdf(f"in/{number * 7919 % 1000}.pdf")
    run = granted.kelv("in")
    listed = [entry.name for entry in os.scandir(granted.documents / "in") if " 2" not in entry.name]
    before = [os.path.basename(path).decode() for path in run.opened]
    assert sorted(before) == sorted(listed)
    assert before != sorted(before)


def test_subfolders_are_searched_only_when_asked(granted):
    granted.make_pdf("in/a.pdf")
    granted.make_pdf("in/sub/b.pdf")
    granted.make_pdf("in/sub/deeper/c.pdf")
    run = granted.kelv("in")
    assert run.opened == documents(granted, "in/a.pdf")
    (granted.documents / "in" / "a 2.pdf").unlink()
    run = granted.kelv("in", "--subfolders")
    assert sorted(run.opened) == documents(granted, "in/a.pdf", "in/sub/b.pdf", "in/sub/deeper/c.pdf")


def test_subfolders_needs_the_exact_word(granted):
    granted.make_pdf("in/sub/b.pdf")
    run = granted.kelv("in", "--subfoldersx")
    assert run.text == [messages.NO_PDF_IN_FOLDER]


@pytest.mark.parametrize("options", [[], ["--subfolders"]])
def test_hidden_files_and_the_insides_of_packages_are_never_collected(granted, options):
    granted.make_pdf("in/a.pdf")
    granted.make_pdf("in/.hidden.pdf")
    granted.make_pdf("in/.folder/b.pdf")
    granted.make_pdf("in/Some.app/c.pdf")
    granted.make_pdf("in/Some.app/Contents/d.pdf")
    granted.make_pdf("in/notes.rtfd/e.pdf")
    granted.make_pdf("in/Photos.photoslibrary/f.pdf")
    run = granted.kelv("in", *options)
    assert run.opened == documents(granted, "in/a.pdf")


def test_a_folder_of_a_bundle_like_name_that_is_none_is_searched(granted):
    granted.make_pdf("in/x.framework/a.pdf")
    granted.make_pdf("in/de.lproj/b.pdf")
    run = granted.kelv("in", "--subfolders")
    assert sorted(run.opened) == documents(granted, "in/de.lproj/b.pdf", "in/x.framework/a.pdf")


def test_a_folder_whose_name_ends_in_pdf_is_an_item_too(granted):
    granted.make_pdf("in/folder.pdf/inside.pdf")
    run = granted.kelv("in", "--subfolders", "--verbose")
    run.assert_clean_end()
    assert run.text[0] == messages.folder_count(2)
    assert run.opened == documents(granted, "in/folder.pdf", "in/folder.pdf/inside.pdf")


def test_links_are_items_and_are_never_followed(granted):
    granted.make_pdf("real/a.pdf")
    (granted.documents / "in").mkdir()
    (granted.documents / "in" / "link.pdf").symlink_to("../real/a.pdf")
    (granted.documents / "in" / "folder").symlink_to("../real")
    run = granted.kelv("in", "--subfolders")
    assert run.opened == documents(granted, "in/link.pdf")


def test_a_folder_given_twice_gives_its_files_twice(granted):
    granted.make_pdf("in/a.pdf")
    run = granted.kelv("in", "in", "--verbose")
    assert run.opened == documents(granted, "in/a.pdf", "in/a.pdf")
    assert run.text[0] == messages.folder_count(2)


def test_the_count_covers_all_folders(granted):
    granted.make_pdf("one/a.pdf")
    granted.make_pdf("two/b.pdf")
    granted.make_pdf("two/c.pdf")
    run = granted.kelv("one", "two", "--verbose")
    assert run.text[0] == "You have specified a folder that contains 3 files"
    assert "You have specified" not in "\n".join(run.text[1:])


def test_the_count_keeps_its_wording_for_one_file(granted):
    granted.make_pdf("one/a.pdf")
    run = granted.kelv("one", "--verbose")
    assert run.text[0] == "You have specified a folder that contains 1 files"


def test_the_count_is_printed_only_when_verbose(granted):
    granted.make_pdf("one/a.pdf")
    assert granted.kelv("one").lines == []


@pytest.mark.parametrize("folders", [["empty"], ["empty", "empty"], ["empty", "texts"]])
def test_folders_without_pdfs_give_the_same_words_whatever_their_number(granted, folders):
    (granted.documents / "empty").mkdir()
    granted.make_pdf("texts/a.txt")
    run = granted.kelv(*folders, "--verbose")
    run.assert_clean_end()
    assert run.text == [messages.NO_PDF_IN_FOLDER]
    run.assert_engine_untouched()


def test_an_empty_argument_is_the_base_folder(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("")
    assert run.opened == documents(granted, "a.pdf")


@pytest.mark.parametrize("argument", [".", "./", "in/.."])
def test_the_base_folder_by_other_names(granted, argument):
    granted.make_pdf("a.pdf")
    (granted.documents / "in").mkdir()
    run = granted.kelv(argument)
    assert run.opened == documents(granted, "a.pdf")


@pytest.mark.parametrize("argument", ["in", "in/", "in//"])
def test_a_slash_after_a_folder_makes_no_difference(granted, argument):
    granted.make_pdf("in/a.pdf")
    run = granted.kelv(argument)
    assert [os.path.normpath(path) for path in run.opened] == documents(granted, "in/a.pdf")


def test_a_missing_folder_is_logged_and_the_others_are_searched(granted):
    granted.make_pdf("in/a.pdf")
    run = granted.kelv("missing", "in")
    run.assert_clean_end()
    assert run.lines == []
    assert run.opened == documents(granted, "in/a.pdf")
    assert len(enumeration_errors(run)) == 1
    line = enumeration_errors(run)[0]
    assert line.startswith(f"ERROR #khz45Iq39- file://{granted.documents}/missing".encode())
    assert b" - Error Domain=NSCocoaErrorDomain Code=260 " in line


def test_only_a_missing_folder_gives_no_pdf_files(granted):
    run = granted.kelv("missing")
    assert run.text == [messages.NO_PDF_IN_FOLDER]
    assert len(enumeration_errors(run)) == 1


def test_the_log_line_is_kept_word_for_word(granted):
    run = granted.kelv("100%25 %d %s")
    line = enumeration_errors(run)[0]
    # The URL is percent-encoded; none of its percent signs is a placeholder.
    assert b"/100%2525%20%25d%20%25s" in line


def test_an_unreadable_subfolder_is_logged_and_enumeration_goes_on(granted):
    granted.make_pdf("in/locked/a.pdf")
    granted.make_pdf("in/zopen/b.pdf")
    granted.make_pdf("in/c.pdf")
    granted.lock(granted.documents / "in" / "locked")
    run = granted.kelv("in", "--subfolders", ordinary_user=True)
    run.assert_clean_end()
    assert sorted(run.opened) == documents(granted, "in/c.pdf", "in/zopen/b.pdf")
    assert len(enumeration_errors(run)) == 1
    line = enumeration_errors(run)[0].decode()
    assert line.startswith(f"ERROR #khz45Iq39- file://{granted.documents}/in/locked/ - Error Domain=NSCocoaErrorDomain Code=257 ")
    assert "The file “locked” couldn’t be opened because you don’t have permission to view it." in line


def test_a_folder_outside_the_grant_is_a_permission_error(granted):
    granted.make_pdf("a.pdf", folder=granted.outside)
    run = granted.kelv(granted.outside)
    run.assert_clean_end()
    assert run.text == [messages.NO_PDF_IN_FOLDER]
    assert b"Code=257" in enumeration_errors(run)[0]


# Names.

NAMES = [
    b"with space.pdf",
    b"line\nbreak.pdf",
    b"tab\tand\rreturn.pdf",
    b"100%25 %s %n %@.pdf",
    b"-leading.pdf",
    b"--leading.pdf",
    b"\xff\xfe not utf-8 \xe4.pdf",
    b"n" * 251 + b".pdf",
    "ümläut 日本語 🦆.pdf".encode(),
    b"e\xcc\x81 decomposed.pdf",
    b"'quote\" $HOME `x` \\ *.pdf",
    b"\x01\x7f.pdf",
]


@pytest.mark.parametrize("name", NAMES, ids=lambda name: ascii(name[:12]))
def test_a_file_of_any_name_works_end_to_end(granted, name):
    path = granted.make_pdf(name)
    run = granted.kelv(name, "--output", "out", "--verbose")
    run.assert_clean_end()
    assert run.opened == [os.fsencode(path)]
    result = os.path.join(bytes(granted.documents), b"out", name)
    assert os.path.getsize(result) == 500
    assert b"percent of: " + name + b"\n" in run.stdout
    assert b"Saving compressed file to " in run.stdout and name + b".\n" in run.stdout
    assert messages.FINISHED.encode() in run.stdout


@pytest.mark.parametrize("name", NAMES, ids=lambda name: ascii(name[:12]))
def test_a_file_of_any_name_is_found_in_a_folder_of_any_name(granted, name):
    folder = name.removesuffix(b".pdf")
    path = granted.make_pdf(os.path.join(folder, name))
    run = granted.kelv(folder, "--output", "out")
    run.assert_clean_end()
    assert run.opened == [os.fsencode(path)]
    assert os.path.getsize(os.path.join(bytes(granted.documents), b"out", name)) == 500


def test_a_numbered_name_beside_a_longest_name_is_shortened_to_fit(granted):
    name = "n" * 251 + ".pdf"
    path = granted.make_pdf(name)
    granted.kelv(name).assert_clean_end()
    assert granted.names() == ["n" * 249 + " 2.pdf", name]
    assert path.stat().st_size == 1000
