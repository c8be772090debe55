#!/usr/bin/python3
"""Holds kelv's lossless settings to their word: every page of every PDF of a folder looks the same, pixel for pixel.

usage: bench/lossless_check.py FOLDER [--dpi 72] [--pages 8] [--only REGEX] [--profile FILE.kelvcp] [--table FILE.md]

Each file is compressed with quality 1.0, no resampling, no reduction of colours, no clipping and nothing stripped, but with fonts,
content and structure worked on. Its first pages (--pages; 0: all) are drawn by poppler and by MuPDF before and after, and every
pixel is compared. Exit 1 where one differs.
"""
import argparse
import os
import pathlib
import plistlib
import re
import subprocess
import sys
import tempfile

import numpy as np
import pikepdf
from PIL import Image

from beside import World

Image.MAX_IMAGE_PIXELS = None
STRIP = ['Threads', 'Metadata', 'PieceInfo', 'DocumentStructureTree', 'Thumbnails', 'SpiderInfo', 'AlternateImages', 'AndFlattenFormFields',
         'AndFlattenLinkAnnotations', 'AndFlattenAnnotationsExceptFormFieldsAndLinks', 'TheDocumentOutputIntents']
LOSSLESS = {'imageQuality': 1.0, 'imageResolution': 0, 'colorConversion': 0, 'clipImages': 0, 'reduceColorComplexity': 0,
            'forceRecompression': 0, 'convertToCFF': 1, 'mergeEmbeddedFonts': 1, 'removeStandardFonts': 0, 'subsetFonts': 1,
            'optimizeResources': 1, 'removeRedundantObjects': 1, **{'strip' + name: False for name in STRIP}}
RENDERERS = {'poppler': 'pdftoppm -q -r {dpi} -f {page} -l {page} -singlefile {path} {stem}',
             'MuPDF': 'mutool draw -q -r {dpi} -o {stem}.ppm {path} {page}'}


def lossless_profile(folder):
    path = os.path.join(folder, 'lossless.kelvcp')
    with open(path, 'wb') as file:
        plistlib.dump([LOSSLESS], file)
    return path


def draw(renderer, path, page, dpi, folder):
    stem = os.path.join(folder, 'page')
    command = [part.format(dpi=dpi, page=page, path=path, stem=stem) for part in RENDERERS[renderer].split()]
    try:
        subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, timeout=300)
        return np.asarray(Image.open(stem + '.ppm').convert('RGB'))
    except (OSError, subprocess.TimeoutExpired):
        return None
    finally:
        pathlib.Path(stem + '.ppm').unlink(missing_ok=True)


def difference(before, after):
    """Pixels that differ, and by how much at most."""
    if before is None or after is None:
        return (0, 0) if before is None and after is None else (-1, 255)
    if before.shape != after.shape:
        return -1, 255
    apart = np.abs(before.astype(np.int16) - after.astype(np.int16)).max(axis=2)
    return int((apart > 0).sum()), int(apart.max())


def check(path, target, args, folder):
    """(page, renderer, pixels, most) of what differs, and how many drawings were compared."""
    with pikepdf.open(path) as pdf:
        pages = len(pdf.pages)
    wrong, compared = [], 0
    for page in range(1, pages + 1)[:args.pages or None]:
        for renderer in RENDERERS:
            pixels, most = difference(draw(renderer, path, page, args.dpi, folder), draw(renderer, target, page, args.dpi, folder))
            compared += 1
            if pixels:
                wrong.append((page, renderer, pixels, most))
    return wrong, compared


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('folder', type=pathlib.Path)
    parser.add_argument('--dpi', type=int, default=72)
    parser.add_argument('--pages', type=int, default=8)
    parser.add_argument('--only', default='')
    parser.add_argument('--profile')
    parser.add_argument('--table', type=pathlib.Path)
    args = parser.parse_args()
    files = sorted(p for p in args.folder.rglob('*.pdf') if re.search(args.only, p.name))
    if not files:
        parser.error('no PDFs in that folder')
    lines, total, differ, before, after = [], 0, 0, 0, 0
    with tempfile.TemporaryDirectory() as folder:
        world = World(tempfile.mkdtemp(dir=folder))
        profile = os.path.abspath(args.profile) if args.profile else lossless_profile(folder)
        for path in files:
            target = os.path.join(folder, 'out.pdf')
            pathlib.Path(target).unlink(missing_ok=True)
            subprocess.run(world.command(str(path.resolve()), target, profile), env=world.env, capture_output=True)
            size = path.stat().st_size
            before += size
            if not os.path.exists(target):
                after += size
                verdict = 'not written'
            else:
                wrong, compared = check(str(path), target, args, folder)
                after += os.path.getsize(target)
                total += compared
                differ += len(wrong)
                verdict = f'{compared} drawings equal' if not wrong else '; '.join(
                    f'page {page}, {renderer}: {pixels} pixels by up to {most}' for page, renderer, pixels, most in wrong)
            made = os.path.getsize(target) if os.path.exists(target) else size
            lines.append(f'| {path.name} | {size:,} | {made:,} | {verdict} |')
            print(lines[-1], flush=True)
    summary = f'{len(files)} files, {before:,} bytes to {after:,} ({after / before:.3f}); {total} drawings compared, {differ} differ'
    print(summary)
    if args.table:
        args.table.write_text('| file | before | after | drawings |\n| --- | ---: | ---: | --- |\n' + '\n'.join(lines) + f'\n\n{summary}.\n')
    return 1 if differ else 0


if __name__ == '__main__':
    sys.exit(main())
