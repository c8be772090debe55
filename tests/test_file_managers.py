"""The file managers' action "Compress PDF", with the programs that show windows replaced."""

import os
import subprocess
from pathlib import Path

import pytest

from world import BUILD, RECORDING_ENGINE

ACTION = Path(__file__).resolve().parent.parent / "packaging" / "file-managers"
ODD = ["two words.pdf", "it's.pdf", 'a "quoted" one.pdf', "$(touch broken).pdf", "-x.pdf", "Ä;*?.pdf", "back\\slash.pdf"]


@pytest.fixture
def desktop(world):
    """A world whose PATH has kelv, the action and stand-ins that write down what they were asked."""
    programs = world.root / "programs"
    programs.mkdir()
    world.said = world.root / "said"
    world.answer = world.root / "answer"
    for name in ("notify-send", "zenity"):
        (programs / name).write_text(
            f'#!/bin/sh\nprintf "%s\\n" {name} "$@" >>"{world.said}"\n[ {name} = notify-send ] || [ -e "{world.answer}" ]\n'
        )
        (programs / name).chmod(0o755)
    world.path = f"{programs}:{ACTION}:{BUILD}/bin:{os.environ['PATH']}"
    return world


def choose(world, *names, program="kelv-compress-pdf", cwd=None):
    environment = {"PATH": world.path, "LD_LIBRARY_PATH": str(RECORDING_ENGINE)}
    return subprocess.run(
        [ACTION / program, *names], env=world.start_environment(environment, recording=False),
        cwd=cwd or world.documents, capture_output=True, text=True, timeout=60,
    )  # fmt: skip


@pytest.mark.parametrize("program", ["kelv-compress-pdf", "Compress PDF"])
def test_the_chosen_files_are_compressed_whatever_their_names(desktop, program):
    desktop.grant(desktop.documents)
    for name in ODD:
        desktop.make_pdf(name, 2000)
    desktop.make_pdf("not chosen.pdf")
    # Dolphin gives whole paths, the scripts of Nautilus get names in the folder where they run.
    names = ODD if program == "Compress PDF" else [desktop.documents / name for name in ODD]
    done = choose(desktop, *names, program=program)
    assert done.returncode == 0, done.stdout + done.stderr
    results = [name.removesuffix(".pdf") + " 2.pdf" for name in ODD]
    assert desktop.names() == sorted([*ODD, *results, "not chosen.pdf"])
    assert done.stdout == "7 compressed: 14.0KB became 7.0KB.\n"
    assert "7 compressed: 14.0KB became 7.0KB." in desktop.said.read_text()


def test_files_in_several_folders(desktop):
    desktop.grant(desktop.documents)
    desktop.make_pdf("one/a.pdf")
    desktop.make_pdf("two/--output/b.pdf")
    done = choose(desktop, desktop.documents / "one/a.pdf", desktop.documents / "two/--output/b.pdf", cwd="/")
    assert done.returncode == 0, done.stdout
    assert desktop.names(desktop.documents / "one") == ["a 2.pdf", "a.pdf"]
    assert desktop.names(desktop.documents / "two/--output") == ["b 2.pdf", "b.pdf"]


def test_a_name_that_kelv_would_not_take_for_a_file_is_named(desktop):
    desktop.grant(desktop.documents)
    desktop.make_pdf("a.pdf")
    desktop.make_pdf("B.PDF")
    done = choose(desktop, "B.PDF", "a.pdf")
    assert done.returncode == 1
    assert done.stdout.startswith("1 compressed: ") and "1 failed. B.PDF: " in done.stdout


def test_without_a_grant_it_asks_and_takes_no_for_an_answer(desktop):
    desktop.make_pdf("a.pdf")
    done = choose(desktop, "a.pdf")
    assert done.returncode == 1
    assert f"kelvara grant '{desktop.documents}'" in done.stdout
    assert "zenity\n--question" in desktop.said.read_text()
    assert desktop.names() == ["a.pdf"]


def test_without_a_grant_it_asks_and_takes_yes_for_an_answer(desktop):
    desktop.make_pdf("a.pdf")
    desktop.make_pdf("b.pdf")
    desktop.answer.touch()
    done = choose(desktop, "a.pdf", "b.pdf")
    assert done.returncode == 0, done.stdout
    assert desktop.names() == ["a 2.pdf", "a.pdf", "b 2.pdf", "b.pdf"]
    assert desktop.said.read_text().count("--question") == 1


def test_a_file_that_fails_is_named_with_kelvs_reason(desktop):
    desktop.grant(desktop.documents)
    (desktop.documents / "gone.pdf").symlink_to("nowhere.pdf")
    done = choose(desktop, "gone.pdf")
    assert done.returncode == 1
    assert "1 failed. gone.pdf: ERROR: " in done.stdout
