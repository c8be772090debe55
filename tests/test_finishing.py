"""Placing a result: sizes, names, replacing, moving, tags."""

import os
import subprocess
import threading
import time

import pytest

import messages
from world import is_whole_original, is_whole_result, on_other_file_system, tool


def traced(*injections):
    return [tool("strace"), "-f", "-qq", "-o", "/dev/null", *(word for text in injections for word in ("-e", text))]


# Sizes.


@pytest.mark.parametrize("size", [1000, 1001, 100000])
def test_a_result_that_is_not_smaller_writes_nothing_and_counts_as_done(granted, size):
    path = granted.make_pdf("a.pdf", 1000)
    granted.engine(output=size)
    run = granted.kelv("a.pdf", "--verbose")
    run.assert_clean_end()
    assert run.text == [
        messages.HYPHENS,
        messages.starting(1, 1),
        messages.DEFAULT_PROFILE,
        f"The file size did not increase for the file at this path: {path}.",
        "Finished compressing all files. Terminating...",
    ]
    assert granted.names() == ["a.pdf"]
    assert is_whole_original(path)


def test_a_result_that_is_not_smaller_leaves_its_temporary_file(granted):
    granted.make_pdf("a.pdf", 1000)
    granted.engine(output=1000)
    run = granted.kelv("a.pdf")
    assert [os.fsencode(path) for path in granted.temporary_files()] == [run.calls_of("SaveAsA")[0].values[0]]


@pytest.mark.parametrize("replace", [[], ["--replace"]])
def test_a_result_that_is_not_smaller_replaces_nothing(granted, replace):
    granted.make_pdf("a.pdf", 1000)
    target = granted.make_pdf("out/a.pdf", 77)
    granted.engine(output=1000)
    granted.kelv("a.pdf", "--output", "out", *replace).assert_clean_end()
    assert target.stat().st_size == 77
    assert granted.trashed() == {}


@pytest.mark.parametrize("output", [0, 10])
def test_an_original_without_bytes_is_not_smaller(granted, output):
    path = granted.make_pdf("a.pdf", 0)
    granted.engine(output=output)
    run = granted.kelv("a.pdf", "--verbose")
    assert run.text[-2:] == [f"{messages.NOT_SMALLER}{path}.", messages.FINISHED]
    assert granted.names() == ["a.pdf"]


def test_a_result_without_bytes_is_smaller(granted):
    granted.make_pdf("a.pdf", 10)
    granted.engine(output=0)
    run = granted.kelv("a.pdf", "--verbose")
    assert messages.success("100.0", "a.pdf") in run.text
    assert granted.names() == ["a 2.pdf", "a.pdf"]


def python_percentage(original, compressed):
    """The same double arithmetic; Python's text of a double is the same shortest form within this range."""
    return repr((1.0 - float(compressed) / float(original)) * 100.0)


@pytest.mark.parametrize(
    "original, compressed, text",
    [
        (1000, 500, "50.0"),
        (1000, 625, "37.5"),
        (1000, 999, None),
        (3000, 2000, None),
        (7000, 1, None),
        (1000, 0, "100.0"),
        (999, 333, None),
        (1000, 900, None),
        (10_000_000, 9_999_999, None),
        (50_000_000, 49_999_999, None),
    ],
)
def test_the_saving_is_the_shortest_decimal_text(granted, original, compressed, text):
    granted.make_pdf("a.pdf", original)
    granted.engine(output=compressed)
    run = granted.kelv("a.pdf", "--verbose")
    lines = [line for line in run.text if line.startswith(messages.SUCCESS)]
    expected = python_percentage(original, compressed)
    assert lines == [f"Succesfully compressed file by {expected} percent of: a.pdf"]
    if text:
        assert expected == text


# Names.


