"""An installed kelv finds its engine, and lets another one be put in its place."""

import shutil
import subprocess

import pytest

from world import BUILD, RECORDING_ENGINE, SANITIZED


@pytest.fixture
def installed(granted):
    prefix = granted.root / "prefix"
    done = subprocess.run(["cmake", "--install", BUILD, "--prefix", prefix], capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
    return prefix


def run_installed(world, prefix, **environment):
    world.make_pdf("a.pdf")
    values = world.start_environment(environment, recording=False)
    return subprocess.run([prefix / "bin" / "kelv", "a.pdf"], env=values, cwd=world.documents, capture_output=True)


def test_the_installed_programs_run_from_anywhere(granted, installed):
    moved = granted.root / "elsewhere"
    installed.rename(moved)
    process = run_installed(granted, moved)
    assert process.returncode == 0, process.stderr
    # The real engine looked at the file and found no PDF in it.
    assert process.stdout.startswith(b"ERROR: # sdfgWWe :) - error: ")
    companion = subprocess.run(
        [moved / "bin" / "kelvara", "--help"], env=granted.start_environment(recording=False), capture_output=True
    )
    assert companion.returncode == 0


def test_another_engine_in_front_is_used(granted, installed):
    process = run_installed(granted, installed, LD_LIBRARY_PATH=str(RECORDING_ENGINE))
    assert process.returncode == 0, process.stderr
    assert granted.names() == ["a 2.pdf", "a.pdf"]


@pytest.mark.skipif(SANITIZED, reason="the recording engine in its place is built without the sanitizer's run-time")
def test_another_engine_in_its_place_is_used(granted, installed):
    [engine] = list(installed.rglob("libPdfOptimizeAPI.so"))
    engine.unlink()
    shutil.copy(RECORDING_ENGINE / "libPdfOptimizeAPI.so", engine)
    process = run_installed(granted, installed)
    assert process.returncode == 0, process.stderr
    assert granted.names() == ["a 2.pdf", "a.pdf"]


def test_an_engine_that_is_missing_is_an_abnormal_stop(granted, installed):
    if SANITIZED:
        pytest.skip("linked in the plain way under the sanitizers")
    [engine] = list(installed.rglob("libPdfOptimizeAPI.so"))
    engine.unlink()
    process = run_installed(granted, installed)
    assert process.returncode == -6
    assert process.stdout == b""
    assert b"libPdfOptimizeAPI.so" in process.stderr
    assert granted.names() == ["a.pdf"]
