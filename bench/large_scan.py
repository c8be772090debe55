#!/usr/bin/env python3
"""Makes a long scan at 600 dpi and measures kelv's time and peak memory on it.

usage: large_scan.py KELV_CHECKOUT FOLDER [--pages 200] [--kind bitonal|grey|color]

Pages are A4 (4960 x 7016): lines of letters, tilted a little, on paper with grain where it is not bitonal. A few sheets are drawn;
every page is one of them moved down by a distance of its own, with its number, so that no two pages are equal. Pages are
written as they are made. Needs python3-pil, python3-numpy and a font of the DejaVu family. The PDF is kept in FOLDER and used again.
"""
import argparse
import io
import multiprocessing
import os
import random
import subprocess
import sys
import tempfile
import time

import numpy
from PIL import Image, ImageDraw, ImageFont

WIDTH, HEIGHT = 4960, 7016
SHEETS = 4
FONT = '/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf'
WORDS = ('paper scan margin letter evening harbour treaty window garden seventeen order of the and in a to was with river '
         'committee regarding received enclosed hundred between station morning because').split()


def line_pool():
    """Pictures of lines of text, rendered once and dealt to the pages."""
    font = ImageFont.truetype(FONT, 92)
    order = random.Random(1)
    pool = []
    for _ in range(40):
        text = ' '.join(order.choice(WORDS) for _ in range(12))
        line = Image.new('L', (WIDTH - 900, 130), 255)
        ImageDraw.Draw(line).text((0, 4), text, font=font, fill=0)
        pool.append(line)
    return pool


def page(number, pool):
    order = random.Random(number)
    sheet = Image.new('L', (WIDTH, HEIGHT), 255)
    y = 500
    while y < HEIGHT - 600:
        sheet.paste(order.choice(pool), (450 + order.randrange(8), y))
        y += 150
    return sheet.rotate(order.uniform(-0.4, 0.4), resample=Image.BILINEAR, fillcolor=255)


def drawn(number, kind, pool):
    """A sheet as it is scanned."""
    sheet = page(number, pool)
    if kind == 'bitonal':
        return sheet.point(lambda v: 255 if v > 150 else 0)
    grain = numpy.random.default_rng(number).normal(0, 5, (HEIGHT, WIDTH)).astype(numpy.float32)
    values = numpy.asarray(sheet, dtype=numpy.float32) * 0.85 + 20 + grain
    grey = Image.fromarray(numpy.clip(values, 0, 255).astype(numpy.uint8))
    if kind == 'color':
        grey = Image.merge('RGB', [grey, grey, grey.point(lambda v: int(v * 0.94))])
    return grey


def varied(sheet, number):
    down = number * 37 % 400
    moved = Image.fromarray(numpy.roll(numpy.asarray(sheet), down, axis=0))
    ImageDraw.Draw(moved).text((WIDTH - 500, HEIGHT - 300), str(number), font=ImageFont.truetype(FONT, 92), fill=0)
    return moved


def coded(sheet, kind):
    """Filter, further entries of the image dictionary, data."""
    data = io.BytesIO()
    if kind == 'bitonal':
        sheet.convert('1').save(data, 'TIFF', compression='group4', strip_size=WIDTH * HEIGHT, tiffinfo={278: HEIGHT})
        tiff = Image.open(data)
        at, size = tiff.tag_v2[273][0], tiff.tag_v2[279]
        if len(size) > 1:
            raise SystemExit('the TIFF writer made several strips')
        black = 'true' if tiff.tag_v2[262] == 1 else 'false'
        parms = f'/DecodeParms<</K -1/Columns {WIDTH}/Rows {HEIGHT}/BlackIs1 {black}>>'
        return '/CCITTFaxDecode', '/ColorSpace/DeviceGray/BitsPerComponent 1' + parms, data.getvalue()[at:at + size[0]]
    sheet.save(data, 'JPEG', quality=80)
    space = '/DeviceRGB' if kind == 'color' else '/DeviceGray'
    return '/DCTDecode', f'/ColorSpace{space}/BitsPerComponent 8', data.getvalue()


