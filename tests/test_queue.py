"""What host programs are offered: work on the queue's threads with completions on the main queue half a second later, and the
choices that the command line never makes."""

import os
import subprocess

import pytest

import messages
from world import BUILD, read_record

HOST = BUILD / "tests" / "queue_host_program"


class Hosted:
    def __init__(self, world, process):
        self.process = process
        self.lines = process.stdout.splitlines()
        self.calls = read_record(world.record_path) if world.record_path.exists() else []

    def values(self, word):
        return [line.split(" ", 1)[1] for line in self.lines if line.startswith(word + " ")]


def host(world, *arguments, status=0, ordinary_user=False):
    environment = world.start_environment()
    environment.pop("LD_LIBRARY_PATH")  # the recording engine is inside the host
    environment["TSAN_OPTIONS"] = "halt_on_error=1:exitcode=66"
    # The sanitizer of this compiler needs addresses that newer kernels randomize too widely.
    command = ["setarch", "-R", HOST, *map(str, arguments)]
    if ordinary_user and os.geteuid() == 0:
        command = ["setpriv", "--bounding-set=-dac_override,-dac_read_search,-fowner", "--", *command]
    process = subprocess.run(
        command,
        env=environment, cwd=world.documents, capture_output=True, timeout=120, text=True,
    )  # fmt: skip
    assert process.returncode == status, (process.returncode, process.stdout[-2000:], process.stderr[-4000:])
    assert "ThreadSanitizer" not in process.stderr, process.stderr[:4000]
    return Hosted(world, process)


def make_files(world, count):
    return [world.make_pdf(f"in/{number}.pdf", 1000 + number) for number in range(count)]


def most_at_once(calls):
    """How many files were between their open and their destruction at one time."""
    running = most = 0
    for call in sorted(calls, key=lambda call: call.time):
        if call.name == "OpenA":
            running += 1
        elif call.name == "DestroyObject":
            running -= 1
        most = max(most, running)
    return most


@pytest.mark.parametrize("processors, limit", [(8, 4), (3, 1), (2, 1), (64, 32)])
def test_the_limit_is_half_the_processors_truncated(world, processors, limit):
    files = make_files(world, 1)
    hosted = host(world, "submit", processors, world.temporary, *files)
    assert hosted.values("limit") == [str(limit)]


def test_fifty_files_run_on_the_queue_and_complete_on_the_main_thread(world):
    files = make_files(world, 50)
    world.engine(save_delay=20)
    hosted = host(world, "submit", 8, world.temporary, *files)
    main = hosted.values("main")[0]
    completions = [line.split() for line in hosted.values("completion")]
    assert sorted(int(words[2]) for words in completions) == list(range(50))
    assert {words[3] for words in completions} == {"ok"}
    assert {words[1] for words in completions} == {main}
    by_handle = {}
    for call in hosted.calls:
        if call.handle:
            by_handle.setdefault(call.handle, []).append(call)
    assert len(by_handle) == 50
    # Handles are made on the submitting thread, one after another; everything else happens on one worker.
    destroyed = {}
    for handle, calls in by_handle.items():
        assert [call.name for call in calls] == ["CreateObject", "OpenA", "SetProfile", "SaveAsA", "Close", "DestroyObject"]
        assert str(calls[0].thread) == main
        workers = {call.thread for call in calls[1:]}
        assert len(workers) == 1 and str(workers.pop()) != main
        destroyed[int(calls[3].values[0].rsplit(b"/", 1)[1].split(b".")[0])] = calls[-1].time
    for words in completions:
        assert int(words[0]) - destroyed[int(words[2])] >= 500_000_000
    assert most_at_once(hosted.calls) == 4
    assert hosted.calls[0].name == "Initialize" and hosted.calls[-1].name == "UnInitialize"


