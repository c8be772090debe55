"""What the shells offer, asked of the shells themselves."""

import os
import pty
import re
import select
import subprocess
import time

import pytest

from companion import kelvara
from world import BUILD, KELVARA

COMPLETIONS = BUILD / "completions"


@pytest.fixture
def folder(world):
    """A folder with a file of every kind."""
    world.make_pdf("scan one.pdf")
    world.make_pdf("SCAN.PDF")
    for name in ("scan.txt", "mine.kelvcp"):
        (world.documents / name).write_text("x")
    (world.documents / "scans").mkdir()
    return world


class Terminal:
    """A shell at a terminal, with the line that is being typed."""

    def __init__(self, world, command, setup):
        self.controller, terminal = pty.openpty()
        path = f"{KELVARA.parent}:/usr/bin:/bin"
        environment = {**world.environment, "PATH": path, "TERM": "dumb", "PS1": "", "ZDOTDIR": str(world.home)}
        self.process = subprocess.Popen(
            command, env=environment, cwd=world.documents, stdin=terminal, stdout=terminal, stderr=terminal, start_new_session=True
        )
        os.close(terminal)
        self.type(setup + "\necho re''ady\n")
        self.read_until("ready")

    def type(self, text):
        os.write(self.controller, text.encode())

    def read_until(self, pattern, seconds=30):
        text = ""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if select.select([self.controller], [], [], 0.2)[0]:
                text += os.read(self.controller, 65536).decode(errors="replace")
            if re.search(pattern, text):
                return text
        raise AssertionError(f"{pattern} did not come: {text!r}")

    def close(self):
        self.process.kill()
        self.process.wait()
        os.close(self.controller)


def bash_offers(world, line):
    """The words that bash's own completion offers for the last word of the line."""
    program = line.split(" ")[0]
    script = (
        f"source {COMPLETIONS}/bash/{program}\ncompopt() {{ :; }}\n"
        f"COMP_WORDS=({' '.join(repr(word) for word in re.split('(=)| ', line) if word is not None)})\n"
        f"COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1))\n_{program}\nprintf '%s\\n' \"${{COMPREPLY[@]}}\"\n"
    )
    process = subprocess.run(["bash", "-c", script], cwd=world.documents, capture_output=True, check=True)
    assert process.stderr == b""
    return set(process.stdout.decode().splitlines()) - {""}


def fish_offers(world, line):
    program = line.split(" ")[0]
    script = f"source {COMPLETIONS}/fish/{program}.fish; complete -C \"{line}\""
    process = subprocess.run(
        ["fish", "--no-config", "-c", script], cwd=world.documents, env=world.environment, capture_output=True, check=True
    )
    assert process.stderr == b""
    return {entry.split("\t")[0] for entry in process.stdout.decode().splitlines()}


@pytest.mark.parametrize(
    "line, offered",
    [
        ("kelv --o", {"--output"}),
        ("kelv sc", {"scan one.pdf", "scans"}),
        ("kelv SC", {"SCAN.PDF"}),
        ("kelv SCAN.PDF --profile m", {"mine.kelvcp"}),
        ("kelvara gr", {"grant"}),
        ("kelvara profile ", {"list", "show", "export", "new", "edit", "check"}),
        ("kelvara profile export arch", {"archive"}),
        ("kelvara profile show m", {"minimum", "mine.kelvcp"}),
        ("kelvara profile new x.kelvcp --from p", {"print"}),
        ("kelvara profile new x.kelvcp --from=p", {"print"}),
        ("kelvara profile edit mine.kelvcp imageR", {"imageResolution="}),
        ("kelvara profile edit mine.kelvcp --unset imageR", {"imageResolution"}),
        ("kelvara help sta", {"status", "stats"}),
        ("kelvara stats --h", {"--history", "--help"}),
        ("kelvara grant sc", {"scans"}),
        ("kelvara completion f", {"fish"}),
        ("kelvara revoke ", set()),
    ],
)
def test_bash_offers(folder, line, offered):
    assert bash_offers(folder, line) == offered


@pytest.mark.parametrize(
    "line, offered",
    [
        ("kelv --o", {"--output"}),
        ("kelv scan", {"scan one.pdf", "SCAN.PDF", "scans/", "scan.txt"}),  # fish puts others behind, but shows them
        ("kelv SCAN.PDF --profile mi", {"mine.kelvcp"}),
        ("kelvara gr", {"grant"}),
        ("kelvara profile ", {"list", "show", "export", "new", "edit", "check"}),
        ("kelvara profile export arch", {"archive"}),
        ("kelvara profile edit mine.kelvcp imageR", {"imageResolution="}),
        ("kelvara stats --h", {"--history", "--help"}),
        ("kelvara grant sc", {"scans/"}),
    ],
)
def test_fish_offers(folder, line, offered):
    assert fish_offers(folder, line) == offered


@pytest.mark.parametrize(
    "typed, completed",
    [("kelv scan\\ ", r"scan\\ one\.pdf "), ("kelvara gr", "grant "), ("kelvara profile new x imageR", "imageResolution=")],
)
def test_bash_completes_a_line_at_a_terminal(folder, typed, completed):
    terminal = Terminal(folder, ["bash", "--norc", "--noprofile", "-i"], f"source {COMPLETIONS}/bash/kelv; source {COMPLETIONS}/bash/kelvara")
    try:
        terminal.type(typed + "\t")
        terminal.read_until(completed)
    finally:
        terminal.close()


@pytest.mark.parametrize(
    "typed, completed",
    [
        ("kelv --sub", "--subfolders "),
        ("kelv scan\\ ", r"scan\\ one\.pdf"),
        ("kelv a.pdf --profile mi", r"mine\.kelvcp"),
        ("kelvara gr", "grant "),
        ("kelvara profile exp", "export "),
        ("kelvara profile export arch", "archive "),
        ("kelvara profile new x imageR", "imageResolution="),
        ("kelvara stats --his", "--history "),
    ],
)
@pytest.mark.parametrize("way", ["in the function path", "sourced"])
def test_zsh_completes_a_line_at_a_terminal(folder, typed, completed, way):
    if way == "sourced":
        setup = "autoload -U compinit; compinit -u -D; source <(kelvara completion zsh)"
    else:
        setup = f"fpath=({COMPLETIONS}/zsh $fpath); autoload -U compinit; compinit -u -D"
    terminal = Terminal(folder, ["zsh", "-f", "-i"], setup)
    try:
        terminal.type(typed + "\t")
        terminal.read_until(completed)
    finally:
        terminal.close()


@pytest.mark.parametrize("shell", ["bash", "zsh", "fish"])
def test_every_shell_accepts_its_completion(world, shell):
    for arguments in ([], ["kelv"], ["kelvara"]):
        text = kelvara(world, "completion", shell, *arguments).out
        subprocess.run([shell, "-n"], input=text.encode(), check=True, capture_output=True)
        assert ("subfolders" in text) == (arguments != ["kelvara"])
        assert ("archive" in text) == (arguments != ["kelv"])