@pytest.mark.parametrize(
    "present, planned, chosen",
    [
        (["Report.pdf"], "Report.pdf", "Report 2.pdf"),
        (["Report.pdf", "Report 2.pdf"], "Report.pdf", "Report 3.pdf"),
        (["Report.pdf", "Report 3.pdf"], "Report.pdf", "Report 2.pdf"),
        (["Report.pdf", *(f"Report {n}.pdf" for n in range(2, 12))], "Report.pdf", "Report 12.pdf"),
        (["Report 2.pdf"], "Report 2.pdf", "Report 2 2.pdf"),
        (["a.tar.pdf"], "a.tar.pdf", "a.tar 2.pdf"),
        ([".pdf"], ".pdf", ".pdf 2.pdf"),
    ],
)
def test_the_first_free_number_is_taken(granted, present, planned, chosen):
    source = granted.make_pdf("source/x.pdf")
    for name in present:
        granted.make_pdf(f"out/{name}", 7)
    run = granted.kelv("source/x.pdf", "--output", f"out/{planned}", "--verbose")
    run.assert_clean_end()
    assert (granted.documents / "out" / chosen).stat().st_size == 500
    assert f"There is already a file at the output location. Use new name: {chosen}." in run.text
    assert messages.success("50.0", planned) in run.text
    assert f"Saving compressed file to {granted.documents}/out/{chosen}." in run.text
    assert granted.names(granted.documents / "out") == sorted([*present, chosen])
    assert is_whole_original(source)


def test_the_extension_of_a_numbered_name_is_lower_case(granted):
    granted.make_pdf("in/Scan.PDF")
    run = granted.kelv("in", "--verbose")
    assert granted.names(granted.documents / "in") == ["Scan 2.pdf", "Scan.PDF"]
    assert messages.success("50.0", "Scan.PDF") in run.text


def test_a_free_planned_name_is_kept_as_it_is(granted):
    granted.make_pdf("in/Scan.PDF")
    granted.kelv("in", "--output", "out").assert_clean_end()
    assert granted.names(granted.documents / "out") == ["Scan.PDF"]


def test_a_folder_at_the_planned_location_counts_as_taken(granted):
    granted.make_pdf("a.pdf")
    (granted.documents / "out" / "a.pdf").mkdir(parents=True)
    granted.kelv("a.pdf", "--output", "out").assert_clean_end()
    assert granted.names(granted.documents / "out") == ["a 2.pdf", "a.pdf"]


def test_a_link_that_leads_somewhere_counts_as_taken(granted):
    granted.make_pdf("a.pdf")
    other = granted.make_pdf("other.pdf", 7)
    (granted.documents / "out").mkdir()
    (granted.documents / "out" / "a.pdf").symlink_to("../other.pdf")
    granted.kelv("a.pdf", "--output", "out").assert_clean_end()
    assert granted.names(granted.documents / "out") == ["a 2.pdf", "a.pdf"]
    assert other.stat().st_size == 7


def test_a_dangling_link_does_not_exist_and_fails_the_move(granted):
    path = granted.make_pdf("a.pdf")
    (granted.documents / "out").mkdir()
    (granted.documents / "out" / "a.pdf").symlink_to("nowhere")
    run = granted.kelv("a.pdf", "--output", "out", "--verbose")
    run.assert_clean_end()
    assert run.text[-2].startswith("ERROR: qefinuNDS - Error Domain=NSCocoaErrorDomain Code=516 ")
    assert run.text[-1] == (
        messages.UNABLE + f"“{os.path.basename(os.fsdecode(run.calls_of('SaveAsA')[0].values[0]))}” couldn’t be moved to “out” "
        "because an item with the same name already exists."
    )
    assert messages.FINISHED not in run.text
    assert os.readlink(granted.documents / "out" / "a.pdf") == "nowhere"
    assert is_whole_original(path)


def test_messages_name_the_planned_and_the_saved_file(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "out", "--verbose")
    assert run.text[3:] == [
        "Succesfully compressed file by 50.0 percent of: a.pdf",
        f"Saving compressed file to {granted.documents}/out/a.pdf.",
        "Applying file tags.",
        "Finished compressing all files. Terminating...",
    ]


# Replacing.


def test_replace_moves_the_old_file_to_the_trash(granted):
    path = granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--replace", "--verbose")
    run.assert_clean_end()
    assert run.text[3:] == [
        messages.success("50.0", "a.pdf"),
        "There is already a file at the output location. Moving file at output location to trash.",
        f"Saving compressed file to {path}.",
        "Applying file tags.",
        messages.FINISHED,
    ]
    assert granted.names() == ["a.pdf"]
    assert is_whole_result(path)
    assert granted.trashed() == {"a.pdf": str(path)}
    assert is_whole_original(granted.data / "Trash" / "files" / "a.pdf")


