"""The finishing step survives everything: killed at every system call, and every call failing, nothing is ever lost.

KELV_FAULT_TABLE names a file that gets the table of what was done: system call, runs, losses.
"""

import errno
import glob
import os
import re
import shutil
import subprocess
from collections import Counter
from pathlib import Path

import pytest

import messages
from world import BUILD, KELV, is_whole_original, is_whole_result, on_other_file_system

DRIVER = BUILD / "tests" / "fault_driver"
MARK = "7 batchCompress"
ERRORS = [errno.ENOSPC, errno.EIO, errno.EACCES]


def call_names():
    """System call numbers and names of this machine, from the kernel's header."""
    names = {}
    for header in glob.glob("/usr/include/*/asm/unistd_64.h") + glob.glob("/usr/include/asm-generic/unistd.h"):
        for name, number in re.findall(r"^#define __NR(?:3264)?_(\w+)\s+(\d+)", Path(header).read_text(), re.M):
            names.setdefault(int(number), name)
        if names:
            break
    return names


NAMES = call_names()


class Scenario:
    """A world that can be put back to its start, and what must hold in it after any disturbance."""

    def __init__(self, world, arguments, *, target, trash=True, tags=False, other=None):
        self.world, self.arguments, self.trash, self.tags = world, arguments, trash, tags
        self.replace = "--replace" in arguments
        self.original = world.documents / "a.pdf"
        self.target = world.documents / target
        world.grant(world.documents)
        if other is not None:
            world.temporary = other
            world.environment["TMPDIR"] = str(other)
        self.reset()

    def reset(self):
        world = self.world
        for folder in (world.documents, world.temporary, world.data):
            for entry in folder.iterdir():
                shutil.rmtree(entry) if entry.is_dir() and not entry.is_symlink() else entry.unlink()
        world.suite_path.unlink(missing_ok=True)
        world.make_pdf("a.pdf", 3000)
        if self.tags:
            os.setxattr(self.original, "user.xdg.tags", b"Red,Blue")
        if not self.trash:
            (world.data / "Trash").write_text("no folder")

    def drive(self, *action):
        world = self.world
        process = subprocess.run(
            [DRIVER, *map(str, action), MARK, *world.command(*self.arguments)],
            env=world.start_environment({"KELV_RECORD": "/dev/null"}), cwd=world.documents, capture_output=True, timeout=60,
        )  # fmt: skip
        words = [line.split() for line in process.stderr.decode(errors="replace").splitlines()]
        calls = [int(line[1]) for line in words if len(line) == 2 and line[0] == "call"]
        ends = [int(line[1]) for line in words if len(line) == 2 and line[0] == "end"]
        return calls, ends[-1] if ends else None, process.stdout.decode()

    def losses(self, output=""):
        """What is wrong with the files that are there now, after a run with this output."""
        wrong = []
        removed = "Removing the file instead." in output
        originals = [self.original] if not self.replace else [self.original, *self.trashed()]
        results = [self.target, *self.world.temporary_files()]
        if self.replace and self.trash and not removed:
            if not any(whole(path, is_whole_original) for path in originals):
                wrong.append("the original is neither at its place nor in the Trash")
        elif self.replace:
            # The removal was said, and until the result has its name it is whole where the engine put it.
            if not any(whole(path, is_whole_original) for path in originals) and not any(whole(path, is_whole_result) for path in results):
                wrong.append("neither the original nor the result is whole")
        elif not whole(self.original, is_whole_original):
            wrong.append("the original is damaged")
        for folder in (self.world.documents, self.world.temporary):
            for path in folder.rglob("*"):
                if path.name.lower().endswith(".pdf") and not whole(path, is_whole_original) and not whole(path, is_whole_result):
                    wrong.append(f"half a file bears the name {path.name}")
        return wrong

    def trashed(self):
        files = self.world.data / "Trash" / "files"
        return list(files.iterdir()) if files.is_dir() else []

    def placed(self):
        return whole(self.target, is_whole_result)


def whole(path, test):
    return path.is_file() and test(path)


def note_table(name, rows):
    table = os.environ.get("KELV_FAULT_TABLE")
    if table:
        with open(table, "a") as file:
            for call, (positions, runs, losses) in sorted(rows.items()):
                file.write(f"| {name} | {call} | {positions} | {runs} | {losses} |\n")


def disturb_everything(scenario, name):
    calls, status, _ = scenario.drive("list")
    assert status == 0 and scenario.placed() and scenario.losses() == []
    assert len(calls) > 5
    positions, runs, lost = Counter(), Counter(), Counter()
    failures = []

    def check(position, disturbance, action):
        scenario.reset()
        made, status, output = scenario.drive(*action)
        if not made:
            return None  # the run was shorter this time
        call = NAMES.get(made[-1], str(made[-1]))
        runs[call] += 1
        wrong = scenario.losses(output)
        # A run that ended by itself must have put the result in place or said why it did not.
        said = "ERROR" in output or messages.UNABLE in output
        if status == 0 and not scenario.placed() and not said and call not in ("write", "writev"):
            wrong.append("the result is missing and nothing was said")
        if status is None:
            wrong.append("the program did not end")
        if wrong:
            lost[call] += 1
            failures.append(f"{disturbance} at call {position} ({call}): {'; '.join(wrong)}")
        return call

    for position in range(1, len(calls) + 1):
        call = check(position, "killed", ("kill", position))
        if call is not None:
            positions[call] += 1
        for error in ERRORS:
            check(position, errno.errorcode[error], ("fail", position, error))
    note_table(name, {call: (positions[call], runs[call], lost[call]) for call in runs})
    assert failures == [], "\n".join(failures[:20])
    assert sum(runs.values()) >= len(calls) * (1 + len(ERRORS)) * 0.9


@pytest.fixture
def other_folder(world):
    import tempfile

    other = on_other_file_system(world)
    if other is None:
        pytest.skip("there is no second file system")
    folder = tempfile.mkdtemp(prefix="kelv-test-", dir=other)
    yield Path(folder)
    shutil.rmtree(folder, ignore_errors=True)


def test_beside_the_original(world):
    disturb_everything(Scenario(world, ["a.pdf"], target="a 2.pdf", tags=True), "beside the original")


def test_replacing_with_trash(world):
    disturb_everything(Scenario(world, ["a.pdf", "--replace", "--verbose"], target="a.pdf", tags=True), "replacing, with a Trash")


def test_replacing_without_trash(world):
    disturb_everything(Scenario(world, ["a.pdf", "--replace", "--verbose"], target="a.pdf", trash=False), "replacing, without a Trash")


def test_across_plain(world, other_folder):
    disturb_everything(Scenario(world, ["a.pdf"], target="a 2.pdf", tags=True, other=other_folder), "across file systems")


def test_replacing_across_file_systems(world, other_folder):
    disturb_everything(Scenario(world, ["a.pdf", "--replace", "--verbose"], target="a.pdf", other=other_folder), "replacing across file systems")
