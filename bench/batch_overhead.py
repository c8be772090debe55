#!/usr/bin/env python3
"""What kelv itself takes for each file of a large batch: a run over many one-page PDFs with an engine that does next to nothing.

Usage: bench/batch_overhead.py [COUNT]     (5000 files when left out; build the targets kelv, kelvara and recording_engine first)

Prints one line for a tenth of the files and one for all of them: wall, user and system time per file, and the peak of the memory.
The engine of the tests takes the real one's place; its own share (reading the input, writing half of it) is measured by its record,
which is why the files are run a second time with the record on. The folder is on the file system of TMPDIR.
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = Path(os.environ.get("KELV_BUILD", ROOT / "build"))
ONE_PAGE = (
    b"%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj\n"
    b"3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 595 842]>>endobj\ntrailer<</Root 1 0 R>>\n%%EOF\n"
)


def run(folder, count, record):
    """(wall, user, system) seconds and the peak in KiB of one run over count files."""
    for name in ("in", "out", "tmp", "config", "data"):
        (folder / name).mkdir(parents=True)
    for number in range(count):
        (folder / "in" / f"{number:05}.pdf").write_bytes(ONE_PAGE + b"%" * 1000)
    environment = {
        "HOME": str(folder), "PWD": str(folder), "PATH": "/usr/bin:/bin", "TMPDIR": str(folder / "tmp"), "LANG": "C.UTF-8",
        "XDG_CONFIG_HOME": str(folder / "config"), "XDG_DATA_HOME": str(folder / "data"),
        "LD_LIBRARY_PATH": str(BUILD / "tests" / "engine"),
    }  # fmt: skip
    if record:
        environment["KELV_RECORD"] = str(folder / "record")
    subprocess.run([BUILD / "bin" / "kelvara", "grant", folder], env=environment, check=True, stdout=subprocess.DEVNULL)
    start = time.perf_counter()
    process = subprocess.Popen(
        [BUILD / "bin" / "kelv", "in", "--output", "out"],
        env=environment, cwd=folder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
    )  # fmt: skip
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.perf_counter() - start
    process.returncode = status
    assert status == 0 and len(os.listdir(folder / "out")) == count, "the run failed"
    return wall, usage.ru_utime, usage.ru_stime, usage.ru_maxrss


def engine_share(record):
    """Seconds between each open or save and the call after it: the time inside the two calls that touch files."""
    entries = [json.loads(line) for line in Path(record).read_text("ascii").splitlines()]
    share = 0
    for entry, after in zip(entries, entries[1:]):
        if entry["call"] == "PdfOptimizeSaveAsA":
            share += after["time"] - entry["time"]
    return share / 1e9


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 5000
    for files in (count // 10, count):
        folder = Path(tempfile.mkdtemp(prefix="kelv-bench-"))
        try:
            wall, user, system, peak = run(folder / "plain", files, False)
            run(folder / "recorded", files, True)
            engine = engine_share(folder / "recorded" / "record")
        finally:
            shutil.rmtree(folder)
        each = 1000 / files
        print(
            f"{files:6} files  wall {wall * each:.3f}  user {user * each:.3f}  system {system * each:.3f}  "
            f"of it the engine's saves {engine * each:.3f} ms a file  peak {peak / 1024:.1f} MiB"
        )


main()