def test_what_only_the_trash_needs_is_loaded_for_the_trash(granted):
    granted.make_pdf("a.pdf")
    assert b"libgio" not in granted.kelv("a.pdf", environment={"LD_DEBUG": "files"}).stderr
    assert b"libgio" in granted.kelv("a.pdf", "--replace", environment={"LD_DEBUG": "files"}).stderr


def test_replace_without_a_file_at_the_location_trashes_nothing(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "out", "--replace", "--verbose")
    assert messages.TO_TRASH not in run.text
    assert granted.trashed() == {}
    assert granted.names(granted.documents / "out") == ["a.pdf"]


def test_replace_trashes_only_what_stands_at_the_output_location(granted):
    path = granted.make_pdf("a.pdf")
    granted.make_pdf("out/a.pdf", 77)
    granted.kelv("a.pdf", "--output", "out", "--replace").assert_clean_end()
    assert is_whole_original(path)
    assert (granted.data / "Trash" / "files" / "a.pdf").stat().st_size == 77
    assert is_whole_result(granted.documents / "out" / "a.pdf")


def test_replacing_several_files_of_one_name_keeps_each_in_the_trash(granted):
    granted.make_pdf("one/a.pdf", 1000)
    granted.make_pdf("two/a.pdf", 2000)
    granted.kelv("one/a.pdf", "two/a.pdf", "--replace").assert_clean_end()
    sizes = sorted(entry.stat().st_size for entry in (granted.data / "Trash" / "files").iterdir())
    assert sizes == [1000, 2000]


def without_trash(world):
    """A file where the Trash's folder should be: nothing can be moved there."""
    (world.data / "Trash").write_text("no folder")


def test_when_there_is_no_trash_the_file_is_removed_and_that_is_said(granted):
    path = granted.make_pdf("a.pdf")
    without_trash(granted)
    run = granted.kelv("a.pdf", "--replace", "--verbose")
    run.assert_clean_end()
    assert is_whole_result(path)
    lines = run.text[5:]
    assert lines[0].startswith("The file could not be moved to the trash. ")
    assert lines[0].endswith(" Removing the file instead.")
    assert len(lines[0]) > len("The file could not be moved to the trash.  Removing the file instead.")
    assert lines[1:] == [f"{messages.SAVING}{path}.", messages.TAGS, messages.FINISHED]


def test_a_trash_failure_is_silent_unless_verbose(granted):
    path = granted.make_pdf("a.pdf")
    without_trash(granted)
    run = granted.kelv("a.pdf", "--replace")
    assert run.lines == []
    assert is_whole_result(path)


def test_a_failed_removal_is_logged_and_reported_and_nothing_is_lost(granted):
    path = granted.make_pdf("a.pdf")
    without_trash(granted)
    run = granted.kelv("a.pdf", "--replace", before=traced("inject=unlink,unlinkat:error=EACCES:when=1+"))
    run.assert_clean_end()
    logged = [line for line in run.log if b"ejht74G" in line]
    assert len(logged) == 1
    assert logged[0].startswith(b"ERROR: #ejht74G  Error Domain=NSCocoaErrorDomain Code=513 ")
    assert run.text[0] == messages.UNABLE + "“a.pdf” couldn’t be removed because you don’t have permission to access it."
    assert run.text[1:] == [messages.HINT]
    assert is_whole_original(path)
    assert [is_whole_result(left) for left in granted.temporary_files()] == [True]


def test_a_folder_that_may_not_be_written_keeps_its_file(granted):
    path = granted.make_pdf("locked/a.pdf")
    granted.lock(path.parent, 0o555)
    run = granted.kelv("locked/a.pdf", "--replace", ordinary_user=True)
    run.assert_clean_end()
    assert run.text[0].startswith(messages.UNABLE)
    assert run.text[1:] == [messages.HINT]
    assert is_whole_original(path)


