"""The commands in README.md and docs/ do what the pages say.

A fenced block marked `console` is run line by line where a user would be: in ~/Documents, which holds the samples. `console tree`
runs at the top of the tree. Lines that begin with "$ " are commands and must succeed; the others are what they print, where figures may
differ, "…" stands for anything and blanks for any number of blanks. Blocks marked otherwise (`text`, `xml`) are not for running.
"""

import os
import re
import shutil
import subprocess
from pathlib import Path

import pytest

from world import BUILD, KELVARA, SANITIZED

ROOT = Path(__file__).resolve().parent.parent
PAGES = [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]
BLOCK = re.compile(r"^```([^\n]*)\n(.*?)^```$", re.M | re.S)
NOT_RUN = {"text", "xml", "c"}


def blocks(page):
    return BLOCK.findall(page.read_text())


def steps(block):
    """Pairs of a command and the lines that it is said to print."""
    found = []
    for line in block.splitlines():
        if line.startswith("$ "):
            found.append((line[2:], []))
        else:
            assert found, f"output before the first command: {line}"
            found[-1][1].append(line)
    return found


def pattern(lines):
    """A regular expression for what these lines stand for."""
    parts = []
    for line in lines:
        if line == "…":
            parts.append("(?:.*\n)*?")
            continue
        words = []
        for word in line.split():
            text = re.sub(r"\d[\d.,]*", "\0", word)
            words.append(re.escape(text).replace("\0", r"\d[\d.,]*").replace("…", ".*"))
        parts.append(r"[ \t]*" + r"[ \t]+".join(words) + r"[ \t]*\n")
    return "".join(parts)


@pytest.fixture
def home(world):
    documents = world.home / "Documents"
    documents.mkdir()
    for sample in (ROOT / "samples").glob("*.pdf"):
        shutil.copy(sample, documents)
    places = [BUILD / "bin", ROOT / "packaging" / "many", ROOT / "packaging" / "file-managers"]
    world.variables = {
        "HOME": str(world.home), "PATH": ":".join(map(str, places)) + ":" + os.environ["PATH"], "LC_ALL": "C.UTF-8",
        "KELV_BUILD": str(BUILD), "TMPDIR": str(world.temporary), "LESS": "",
    }  # fmt: skip
    return world


@pytest.mark.skipif(SANITIZED or BUILD.resolve() != ROOT / "build", reason="the pages speak of the release build in build/")
@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.stem)
def test_the_commands_do_what_the_page_says(home, page):
    ran = 0
    for language, block in blocks(page):
        if not language.startswith("console"):
            continue
        place = ROOT if language == "console tree" else home.home / "Documents"
        for command, lines in steps(block):
            done = subprocess.run(
                ["bash", "-c", command], cwd=place, env={**home.variables, "PWD": str(place)}, stdin=subprocess.DEVNULL,
                capture_output=True, text=True, timeout=280,
            )  # fmt: skip
            printed = done.stdout.replace(str(home.home), "~")
            assert done.returncode == 0, (command, printed, done.stderr)
            printed = "".join(line.strip() + "\n" for line in printed.splitlines())
            assert re.fullmatch(pattern(lines), printed), f"$ {command}\n{printed}\nis not what {page.name} shows:\n" + "\n".join(lines)
            ran += 1
    if page.name in ("README.md", "first-steps.md", "profile.md", "scale.md", "benchmarks.md"):
        assert ran >= 2


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.stem)
def test_every_block_says_whether_it_is_run(page):
    for language, block in blocks(page):
        assert language in NOT_RUN | {"console", "console tree"}, (language, block)
        if language.startswith("console"):
            assert steps(block)
    outside = BLOCK.sub("", page.read_text())
    hidden = re.findall(r"^(?: {4}|\t)(?:\$ |\./|kelv|kelvara).*$", outside, re.M)
    assert hidden == [], "commands in indented blocks are not run"


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.stem)
def test_links_lead_somewhere(page):
    for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", page.read_text()):
        assert (page.parent / target).exists(), target


def test_the_page_on_profiles_has_every_key_as_it_is():
    manual = subprocess.run([KELVARA, "manual", "kelvara"], capture_output=True, text=True, check=True).stdout
    keys = re.findall(r"^\.B (\w+) \\fR\((.*); (.*)\)$", manual[manual.index(".SH PROFILE KEYS") :], re.M)
    shown = re.findall(r"^\| `(\w+)` \| (.*?) \| (.*?) \|", (ROOT / "docs" / "profile.md").read_text(), re.M)
    assert len(keys) == 38
    assert sorted(shown) == sorted((name, kind.replace("\\-", "-"), default.replace("\\-", "-")) for name, kind, default in keys)
