"""Help, usage errors and manual pages."""

import os
import pty
import re
import subprocess

import pytest

from companion import OK, USAGE, kelvara
from documents import document
from world import BUILD, KELVARA

COMMANDS = [
    "grant", "revoke", "status", "stats", "audit", "compare", "profile list", "profile show", "profile export", "profile new", "profile edit",
    "profile check", "completion", "manual",
]  # fmt: skip


@pytest.mark.parametrize("option", [["--help"], ["-h"], ["help"]])
def test_the_overview_lists_every_command(world, option):
    answer = kelvara(world, *option)
    assert (answer.status, answer.err) == (OK, "")
    for name in COMMANDS:
        assert re.search(rf"^  {name}  ", answer.out, re.M), name


def test_without_a_command_the_overview_is_an_error(world):
    answer = kelvara(world)
    assert (answer.status, answer.out) == (USAGE, "")
    assert "Usage" in answer.err


@pytest.mark.parametrize("name", COMMANDS)
def test_every_command_explains_itself_with_examples(world, name):
    answer = kelvara(world, *name.split(), "--help")
    assert (answer.status, answer.err) == (OK, "")
    assert f"\n  kelvara {name}" in answer.out
    _, _, examples = answer.out.partition("\nExamples\n")
    assert re.search(r"^  \S", examples, re.M), answer.out
    assert kelvara(world, "help", *name.split()).out == answer.out


def test_help_lines_fit_a_terminal(world):
    for name in COMMANDS:
        for line in kelvara(world, *name.split(), "--help").lines:
            assert len(line) <= 120, line


def test_a_group_lists_its_commands(world):
    answer = kelvara(world, "profile")
    assert (answer.status, answer.out) == (USAGE, "")
    assert "profile export" in answer.err
    answer = kelvara(world, "profile", "--help")
    assert (answer.status, answer.err) == (OK, "")
    assert "profile export" in answer.out
    assert "grant" not in answer.out


@pytest.mark.parametrize("arguments", [["grnat"], ["--json"], ["help", "nothing"]])
def test_an_unknown_command_is_a_usage_error(world, arguments):
    kelvara(world, *arguments).assert_refused(USAGE, "kelvara --help")


def test_an_unknown_option_is_a_usage_error(world):
    kelvara(world, "stats", "--jsn").assert_refused(USAGE, "--jsn", "kelvara stats --help")


def test_a_missing_value_is_a_usage_error(world):
    kelvara(world, "stats", "--plot").assert_refused(USAGE, "--plot", "FILE")


def test_a_value_for_a_flag_is_a_usage_error(world):
    kelvara(world, "stats", "--json=yes").assert_refused(USAGE, "--json")


def test_the_version(world):
    assert re.fullmatch(r"kelvara \d+\.\d+\.\d+\n", kelvara(world, "--version").out)


def test_there_is_no_compress(world):
    kelvara(world, "compress", "a.pdf").assert_refused(USAGE)


def on_terminal(world, *arguments, **environment):
    """What kelvara writes when standard output and error are a terminal."""
    controller, terminal = pty.openpty()
    subprocess.run(
        [KELVARA, *arguments], env={**world.environment, **environment}, cwd=world.documents, stdout=terminal, stderr=terminal
    )
    os.close(terminal)
    written = b""
    try:
        while part := os.read(controller, 65536):
            written += part
    except OSError:
        pass  # the terminal has no other end any more
    os.close(controller)
    return written


def test_colours_only_on_a_terminal_and_never_with_no_color(world):
    assert b"\x1b[" in on_terminal(world, "--help")
    assert b"\x1b[" not in on_terminal(world, "--help", NO_COLOR="1")
    assert b"\x1b[" in on_terminal(world, "--help", NO_COLOR="")
    assert "\x1b[" not in kelvara(world, "--help").out


def test_progress_is_shown_on_a_terminal_and_goes_away(world):
    document(world.documents / "a.pdf")
    written = on_terminal(world, "audit", "a.pdf", "--profile", "web")
    assert b"a.pdf: reading" in written
    assert b"a.pdf: trying web" in written
    assert written.rindex(b"\r\x1b[K") < written.index(b"a.pdf: ", written.rindex(b"\r\x1b[K"))
    assert kelvara(world, "audit", "a.pdf", "--profile", "web").err == ""


def test_output_that_cannot_be_written_is_a_failure(world):
    with open("/dev/full", "w") as full:
        process = subprocess.run([KELVARA, "--help"], env=world.environment, stdout=full, stderr=subprocess.PIPE)
    assert process.returncode == 1
    assert process.stderr.startswith(b"kelvara: ")


def test_an_unknown_shell_is_a_usage_error(world):
    kelvara(world, "completion", "tcsh").assert_refused(USAGE, "bash")
    kelvara(world, "completion", "bash", "ls").assert_refused(USAGE, "kelvara")


@pytest.mark.parametrize("program, words", [("kelv", ["--output", "PWD", "EXIT"]), ("kelvara", [*COMMANDS, "imageQuality"])])
def test_the_manual_pages_are_read_without_complaint(world, program, words):
    page = world.documents / f"{program}.1"
    page.write_text(kelvara(world, "manual", program).out)
    assert page.read_text().startswith(f".TH {program.upper()} 1")
    for word in words:
        assert word.replace("-", "\\-") in page.read_text()
    # As Debian's checks of packages read them, and by a reader that shares no code with it.
    environment = {**world.environment, "MANROFFSEQ": "", "MANWIDTH": "80", "LC_ALL": "C.UTF-8"}
    read = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", page], env=environment, capture_output=True, text=True)
    assert (read.returncode, read.stderr) == (0, "")
    assert words[0] in read.stdout
    lint = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", page], capture_output=True, text=True)
    assert (lint.returncode, lint.stdout + lint.stderr) == (0, "")


def test_the_built_pages_and_completions_are_those_that_are_printed(world):
    for program in ("kelv", "kelvara"):
        assert (BUILD / f"man/{program}.1").read_text() == kelvara(world, "manual", program).out
        for shell, name in (("bash", program), ("zsh", f"_{program}"), ("fish", f"{program}.fish")):
            written = (BUILD / "completions" / shell / name).read_text()
            assert written == kelvara(world, "completion", shell, program).out


def test_an_unknown_manual_is_a_usage_error(world):
    kelvara(world, "manual", "ls").assert_refused(USAGE, "kelvara")
