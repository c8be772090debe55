"""A large collection worked by many kelv processes: nothing twice, nothing lost, totals exact."""

import os
import signal
import subprocess
import time
from pathlib import Path

import pytest

from world import BUILD, COMPRESSED_TOTAL, KELVARA, ORIGINAL_TOTAL, RECORDING_ENGINE, is_whole_result, tool

MANY = Path(__file__).resolve().parent.parent / "packaging" / "many" / "kelv-many"
ODD = ["two words.pdf", "REPORT.PDF", "it's --output.pdf", 'deep/er/a "b" [c]*?.pdf', "back\\slash.pdf", "Ä.kelvcp.pdf", "-x.pdf"]


class Collection:
    def __init__(self, world, names):
        self.world = world
        self.state = world.documents / "state"
        self.small = world.documents / "small"
        self.sizes = {name: 1000 + 10 * number for number, name in enumerate(names)}
        for name, size in self.sizes.items():
            world.make_pdf(f"in/{name}", size)
        self.inputs = world.documents / "in"
        self.environment = world.start_environment(
            {"PATH": f"{MANY.parent}:{BUILD}/bin:{os.environ['PATH']}"}, recording=True
        )
        # One record for each process would be written by all of them at once.
        del self.environment["KELV_RECORD"]

    def script(self, **behaviour):
        """What the engine does from here on, in workers that start."""
        self.world.engine(**behaviour)
        self.environment["KELV_SCRIPT"] = self.world.start_environment()["KELV_SCRIPT"]

    def no_script(self):
        self.environment["KELV_SCRIPT"] = "/dev/null"

    def many(self, *arguments, status=0):
        done = subprocess.run([MANY, *map(str, arguments)], env=self.environment, capture_output=True, text=True, timeout=120)
        assert done.returncode == status, done.stdout + done.stderr
        return done.stdout

    def start(self, slice, slices):
        return subprocess.Popen([MANY, "work", self.state, str(slice), str(slices)], env=self.environment, start_new_session=True)

    def plan(self):
        return self.many("plan", self.state, self.inputs, self.small)

    def totals(self, status=0):
        lines = self.many("totals", self.state, status=status).splitlines()
        return {line.rsplit(" ", 1)[0]: int(line.rsplit(" ", 1)[1]) for line in lines if not line.startswith("failed:")}

    def results(self):
        return sorted(str(path.relative_to(self.small)) for path in self.small.rglob("*") if path.is_file())

    def assert_all_done_exactly(self):
        before, after = sum(self.sizes.values()), sum(size // 2 for size in self.sizes.values())
        assert self.totals() == {
            "files": len(self.sizes), "smaller": len(self.sizes), "kept": 0, "failed": 0, "left": 0, "twice": 0,
            "bytes before": before, "bytes after": after,
        }  # fmt: skip
        assert self.results() == sorted(self.sizes)
        assert all(is_whole_result(self.small / name) for name in self.sizes)
        suite = self.world.read_suite()
        assert (suite[ORIGINAL_TOTAL], suite[COMPRESSED_TOTAL]) == (before, after)


@pytest.fixture
def collection(world):
    world.hand_over(world.documents)
    return Collection(world, ODD + [f"{number % 3}/{number:03}.pdf" for number in range(14)])


def wait_for(condition):
    for _ in range(600):
        if condition():
            return
        time.sleep(0.05)
    raise AssertionError("it did not happen within 30 seconds")


def test_four_processes_under_gnu_parallel_end_with_exact_totals(collection):
    assert collection.plan() == f"{len(collection.sizes)} PDFs in {collection.state}/files\n"
    assert collection.totals(status=1)["left"] == len(collection.sizes)
    subprocess.run(
        [tool("parallel"), "--will-cite", "-j4", MANY, "work", collection.state, "{}", "4", ":::", "1", "2", "3", "4"],
        env=collection.environment, check=True, timeout=120,
    )  # fmt: skip
    collection.assert_all_done_exactly()
    shown = subprocess.run([KELVARA, "stats", "--json"], env=collection.environment, check=True, capture_output=True, text=True)
    assert f'"originalSize": {sum(collection.sizes.values())},' in shown.stdout
    assert collection.world.temporary_files() == []


def test_what_is_done_is_never_worked_again(collection):
    collection.plan()
    collection.many("work", collection.state, 1, 3)
    first = {name: os.stat(collection.small / name).st_ino for name in collection.results()}
    assert len(first) == 7
    # In other slices, with new files and after a second plan.
    for name in ("new.pdf", "0/000a.pdf"):
        collection.world.make_pdf(f"in/{name}", 5000)
        collection.sizes[name] = 5000
    collection.plan()
    for slice in (1, 2):
        collection.many("work", collection.state, slice, 2)
    collection.assert_all_done_exactly()
    assert {name: os.stat(collection.small / name).st_ino for name in first} == first


def test_a_worker_that_is_asked_to_stop_ends_its_file_and_goes_on_later(collection):
    collection.script(open_delay=150)
    collection.plan()
    worker = collection.start(1, 1)
    wait_for(lambda: len(collection.results()) >= 3)
    os.killpg(worker.pid, signal.SIGTERM)  # kelv gets it too, as from a cluster
    assert worker.wait(30) == 143
    done = len(collection.results())
    assert collection.totals(status=1)["smaller"] == done < len(collection.sizes)
    assert [entry.name for entry in collection.small.iterdir() if entry.name.startswith(".")] == []
    collection.no_script()
    collection.many("work", collection.state, 1, 1)
    collection.assert_all_done_exactly()


def test_a_killed_worker_loses_nothing(collection):
    """The worker with its kelv is killed in the middle of a file, as a machine that goes down would end them."""
    collection.script(open_delay=300)
    collection.plan()
    worker = collection.start(1, 1)
    wait_for(lambda: len(collection.results()) >= 2)
    time.sleep(0.1)
    os.killpg(worker.pid, signal.SIGKILL)
    worker.wait(30)
    # The last line of its list may be half a line.
    with open(collection.state / "done" / "1.tsv", "a") as half:
        half.write("smaller\t10")
    collection.no_script()
    assert [entry for entry in collection.small.iterdir() if entry.name.startswith(".")] != []
    collection.many("work", collection.state, 1, 1)
    assert collection.totals()["left"] == 0
    assert collection.results() == sorted(collection.sizes)
    assert all(is_whole_result(collection.small / name) for name in collection.sizes)
    assert collection.totals()["twice"] == 0
    assert collection.totals()["bytes before"] == sum(collection.sizes.values())


def test_two_workers_never_share_a_slice_or_cut_the_list_differently(collection):
    collection.script(open_delay=200)
    collection.plan()
    worker = collection.start(1, 2)
    wait_for(collection.results)
    collection.many("work", collection.state, 1, 2, status=2)
    collection.many("work", collection.state, 2, 3, status=2)
    collection.many("plan", collection.state, collection.inputs, collection.small, status=2)
    collection.many("again", collection.state, status=2)
    worker.terminate()
    assert worker.wait(30) == 143


def test_failures_are_named_and_tried_again_when_asked(collection):
    good = collection.inputs / "000 broken.pdf"
    good.symlink_to("nowhere.pdf")  # links are not listed: what they lead to is listed where it stands
    (collection.inputs / ".hidden.pdf").write_bytes(b"")
    collection.world.make_pdf("in/line\nbreak.pdf")
    collection.plan()
    assert "nowhere" not in (collection.state / "files").read_text()
    gone = collection.inputs / "0" / "003.pdf"
    content = gone.read_bytes()
    gone.unlink()
    collection.many("work", collection.state, 1, 1)
    assert collection.totals()["failed"] == 1
    assert "failed: 0/003.pdf: the original is gone" in collection.many("totals", collection.state)
    gone.write_bytes(content)
    collection.many("work", collection.state, 1, 1)
    assert collection.totals()["failed"] == 1
    collection.many("again", collection.state)
    assert collection.totals(status=1)["left"] == 1
    collection.many("work", collection.state, 1, 1)
    collection.assert_all_done_exactly()


def test_a_file_that_does_not_get_smaller_is_kept_and_not_tried_again(collection):
    collection.script(output=5000)
    collection.plan()
    collection.many("work", collection.state, 1, 1)
    assert collection.totals()["kept"] == len(collection.sizes)
    assert collection.results() == []
    collection.no_script()
    collection.many("work", collection.state, 1, 1)
    assert collection.results() == []


def test_a_file_that_ends_kelv_abnormally_is_a_failure_and_the_rest_goes_on(collection):
    collection.environment["KELV_MANY_SECONDS"] = "1"
    collection.script(open_delay=3000)
    for name in list(collection.sizes)[2:]:
        (collection.inputs / name).unlink()
    collection.plan()
    collection.many("work", collection.state, 1, 1)
    assert "stopped after 1 seconds" in collection.many("totals", collection.state)
    assert collection.totals()["failed"] == 2


def test_without_access_nothing_is_taken_for_done(collection):
    collection.world.suite_path.unlink()
    collection.plan()
    collection.many("work", collection.state, 1, 1, status=2)
    assert collection.totals(status=1)["left"] == len(collection.sizes)


def test_a_job_array_of_slurm_is_cancelled_and_goes_on_without_working_a_file_twice(collection):
    """A cluster of one node is started for it; its totals are compared with the list and with the files."""
    collection.script(open_delay=150)
    environment = {**collection.environment, "KELV_BUILD": str(BUILD)}
    script = MANY.parent / "try-slurm"
    done = subprocess.run([script, collection.inputs], env=environment, capture_output=True, text=True, timeout=600)
    if done.returncode == 77:
        pytest.skip(done.stdout.strip())
    assert done.returncode == 0, done.stdout + done.stderr
    assert done.stdout.endswith("All well\n")
    assert "(all files were done before" not in done.stdout
    assert f"bytes before {sum(collection.sizes.values())}\n" in done.stdout