def test_submitting_returns_before_the_work_is_done(world):
    files = make_files(world, 4)
    world.engine(save_delay=300)
    hosted = host(world, "submit", 4, world.temporary, *files)
    returned = int(hosted.values("returned")[0])
    assert returned < min(call.time for call in hosted.calls if call.name == "Close")


def test_fifty_files_as_an_asynchronous_batch(world):
    files = make_files(world, 50)
    world.engine(save_delay=5)
    out = world.documents / "out"
    out.mkdir()
    hosted = host(world, "batch", 8, out, *files)
    assert [line.split()[2:] for line in hosted.values("completion")] == [["finished", "50", "50"]]
    assert sorted(path.name for path in out.iterdir()) == sorted(f"{number}.pdf" for number in range(50))
    assert {path.stat().st_size for path in out.iterdir()} == {(1000 + number) // 2 for number in range(50)}
    assert hosted.lines.count(messages.FINISHED) == 1
    assert hosted.lines.count(messages.TAGS) == 50
    assert world.temporary_files() == []
    assert most_at_once(hosted.calls) == 4


def test_a_failed_file_of_an_asynchronous_batch_is_reported_and_the_others_finish(world):
    files = make_files(world, 10)
    world.engine(input="/3.pdf", open=0, open_message="broken")
    out = world.documents / "out"
    out.mkdir()
    hosted = host(world, "batch", 8, out, *files, status=1)
    assert [line.split()[2:] for line in hosted.values("completion")] == [["failure", "broken"]]
    assert len(list(out.iterdir())) == 9
    assert messages.FINISHED not in hosted.lines


def test_a_limit_of_zero_runs_nothing(world):
    assert host(world, "idle").values("ran") == ["0", "5"]


# The choices that the command line never makes.


def test_a_host_may_have_old_files_removed_instead_of_trashed(world):
    files = make_files(world, 2)
    out = world.documents / "out"
    out.mkdir()
    (out / "0.pdf").write_bytes(b"old")
    hosted = host(world, "remove", 2, out, *files)
    assert (out / "0.pdf").stat().st_size == 500
    assert world.trashed() == {}
    assert hosted.lines.count(messages.TO_TRASH) == 1
    assert [line for line in hosted.lines if line.startswith(messages.NO_TRASH)] == []
    assert messages.FINISHED in hosted.lines


def test_a_removal_that_fails_is_logged_with_its_own_code(world):
    files = make_files(world, 1)
    out = world.documents / "out"
    out.mkdir()
    (out / "0.pdf").write_bytes(b"old")
    world.lock(out, 0o555)
    hosted = host(world, "remove", 2, out, *files, status=1, ordinary_user=True)
    assert " ERROR: #34fzrH  Error Domain=NSCocoaErrorDomain Code=513 " in hosted.process.stderr
    [completion] = hosted.values("completion")
    assert completion.split(" ", 2)[2] == (
        "failure “0.pdf” couldn’t be removed because you don’t have permission to access it."
    )
    assert (out / "0.pdf").read_bytes() == b"old"
    assert len(world.temporary_files()) == 1


def test_the_progress_handed_on_is_the_share_of_files_begun(world):
    files = make_files(world, 4)
    out = world.documents / "out"
    out.mkdir()
    hosted = host(world, "remove", 2, out, *files)
    assert [tuple(map(float, line.split())) for line in hosted.values("statistics")] == [
        (0.25, 1000, 500),
        (0.5, 1001, 500),
        (0.75, 1002, 501),
        (1.0, 1003, 501),
    ]


def test_the_second_password_wins_when_there_is_one(world):
    files = make_files(world, 1)
    hosted = host(world, "passwords", 2, world.temporary, *files)
    assert [call.values[1] for call in hosted.calls if call.name == "OpenA"] == [b"", b"one", b"two", b"two"]


def test_a_new_compressor_is_verbose(world):
    files = make_files(world, 1)
    assert host(world, "submit", 2, world.temporary, *files).values("verbose") == ["1"]