def test_a_failed_move_after_trashing_leaves_the_old_file_in_the_trash(granted):
    """The destination's folder becomes unwritable between the two steps."""
    path = granted.make_pdf("a.pdf")
    found = 0
    for number in range(1, 8):
        run = granted.kelv("a.pdf", "--replace", before=traced(f"inject=renameat2:error=ENOSPC:when={number}+", "inject=linkat,link:error=ENOSPC"))
        run.assert_clean_end()
        if path.exists():
            assert is_whole_original(path) or is_whole_result(path)
        else:
            found += 1
            kept = list((granted.data / "Trash" / "files").iterdir())
            assert [is_whole_original(file) for file in kept] == [True]
            assert run.text[0].startswith(messages.FINISH_FAILED)
        for file in (granted.data / "Trash").rglob("*") if (granted.data / "Trash").exists() else []:
            if file.is_file():
                file.unlink()
        granted.make_pdf("a.pdf")
        for left in granted.temporary_files():
            left.unlink()
    assert found > 0


# Failures.


def test_a_missing_temporary_file_is_a_failure_of_this_file_only(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    granted.engine(input="a.pdf", output="none")
    run = granted.kelv("a.pdf", "b.pdf", "--verbose")
    run.assert_clean_end()
    assert run.text[3].startswith("ERROR: qefinuNDS - Error Domain=NSCocoaErrorDomain Code=260 ")
    assert run.text[4].startswith(messages.UNABLE + "The file “")
    assert run.text[4].endswith("couldn’t be opened because there is no such file.")
    assert run.text[5:] == messages.kept(2, 2, "b.pdf", granted.documents / "b 2.pdf")


def test_a_failed_move_is_always_printed_and_keeps_the_temporary_file(granted):
    path = granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "missing/x.pdf")
    run.assert_clean_end()
    name = os.path.basename(os.fsdecode(run.calls_of("SaveAsA")[0].values[0]))
    text = (
        f"“{name}” couldn’t be moved to “missing” because either the former doesn’t exist, or the folder containing the latter "
        "doesn’t exist."
    )
    assert run.text[0].startswith(f'ERROR: qefinuNDS - Error Domain=NSCocoaErrorDomain Code=4 "{text}"')
    assert run.text[1:] == [messages.UNABLE + text]
    assert [is_whole_result(left) for left in granted.temporary_files()] == [True]
    assert is_whole_original(path)


def test_a_move_without_permission_gets_the_hint(granted):
    granted.make_pdf("a.pdf")
    (granted.documents / "locked").mkdir()
    granted.lock(granted.documents / "locked", 0o555)
    run = granted.kelv("a.pdf", "--output", "locked", ordinary_user=True)
    run.assert_clean_end()
    assert run.text[0].startswith("ERROR: qefinuNDS - Error Domain=NSCocoaErrorDomain Code=513 ")
    assert "couldn’t be moved because you don’t have permission to access “locked”." in run.text[1]
    assert run.text[2] == messages.HINT


def test_tags_that_cannot_be_applied_fail_the_file_which_stays(granted):
    path = granted.make_pdf("a.pdf")
    os.setxattr(path, "user.xdg.tags", b"Red")
    run = granted.kelv("a.pdf", "--verbose", before=traced("inject=setxattr,lsetxattr,fsetxattr:error=ENOSPC"))
    run.assert_clean_end()
    assert messages.TAGS in run.text
    assert run.text[-2].startswith("ERROR: qefinuNDS - Error Domain=NSCocoaErrorDomain Code=640 ")
    assert run.text[-1].startswith(messages.UNABLE)
    assert messages.FINISHED not in run.text
    assert is_whole_result(granted.documents / "a 2.pdf")


def test_a_kept_file_leaves_no_temporary_file(granted):
    granted.make_pdf("a.pdf")
    granted.kelv("a.pdf").assert_clean_end()
    assert granted.temporary_files() == []


def test_an_engine_failure_leaves_no_temporary_file_of_kelvs_own(granted):
    granted.engine(open=0, open_message="no")
    granted.make_pdf("a.pdf")
    granted.kelv("a.pdf").assert_clean_end()
    assert granted.temporary_files() == []


