#!/usr/bin/python3
"""Applies each strip bit and flattening to the PDFs of a folder that have what it names, and says what else changed.

usage: bench/strip_check.py FOLDER [--only REGEX] [--bits 80,100] [--pages 6] [--keep FOLDER]

Nothing but the bit is set, so pages must look the same; counts come from pikepdf and pdftotext (tests/engine/preservation.py), pixels
from pdftoppm and mutool at 60 dpi. Flattenings may draw what a viewer draws differently or not at all (borders of links, values of
fields without an appearance): of these the share of changed pixels is printed. Exit 1 where something else differs.
"""
import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import numpy as np
import pikepdf
from PIL import Image

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = pathlib.Path(os.environ.get('KELV_BUILD', ROOT / 'build'))
sys.path.insert(0, str(ROOT / 'tests' / 'engine'))
from preservation import inventory  # noqa: E402

DICTIONARIES = (pikepdf.Dictionary, pikepdf.Stream)
ANNOTATIONS = {'/Widget': 0x80, '/Link': 0x100}
KEYS = {'/Threads': 0x1, '/PieceInfo': 0x4, '/StructTreeRoot': 0x8, '/Thumb': 0x10, '/SpiderInfo': 0x20, '/Alternates': 0x40,
        '/OutputIntents': 0x400}
# What may differ besides pixels. Text of fields may be found in another order once it is on the page.
TOUCHED = {0x1: {'articles'}, 0x2: {'metadata'}, 0x8: {'tags'}, 0x80: {'fields', 'annotations', 'text', 'scripts', 'script texts', 'XFA'},
           0x100: {'links', 'annotations'}, 0x200: {'annotations', 'attachments'}, 0x400: {'output intents'}}
FLATTENINGS = 0x80 | 0x100 | 0x200
NOISE = 8  # levels of 255


def bits_of(path):
    found = 0
    with pikepdf.open(path) as pdf:
        for item in pdf.objects:
            if not isinstance(item, DICTIONARIES):
                continue
            found |= 0x2 if item.get('/Type') == '/Metadata' else 0
            for key, bit in KEYS.items():
                found |= bit if key in item else 0
            if '/Rect' in item and '/Subtype' in item:
                found |= ANNOTATIONS.get(str(item.Subtype), 0x200)
        return found


def drawn(path, renderer, pages):
    """Pages as arrays, the first ones."""
    with tempfile.TemporaryDirectory() as folder:
        stem = f'{folder}/page'
        subprocess.run(['pdftoppm', '-q', '-r', '60', '-l', str(pages), path, stem] if renderer == 'poppler' else
                       ['mutool', 'draw', '-q', '-r', '60', '-o', stem + '-%04d.ppm', path, f'1-{pages}'], capture_output=True)
        return [np.asarray(Image.open(made).convert('RGB')).astype(int) for made in sorted(pathlib.Path(folder).glob('*.ppm'))]


def changed_pixels(before, after):
    if [page.shape for page in before] != [page.shape for page in after]:
        return 1.0
    changed = sum(int((np.abs(a - b).max(axis=2) > NOISE).sum()) for a, b in zip(before, after, strict=True))
    return changed / max(1, sum(a.shape[0] * a.shape[1] for a in before))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('folder', type=pathlib.Path)
    parser.add_argument('--only', default='')
    parser.add_argument('--bits', default='1,2,4,8,10,20,40,80,100,200,400')
    parser.add_argument('--pages', type=int, default=6)
    parser.add_argument('--keep', type=pathlib.Path, help='a folder for what is made')
    args = parser.parse_args()
    wanted = [int(bit, 16) for bit in args.bits.split(',')]
    wrong = 0
    print('| bit | file | bytes before | bytes after | counts that changed | pixels: poppler | MuPDF |\n|' + ' --- |' * 7)
    with tempfile.TemporaryDirectory() as folder:
        keep = args.keep or pathlib.Path(folder)
        keep.mkdir(exist_ok=True)
        for path in sorted(p for p in args.folder.rglob('*.pdf') if re.search(args.only, p.name)):
            try:
                bits, old = bits_of(path), inventory(str(path))
            except (pikepdf.PdfError, pikepdf.PasswordError, RuntimeError) as problem:
                print(f'{path.name}: not read: {problem}', file=sys.stderr)
                continue
            before = {renderer: drawn(path, renderer, args.pages) for renderer in ('poppler', 'MuPDF')} if bits else {}
            for bit in (bit for bit in wanted if bits & bit):
                target = keep / f'{path.stem}-{bit:x}.pdf'
                done = subprocess.run([BUILD / 'tests' / 'optimize_file', '--custom', '--strip', f'{bit:x}', path, target],
                                      capture_output=True, text=True)
                if done.returncode != 0:
                    print(f'| {bit:#x} | {path.name} | {path.stat().st_size} | refused: {done.stderr.strip()} | | | |')
                    continue
                new = inventory(str(target))
                kinds = {kind for kind in old if old[kind] != new[kind]}
                pixels = [changed_pixels(before[renderer], drawn(target, renderer, args.pages)) for renderer in before]
                bad = kinds - TOUCHED.get(bit, set()) or (max(pixels) > 0 and not bit & FLATTENINGS)
                bad = bad or subprocess.run(['qpdf', '--check', target], capture_output=True).returncode != 0
                wrong += bool(bad)
                counts = ', '.join(f'{kind} {len(old[kind])} to {len(new[kind])}' for kind in sorted(kinds))
                print(f'| {bit:#x} | {path.name} | {path.stat().st_size} | {target.stat().st_size} | {counts} | '
                      + ' | '.join(f'{share:.2%}' for share in pixels) + (' | WRONG |' if bad else ' |'), flush=True)
                if not args.keep:
                    target.unlink()
    return 1 if wrong else 0


if __name__ == '__main__':
    sys.exit(main())