def make(path, pages, kind):
    pool = line_pool()
    sheets = [drawn(i, kind, pool) for i in range(min(SHEETS, pages))]
    places = {}
    with open(path, 'wb') as f:
        f.write(b'%PDF-1.5\n')

        def put(number, text, data=None):
            places[number] = f.tell()
            f.write(f'{number} 0 obj\n{text}\n'.encode())
            if data is not None:
                f.write(b'stream\n' + data + b'\nendstream\n')
            f.write(b'endobj\n')

        put(1, '<</Type/Catalog/Pages 2 0 R>>')
        kids = ' '.join(f'{3 + 3 * i} 0 R' for i in range(pages))
        put(2, f'<</Type/Pages/Count {pages}/Kids[{kids}]>>')
        for i in range(pages):
            name, entries, data = coded(varied(sheets[i % SHEETS], i), kind)
            first = 3 + 3 * i
            put(first, f'<</Type/Page/Parent 2 0 R/MediaBox[0 0 595.2 841.92]/Contents {first + 1} 0 R'
                       f'/Resources<</XObject<</I {first + 2} 0 R>>>>>>')
            content = b'q 595.2 0 0 841.92 0 0 cm /I Do Q'
            put(first + 1, f'<</Length {len(content)}>>', content)
            put(first + 2, f'<</Type/XObject/Subtype/Image/Width {WIDTH}/Height {HEIGHT}{entries}/Filter{name}'
                           f'/Length {len(data)}>>', data)
        table = f.tell()
        f.write(f'xref\n0 {len(places) + 1}\n0000000000 65535 f \n'.encode())
        for number in sorted(places):
            f.write(f'{places[number]:010d} 00000 n \n'.encode())
        f.write(f'trailer\n<</Size {len(places) + 1}/Root 1 0 R>>\nstartxref\n{table}\n%%EOF\n'.encode())


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('checkout'), parser.add_argument('folder')
    parser.add_argument('--pages', type=int, default=200)
    parser.add_argument('--kind', choices=('bitonal', 'grey', 'color'), default='bitonal')
    a = parser.parse_args()
    path = os.path.join(os.path.abspath(a.folder), f'scan-{a.kind}-{a.pages}.pdf')
    if not os.path.exists(path):
        # In a process of its own: a child's peak counts what its parent had when it was started.
        maker = multiprocessing.Process(target=make, args=(path + '.part', a.pages, a.kind))
        maker.start()
        maker.join()
        if maker.exitcode != 0:
            sys.exit('the scan could not be made')
        os.rename(path + '.part', path)
    with tempfile.TemporaryDirectory() as world:
        env = dict(os.environ, HOME=world, XDG_CONFIG_HOME=world + '/config', XDG_DATA_HOME=world + '/data')
        out = os.path.join(world, 'out.pdf')
        tools = os.path.join(os.path.abspath(a.checkout), 'build', 'bin')
        subprocess.run([tools + '/kelvara', 'grant', '/'], env=env, check=True, stdout=subprocess.DEVNULL)
        start = time.time()
        process = subprocess.Popen([tools + '/kelv', path, '--output', out], env=env, stdout=subprocess.DEVNULL)
        _, status, used = os.wait4(process.pid, 0)
        seconds = time.time() - start
        if status != 0 or not os.path.exists(out):
            sys.exit(f'kelv failed with status {status}')
        print(f'{a.kind} {a.pages} pages: {os.path.getsize(path)} -> {os.path.getsize(out)} bytes, {seconds:.1f} s '
              f'({used.ru_utime + used.ru_stime:.1f} s of processor), peak {used.ru_maxrss / 1024:.0f} MB')


if __name__ == '__main__':
    main()