def test_a_name_taken_in_between_is_the_moves_failure(granted):
    """Another process makes the file after kelv has looked and before it moves."""
    granted.make_pdf("a.pdf")
    (granted.documents / "out").mkdir()
    target = granted.documents / "out" / "a.pdf"
    process = subprocess.Popen(
        [*traced("inject=renameat2,linkat,link,rename,renameat:delay_enter=1500000"), *granted.command("a.pdf", "--output", "out", "--verbose")],
        env=granted.start_environment(),
        cwd=granted.documents,
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
    )
    lines = []
    for line in process.stdout:
        lines.append(line.decode().rstrip("\n"))
        if line.startswith(messages.SAVING.encode()):
            time.sleep(0.4)
            target.write_bytes(b"someone else's")
    assert process.wait(30) == 0
    process.stdout.close()
    assert target.read_bytes() == b"someone else's"
    assert lines[-2].startswith("ERROR: qefinuNDS - Error Domain=NSCocoaErrorDomain Code=516 ")
    assert "because an item with the same name already exists." in lines[-1]


# Other file systems.


@pytest.fixture
def across(granted):
    """The temporary folder on another file system than the documents."""
    other = on_other_file_system(granted)
    if other is None:
        pytest.skip("there is no second file system")
    import shutil
    import tempfile

    folder = tempfile.mkdtemp(prefix="kelv-test-", dir=other)
    granted.environment["TMPDIR"] = folder
    from pathlib import Path

    granted.temporary = Path(folder)
    yield granted
    shutil.rmtree(folder)


def test_a_result_crosses_file_systems_whole(across):
    across.make_pdf("a.pdf", 5_000_000)
    run = across.kelv("a.pdf", "--verbose")
    run.assert_clean_end()
    assert run.text == [*messages.kept(1, 1, "a.pdf", across.documents / "a 2.pdf"), messages.FINISHED]
    assert is_whole_result(across.documents / "a 2.pdf")
    assert across.names() == ["a 2.pdf", "a.pdf"]
    assert across.temporary_files() == []


def test_no_reader_ever_sees_half_a_file_across_file_systems(across):
    across.make_pdf("a.pdf", 60_000_000)
    across.engine(output=50_000_000)
    seen = set()
    stop = threading.Event()

    def watch():
        while not stop.is_set():
            for name in os.listdir(across.documents):
                if name.endswith(".pdf") and name != "a.pdf" and not name.startswith("."):
                    try:
                        seen.add(os.stat(across.documents / name).st_size)
                    except FileNotFoundError:
                        pass

    watcher = threading.Thread(target=watch)
    watcher.start()
    try:
        across.kelv("a.pdf").assert_clean_end()
    finally:
        stop.set()
        watcher.join()
    assert seen <= {50_000_000}
    assert is_whole_result(across.documents / "a 2.pdf")


def test_a_taken_name_across_file_systems_is_numbered(across):
    across.make_pdf("a.pdf")
    across.make_pdf("out/a.pdf", 9)
    across.kelv("a.pdf", "--output", "out").assert_clean_end()
    assert across.names(across.documents / "out") == ["a 2.pdf", "a.pdf"]
    assert (across.documents / "out" / "a.pdf").stat().st_size == 9


def test_a_full_target_across_file_systems_leaves_nothing_half(across):
    across.make_pdf("a.pdf", 100_000)
    run = across.kelv("a.pdf", before=traced("inject=copy_file_range,sendfile,splice,pwrite64:error=ENOSPC", "inject=fsync,fdatasync:error=ENOSPC"))
    run.assert_clean_end()
    assert run.text[0].startswith("ERROR: qefinuNDS - Error Domain=NSCocoaErrorDomain Code=640 ")
    assert os.listdir(across.documents) == ["a.pdf"]
    assert [is_whole_result(left) for left in across.temporary_files()] == [True]


# What a copy of a document keeps.


def test_the_result_keeps_the_originals_permission_bits(granted):
    path = granted.make_pdf("a.pdf")
    path.chmod(0o640)
    granted.kelv("a.pdf").assert_clean_end()
    assert (granted.documents / "a 2.pdf").stat().st_mode & 0o777 == 0o640


def test_the_result_keeps_other_extended_attributes(granted):
    path = granted.make_pdf("a.pdf")
    os.setxattr(path, "user.comment", b"kept")
    granted.kelv("a.pdf").assert_clean_end()
    assert os.getxattr(granted.documents / "a 2.pdf", "user.comment") == b"kept"
