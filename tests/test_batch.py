"""The batch: order, progress, the first unreadable input, and the end of the run."""

import os
import shutil
import subprocess
import tempfile
from pathlib import Path

import pytest

import messages
from world import World, tool


def hard_tag(path, names):
    os.setxattr(path, "user.xdg.tags", names.encode())


def test_three_files_are_counted_in_input_order(granted):
    for name in ("c", "a", "b"):
        granted.make_pdf(f"{name}.pdf")
    run = granted.kelv("c.pdf", "a.pdf", "b.pdf", "--verbose")
    run.assert_clean_end()
    folder = granted.documents
    assert run.text == [
        *messages.kept(1, 3, "c.pdf", folder / "c 2.pdf"),
        *messages.kept(2, 3, "a.pdf", folder / "a 2.pdf"),
        *messages.kept(3, 3, "b.pdf", folder / "b 2.pdf"),
        messages.FINISHED,
    ]


def test_without_verbose_only_the_log_lines_are_written(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    run = granted.kelv("a.pdf", "b.pdf")
    assert run.stdout == b""
    assert run.log == [b"4 batchCompress", b"5 batchCompress", b"6 batchCompress", b"7 batchCompress"] * 2


def test_log_lines_never_go_to_standard_output(granted):
    granted.make_pdf("a.pdf")
    assert b"batchCompress" not in granted.kelv("a.pdf", "--verbose").stdout


def test_files_are_compressed_one_after_another(granted):
    for name in "abc":
        granted.make_pdf(f"{name}.pdf")
    granted.engine(save_delay=50)
    run = granted.kelv("a.pdf", "b.pdf", "c.pdf")
    assert [call.handle for call in run.calls_of("OpenA", "DestroyObject")] == [1, 1, 2, 2, 3, 3]
    times = [call.time for call in run.calls]
    assert times == sorted(times)


def test_progress_is_printed_while_the_run_goes_on(granted):
    """Lines are not held back in a buffer until the end."""
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    granted.engine(input="b.pdf", open_delay=3000)
    process = subprocess.Popen(
        granted.command("a.pdf", "b.pdf", "--verbose"),
        env=granted.start_environment(),
        cwd=granted.documents,
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
    )
    first = [process.stdout.readline().decode().rstrip("\n") for _ in range(9)]
    assert process.poll() is None
    process.kill()
    process.wait()
    process.stdout.close()
    assert first[0] == messages.HYPHENS
    assert first[-1] == messages.starting(2, 2)


def test_a_missing_input_ends_the_batch_and_leaves_what_was_finished(granted):
    for name in "ac":
        granted.make_pdf(f"{name}.pdf")
    run = granted.kelv("a.pdf", "missing.pdf", "c.pdf", "--verbose")
    run.assert_clean_end()
    assert run.opened == [bytes(granted.documents / "a.pdf")]
    kept = messages.kept(1, 3, "a.pdf", granted.documents / "a 2.pdf")
    assert run.text[: len(kept)] == kept
    rest = run.text[len(kept) :]
    assert rest[0].startswith("ERROR: 3fiuhI§22 - Error Domain=NSCocoaErrorDomain Code=260 ")
    assert rest[1:] == [messages.UNABLE + "The file “missing.pdf” couldn’t be opened because there is no such file."]
    assert granted.names() == ["a 2.pdf", "a.pdf", "c.pdf"]


def test_an_input_that_vanished_after_collection_ends_the_batch(granted):
    granted.make_pdf("in/a.pdf")
    granted.make_pdf("in/b.pdf")
    granted.make_pdf("in/c.pdf")
    order = [entry.name for entry in os.scandir(granted.documents / "in")]
    granted.engine(input=order[0], save_effect=f"remove {granted.documents}/in/{order[1]}")
    run = granted.kelv("in", "--output", "out")
    run.assert_clean_end()
    assert run.opened == [bytes(granted.documents / "in" / order[0])]
    assert len(run.text) == 2
    assert run.text[0].startswith("ERROR: 3fiuhI§22 - Error Domain=NSCocoaErrorDomain Code=260 ")
    assert granted.names(granted.documents / "out") == [order[0]]


def test_an_input_that_may_not_be_read_counts_as_unreadable(granted):
    path = granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    granted.lock(path)
    run = granted.kelv("a.pdf", "b.pdf", ordinary_user=True)
    run.assert_clean_end()
    assert run.opened == []
    assert run.text[0].startswith("ERROR: 3fiuhI§22 - Error Domain=NSCocoaErrorDomain Code=257 ")
    assert run.text[1:] == [
        messages.UNABLE + "The file “a.pdf” couldn’t be opened because you don’t have permission to view it.",
        messages.HINT,
    ]


def test_an_input_in_an_unreadable_folder_counts_as_unreadable(granted):
    granted.make_pdf("locked/a.pdf")
    granted.lock(granted.documents / "locked")
    run = granted.kelv("locked/a.pdf", ordinary_user=True)
    assert run.opened == []
    assert run.text[0].startswith("ERROR: 3fiuhI§22 - Error Domain=NSCocoaErrorDomain Code=257 ")
    assert run.text[2] == messages.HINT


def test_unreadable_tags_end_the_batch(granted):
    """Reading the tags fails as on a broken disk."""
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    run = granted.kelv(
        "a.pdf",
        "b.pdf",
        before=[tool("strace"), "-f", "-qq", "-o", "/dev/null", "-e", "inject=getxattr,lgetxattr,fgetxattr:error=EIO"],
    )
    run.assert_clean_end()
    assert run.opened == []
    assert run.text[0].startswith("ERROR: 3fiuhI§22 - Error Domain=")
    assert run.text[1].startswith(messages.UNABLE)
    assert len(run.text) == 2


def test_a_folder_as_input_file_is_given_to_the_engine(granted):
    (granted.documents / "folder.pdf").mkdir()
    granted.engine(open=0, open_message="is a folder")
    run = granted.kelv("folder.pdf")
    run.assert_clean_end()
    assert run.opened == [bytes(granted.documents / "folder.pdf")]


def test_the_same_file_twice_is_compressed_twice(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "a.pdf", "--verbose")
    assert run.text == [
        *messages.kept(1, 2, "a.pdf", granted.documents / "a 2.pdf"),
        *messages.kept(2, 2, "a.pdf", granted.documents / "a 3.pdf"),
        messages.FINISHED,
    ]


# The end of the run.


def test_the_last_line_of_one_good_file(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--verbose")
    run.assert_clean_end()
    assert run.text[-1] == "Finished compressing all files. Terminating..."
    assert run.text.count("Finished compressing all files. Terminating...") == 1


def test_a_failed_file_is_reported_and_the_next_is_saved(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    granted.engine(input="a.pdf", open=0, open_message="broken")
    run = granted.kelv("a.pdf", "b.pdf", "--verbose")
    run.assert_clean_end()
    assert run.text == [
        messages.HYPHENS,
        messages.starting(1, 2),
        f"ERROR: # sdfgWWe :) - error: broken -  uncompressedFilePath: {granted.documents}/a.pdf",
        messages.UNABLE + "broken",
        *messages.kept(2, 2, "b.pdf", granted.documents / "b 2.pdf"),
    ]
    assert granted.names() == ["a.pdf", "b 2.pdf", "b.pdf"]


def test_every_failed_file_is_reported(granted):
    granted.engine(open=0, open_message="broken")
    for name in "abc":
        granted.make_pdf(f"{name}.pdf")
    run = granted.kelv("a.pdf", "b.pdf", "c.pdf")
    run.assert_clean_end()
    assert run.text.count(messages.UNABLE + "broken") == 3
    assert len(run.text) == 6


def test_a_failure_after_a_success_leaves_out_the_last_line(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    granted.engine(input="b.pdf", save=0, save_message="full")
    run = granted.kelv("a.pdf", "b.pdf", "--verbose")
    assert messages.FINISHED not in run.text
    assert run.text[-1] == messages.UNABLE + "full"


@pytest.mark.parametrize(
    "message, hint",
    [
        ("you have no permission here", True),
        ("permissions", True),
        ("impermissionable", True),
        ("Permission denied", False),
        ("PERMISSION", False),
        ("permissio n", False),
    ],
)
def test_the_hint_follows_exactly_the_word_permission(granted, message, hint):
    granted.engine(open=0, open_message=message)
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf")
    assert run.text[1:] == [messages.UNABLE + message] + ([messages.HINT] if hint else [])


def test_a_folder_without_smaller_results_still_finishes(granted):
    granted.make_pdf("in/a.pdf")
    granted.make_pdf("in/b.pdf")
    granted.engine(output=5000)
    run = granted.kelv("in", "--verbose")
    assert run.text[-1] == messages.FINISHED


# Tags.


def test_the_originals_tags_are_on_the_result(granted):
    path = granted.make_pdf("a.pdf")
    hard_tag(path, "Red,Work,Über")
    granted.kelv("a.pdf").assert_clean_end()
    assert os.getxattr(granted.documents / "a 2.pdf", "user.xdg.tags").decode() == "Red,Work,Über"


def test_an_untagged_original_gives_an_untagged_result(granted):
    granted.make_pdf("a.pdf")
    granted.kelv("a.pdf").assert_clean_end()
    assert "user.xdg.tags" not in os.listxattr(granted.documents / "a 2.pdf")


def test_a_file_system_without_tags_is_no_error(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv(
        "a.pdf",
        "--verbose",
        before=[
            tool("strace"), "-f", "-qq", "-o", "/dev/null",
            "-e", "inject=getxattr,lgetxattr,fgetxattr,setxattr,lsetxattr,fsetxattr,removexattr,lremovexattr,fremovexattr,listxattr,llistxattr,flistxattr:error=EOPNOTSUPP",
        ],
    )  # fmt: skip
    run.assert_clean_end()
    assert run.text[-1] == messages.FINISHED


def test_tags_go_with_each_file(granted):
    hard_tag(granted.make_pdf("a.pdf"), "A")
    hard_tag(granted.make_pdf("b.pdf"), "B")
    granted.make_pdf("c.pdf")
    granted.kelv("a.pdf", "b.pdf", "c.pdf", "--output", "out").assert_clean_end()
    out = granted.documents / "out"
    assert os.getxattr(out / "a.pdf", "user.xdg.tags") == b"A"
    assert os.getxattr(out / "b.pdf", "user.xdg.tags") == b"B"
    assert "user.xdg.tags" not in os.listxattr(out / "c.pdf")


@pytest.fixture
def roomy():
    """A granted world in memory where there is room, so that thousands of files do not wait for a disk."""
    shared = "/dev/shm"
    in_memory = os.path.isdir(shared) and shutil.disk_usage(shared).free > 200_000_000
    made = World(Path(tempfile.mkdtemp(prefix="kelv-test-", dir=shared if in_memory else None)))
    made.grant(made.documents)
    yield made
    made.close()
    shutil.rmtree(made.root)


def test_five_thousand_files_need_no_more_memory_than_fifty(roomy):
    granted = roomy

    def peak(count):
        folder = granted.documents / f"in{count}"
        folder.mkdir()
        for number in range(count):
            (folder / f"{number}.pdf").write_bytes(b"%PDF-1.4 original\n" + b"o" * 982)
        process = subprocess.Popen(
            granted.command(folder, "--output", f"out{count}"),
            env={**granted.start_environment(), "KELV_RECORD": "/dev/null"},
            cwd=granted.documents,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
        )
        assert process.stdout.read() == b""
        process.stdout.close()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = status
        assert status == 0
        assert len(os.listdir(granted.documents / f"out{count}")) == count
        return usage.ru_maxrss

    small = peak(50)
    large = peak(5000)
    # The list of paths itself may grow: 5,000 of about 100 bytes, twice or thrice; 4 MiB is far less than a file's cost.
    assert large - small < 4096, (small, large)
