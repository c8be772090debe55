"""Help, usage errors, completions and manual pages."""

import os
import pty
import re
import shutil
import subprocess

import pytest

from companion import OK, USAGE, kelvara
from world import KELVARA

COMMANDS = [
    "grant", "revoke", "status", "stats", "profile list", "profile show", "profile export", "profile new", "profile edit",
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


def test_output_that_cannot_be_written_is_a_failure(world):
    with open("/dev/full", "w") as full:
        process = subprocess.run([KELVARA, "--help"], env=world.environment, stdout=full, stderr=subprocess.PIPE)
    assert process.returncode == 1
    assert process.stderr.startswith(b"kelvara: ")


def bash_completes(world, line):
    """The words that bash offers for the last word of the line."""
    words = line.split(" ")
    script = (
        kelvara(world, "completion", "bash").out
        + f"\ncompopt() {{ :; }}\nCOMP_WORDS=({' '.join(repr(word) for word in words)})\nCOMP_CWORD={len(words) - 1}\n"
        + f"_{words[0]}\nprintf '%s\\n' \"${{COMPREPLY[@]}}\"\n"
    )
    process = subprocess.run(["bash", "-c", script], cwd=world.documents, capture_output=True, check=True)
    assert process.stderr == b""
    return process.stdout.decode().split()


def test_bash_completes_commands_options_profiles_and_files(world):
    world.make_pdf("scan.pdf")
    assert bash_completes(world, "kelv --o") == ["--output"]
    assert bash_completes(world, "kelv sc") == ["scan.pdf"]
    assert set(bash_completes(world, "kelvara ")) >= {"grant", "revoke", "status", "stats", "profile"}
    assert bash_completes(world, "kelvara gr") == ["grant"]
    assert set(bash_completes(world, "kelvara profile ")) == {"list", "show", "export", "new", "edit", "check"}
    assert bash_completes(world, "kelvara profile export arch") == ["archive"]
    assert bash_completes(world, "kelvara stats --h") == ["--history", "--help"]


@pytest.mark.parametrize("shell", ["zsh", "fish"])
def test_other_shells_accept_their_completion(world, shell):
    text = kelvara(world, "completion", shell).out
    for word in ("--subfolders", "grant", "export", "archive"):
        assert word.removeprefix("--") in text
    if not shutil.which(shell):
        pytest.skip(f"{shell} is not installed")
    subprocess.run([shell, "-n"], input=text.encode(), check=True, capture_output=True)


def test_an_unknown_shell_is_a_usage_error(world):
    kelvara(world, "completion", "tcsh").assert_refused(USAGE, "bash")


@pytest.mark.parametrize("program, words", [("kelv", ["--output", "PWD", "EXIT"]), ("kelvara", [*COMMANDS, "imageQuality"])])
def test_the_manual_pages_are_read_by_man_without_complaint(world, program, words):
    page = kelvara(world, "manual", program).out
    assert page.startswith(f".TH {program} 1")
    for word in words:
        assert word.replace("-", "\\-") in page
    if shutil.which("groff"):
        process = subprocess.run(
            ["groff", "-man", "-Tutf8", "-ww", "-z"], input=page.encode(), capture_output=True, check=True
        )
        assert process.stderr == b""


def test_an_unknown_manual_is_a_usage_error(world):
    kelvara(world, "manual", "ls").assert_refused(USAGE, "kelvara")
