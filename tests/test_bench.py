"""The measuring programs run and measure what they say; their figures are not judged here."""

import csv
import os
import re
import shutil
import subprocess
import xml.dom.minidom
from pathlib import Path

import pytest

from world import BUILD, SANITIZED

ROOT = Path(__file__).resolve().parent.parent
pytestmark = pytest.mark.skipif(SANITIZED, reason="figures under a sanitizer say nothing")


@pytest.fixture
def folder(world):
    shutil.copy(ROOT / "samples" / "charts.pdf", world.documents)
    return world.documents


def run(world, *command):
    done = subprocess.run(
        list(map(str, command)), env={**os.environ, **world.environment, "KELV_BUILD": str(BUILD)}, cwd=ROOT, capture_output=True, text=True, timeout=200
    )  # fmt: skip
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def test_a_build_compared_with_itself_makes_the_same_files(world, folder):
    printed = run(world, ROOT / "bench" / "compare", BUILD, BUILD, "--files", folder, "--rounds", "1", "--rows", "^encode/(ccitt|flate)")
    rows = {line.split()[0]: line.split()[1:] for line in printed.splitlines() if line}
    before, after = (int(rows["charts.pdf"][column].replace(",", "")) for column in (0, 1))
    # Dates of the second that it ran in may change a byte or two.
    assert abs(before - after) <= 4 and before < (folder / "charts.pdf").stat().st_size
    for row in ("encode/ccitt/scan-black-and-white", "encode/flate/slides"):
        assert float(rows[row][0]) > 0 and rows[row][2] == "1.0000"


def test_kelv_beside_another_program_gives_tables_and_plots(world, folder):
    out = world.root / "out"
    printed = run(world, ROOT / "bench" / "beside.py", folder, "--tools", "kelv,qpdf", "--out", out)
    assert "1 files, " in printed and "| kelv | 0." in printed and "| qpdf | " in printed
    with open(out / "rows.tsv", newline="") as file:
        rows = {row["tool"]: row for row in csv.DictReader(file, delimiter="\t")}
    assert int(rows["kelv"]["made"]) < int(rows["qpdf"]["made"]) < int(rows["kelv"]["before"])
    assert all(row["verdict"] == "ok" and float(row["cpu"]) > 0 and float(row["memory"]) > 1 for row in rows.values())
    for name in ("size", "look", "time", "memory", "defects"):
        bars = xml.dom.minidom.parse(str(out / f"{name}.svg")).getElementsByTagName("rect")
        assert len(bars) == 3


def test_strip_bits_are_tried_on_the_files_that_they_name(world, folder):
    shutil.copy(ROOT / "samples" / "report.pdf", folder)
    printed = run(world, ROOT / "bench" / "strip_check.py", folder, "--pages", "1")
    rows = [[cell.strip() for cell in line.split("|")[1:-1]] for line in printed.splitlines()[2:]]
    assert [row[:2] for row in rows] == [["0x100", "report.pdf"]]
    assert re.fullmatch(r"annotations (\d+) to 0, links \1 to 0", rows[0][4])
