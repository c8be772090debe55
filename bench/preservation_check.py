#!/usr/bin/python3
"""Counts what a reader uses of every PDF of a folder before and after kelv: pages, text, links, outlines, fields, tags …

usage: bench/preservation_check.py FOLDER [--only REGEX] [--table FILE.md]

Each file is compressed with the web profile and with lossless settings (those of lossless_check.py). The counts come from pikepdf and
pdftotext (tests/engine/preservation.py); the contents are compared, not only their number. Exit 1 where something differs.
"""
import argparse
import collections
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import pikepdf

from beside import ROOT, World
from lossless_check import lossless_profile

sys.path.insert(0, str(ROOT / 'tests' / 'engine'))
from preservation import inventory  # noqa: E402


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('folder', type=pathlib.Path)
    parser.add_argument('--only', default='')
    parser.add_argument('--table', type=pathlib.Path)
    args = parser.parse_args()
    files = sorted(p for p in args.folder.rglob('*.pdf') if re.search(args.only, p.name))
    if not files:
        parser.error('no PDFs in that folder')
    before, after, holders = collections.Counter(), collections.defaultdict(collections.Counter), collections.Counter()
    differ, refused = [], []
    with tempfile.TemporaryDirectory() as folder:
        world = World(tempfile.mkdtemp(dir=folder))
        profiles = {'web': None, 'lossless': lossless_profile(folder)}
        for path in files:
            made = {}
            for name, profile in profiles.items():
                target = os.path.join(folder, f'{name}.pdf')
                pathlib.Path(target).unlink(missing_ok=True)
                subprocess.run(world.command(str(path.resolve()), target, profile), env=world.env, capture_output=True)
                if os.path.exists(target):
                    made[name] = inventory(target)
            if not made:
                refused.append(path.name)
                print(f'{path.name}: not written', flush=True)
                continue
            try:
                old = inventory(str(path))
            except (pikepdf.PdfError, RuntimeError) as problem:
                refused.append(path.name)
                print(f'{path.name}: cannot be read: {problem}', flush=True)
                continue
            for kind, items in old.items():
                before[kind] += len(items)
                holders[kind] += bool(items)
                for name in profiles:
                    # Where nothing was written the original stays, and with it everything.
                    new = made.get(name, old)[kind]
                    after[name][kind] += len(new)
                    if new != items:
                        differ.append(f'{path.name}, {name}: {kind} ({len(items)}, then {len(new)})')
            print(f'{path.name}: {"; ".join(line for line in differ if line.startswith(path.name)) or "equal"}', flush=True)
    lines = ['| what | files with it | before | web | lossless |', '| --- | ---: | ---: | ---: | ---: |']
    lines += [f'| {kind} | {holders[kind]} | {before[kind]:,} | {after["web"][kind]:,} | {after["lossless"][kind]:,} |' for kind in before]
    lines += ['', f'{len(files)} files, {len(refused)} of them not written or not readable; {len(differ)} differences'
              + (':' if differ else '.')] + [f'- {line}' for line in differ]
    print('\n'.join(lines))
    if args.table:
        args.table.write_text('\n'.join(lines) + '\n')
    return 1 if differ else 0


if __name__ == '__main__':
    sys.exit(main())
