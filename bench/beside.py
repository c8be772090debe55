#!/usr/bin/python3
"""Runs kelv beside Ghostscript, qpdf and mutool on a folder of PDFs, and says what each did.

usage: bench/beside.py FOLDER [--out bench/results/NAME] [--only REGEX] [--tools kelv,qpdf] [--profile FILE.kelvcp]

Every tool works on a file before the next file starts, so that ratios hold on a noisy machine. Then each result is judged by
other programs: qpdf --check, page count, words (pdftotext), look (SSIM of up to three pages at 100 dpi, pdftoppm). A result that is
not smaller, is damaged, loses words or looks different (lowest SSIM under 0.95) counts as the input: nothing was gained.
Writes rows.tsv, summary.md and plots (SVG) into the output folder, and prints the summary.
"""
import argparse
import collections
import csv
import datetime
import os
import pathlib
import platform
import re
import resource
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np
import pikepdf
from PIL import Image

Image.MAX_IMAGE_PIXELS = None
ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = pathlib.Path(os.environ.get('KELV_BUILD', ROOT / 'build'))
LOOK, WORDS = 0.95, 0.99
GS = 'gs -q -dNOPAUSE -dBATCH -sDEVICE=pdfwrite -dCompatibilityLevel=1.7 -dPDFSETTINGS=/{} -sOutputFile={{out}} {{in}}'
TOOLS = {
    'kelv': None,  # run in a world of its own, see run_kelv
    'gs-ebook': GS.format('ebook'),
    'gs-screen': GS.format('screen'),
    'qpdf': 'qpdf --object-streams=generate --recompress-flate --compression-level=9 --linearize {in} {out}',
    'mutool': 'mutool clean -gggg -z -i -f -s {in} {out}',
}


def timed(command, env=None, limit=600):
    """Runs a command; gives wall seconds, processor seconds and peak memory in MB of the process and its children."""
    with tempfile.NamedTemporaryFile('r') as usage:
        start = time.monotonic()
        wrapped = ['/usr/bin/time', '-q', '-o', usage.name, '-f', '%U %S %M'] + command
        try:
            subprocess.run(wrapped, env=env, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=limit)
        except subprocess.TimeoutExpired:
            return limit, limit, 0.0
        wall = time.monotonic() - start
        user, system, kilobytes = (usage.read().split() + ['0', '0', '0'])[:3]
    return wall, float(user) + float(system), float(kilobytes) / 1024


class World:
    """A private home for kelv, with access granted to everything."""

    def __init__(self, folder):
        self.env = dict(os.environ, HOME=folder, XDG_CONFIG_HOME=f'{folder}/config', XDG_DATA_HOME=f'{folder}/data', TMPDIR=f'{folder}/tmp', PWD=folder)
        for name in ('config', 'data', 'tmp'):
            os.makedirs(f'{folder}/{name}', exist_ok=True)
        subprocess.run([BUILD / 'bin/kelvara', 'grant', '/'], env=self.env, check=True, stdout=subprocess.DEVNULL)

    def command(self, source, target, profile):
        return [str(BUILD / 'bin/kelv'), source, '--output', target] + (['--profile', profile] if profile else [])


def output(command):
    result = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, timeout=300)
    return result.returncode, result.stdout


def words(path):
    return collections.Counter(output(['pdftotext', '-q', path, '-'])[1].split())


def pages(path):
    try:
        with pikepdf.open(path) as pdf:
            return len(pdf.pages)
    except Exception:  # whatever pikepdf raises, the file has no readable pages
        return 0


def render(path, page, folder):
    stem = os.path.join(folder, 'page')
    output(['pdftoppm', '-q', '-r', '100', '-gray', '-f', str(page), '-l', str(page), '-singlefile', path, stem])
    try:
        return np.asarray(Image.open(stem + '.pgm'), dtype=np.float64)
    except OSError:
        return None
    finally:
        pathlib.Path(stem + '.pgm').unlink(missing_ok=True)


def window_means(image, size=8):
    sums = np.pad(image, ((1, 0), (1, 0))).cumsum(0).cumsum(1)
    return (sums[size:, size:] - sums[:-size, size:] - sums[size:, :-size] + sums[:-size, :-size]) / size**2


def ssim(a, b):
    """Mean structural similarity (Wang et al. 2004) with uniform 8 x 8 windows."""
    if a is None or b is None or a.shape != b.shape:
        return float(a is None and b is None)
    if min(a.shape) < 9:
        return float(np.abs(a - b).mean() < 1)
    ma, mb = window_means(a), window_means(b)
    va, vb = window_means(a * a) - ma * ma, window_means(b * b) - mb * mb
    cov = window_means(a * b) - ma * mb
    c1, c2 = (0.01 * 255)**2, (0.03 * 255)**2
    return float((((2 * ma * mb + c1) * (2 * cov + c2)) / ((ma**2 + mb**2 + c1) * (va + vb + c2))).mean())


def judge(source, target, reference):
    """What is wrong with target, and its lowest page SSIM: nothing where pages cannot be compared."""
    if not os.path.exists(target):
        return 'none', 1.0
    if output(['qpdf', '--check', target])[0] == 2:
        return 'damaged', None
    if pages(target) != reference['pages']:
        return 'pages', None
    with tempfile.TemporaryDirectory() as folder:
        low = min((ssim(image, render(target, page, folder)) for page, image in reference['images'].items()), default=1.0)
    before, after = reference['words'], words(target)
    both = sum(before.values()) + sum(after.values())
    if both and 2 * sum((before & after).values()) / both < WORDS:
        return 'words', low
    return ('look' if low < LOOK else 'ok'), low


def refer(path):
    count = pages(path)
    picked = sorted({1, (count + 1) // 2, count} - {0})
    with tempfile.TemporaryDirectory() as folder:
        return {'pages': count, 'words': words(path), 'images': {page: render(path, page, folder) for page in picked}}


def measure(files, tools, profile, folder):
    world, rows = World(tempfile.mkdtemp(dir=folder)), []
    for number, path in enumerate(files):
        size, results = os.path.getsize(path), []
        for tool in tools[number % len(tools):] + tools[:number % len(tools)]:
            target = os.path.join(folder, f'{tool}.pdf')
            if tool == 'kelv':
                cost = timed(world.command(str(path), target, profile), world.env)
            else:
                cost = timed([part.format(**{'in': str(path), 'out': target}) for part in TOOLS[tool].split()])
            results.append((tool, target, cost))
        reference = refer(str(path))
        for tool, target, (wall, cpu, memory) in results:
            verdict, low = judge(str(path), target, reference)
            made = os.path.getsize(target) if os.path.exists(target) else 0
            rows.append({'file': path.name, 'tool': tool, 'before': size, 'made': made,
                         'counted': min(size, made) if verdict == 'ok' else size, 'verdict': verdict,
                         'ssim': '' if low is None else f'{low:.4f}', 'wall': f'{wall:.3f}', 'cpu': f'{cpu:.3f}', 'memory': f'{memory:.1f}'})
            pathlib.Path(target).unlink(missing_ok=True)
        print(f'{number + 1}/{len(files)} {path.name}', file=sys.stderr)
    return rows


def summarize(rows, tools):
    """A table of the tools, and the same figures by name for the plots."""
    before = sum(r['before'] for r in rows if r['tool'] == tools[0])
    lines = ['| tool | bytes left | lowest page SSIM, mean | seconds | CPU seconds | peak MB | damaged | words lost | look lost |', '| --- |' + ' ---: |' * 8]
    figures = {}
    for tool in tools:
        mine = [r for r in rows if r['tool'] == tool]
        wrong = collections.Counter(r['verdict'] for r in mine)
        figures[tool] = {
            'size': sum(r['counted'] for r in mine) / before,
            'look': statistics.mean([float(r['ssim']) for r in mine if r['ssim']] or [0]),
            'time': sum(float(r['wall']) for r in mine),
            'memory': max(float(r['memory']) for r in mine),
            'defects': wrong['damaged'] + wrong['pages'] + wrong['words'] + wrong['look'],
        }
        f = figures[tool]
        lines.append(f'| {tool} | {f["size"]:.3f} | {f["look"]:.4f} | {f["time"]:.1f} | {sum(float(r["cpu"]) for r in mine):.1f} | {f["memory"]:.0f} | '
                     f'{wrong["damaged"] + wrong["pages"]} | {wrong["words"]} | {wrong["look"]} |')
    return lines, figures


PLOTS = {
    'size': ('Bytes left (results that keep look and words)', ''),
    'look': ('Look: SSIM of the lowest page, mean of all files', ''),
    'time': ('Seconds for all files', ' s'),
    'memory': ('Peak memory', ' MB'),
    'defects': ('Results that are damaged or lose words or look', ''),
}


def plot(title, values, unit):
    """A bar chart as SVG: one bar a tool."""
    top, rows = max(values.values()) or 1, []
    for i, (name, value) in enumerate(values.items()):
        y = 40 + 28 * i
        rows.append(f'<text x="90" y="{y + 15}" text-anchor="end">{name}</text>'
                    f'<rect x="100" y="{y}" width="{400 * value / top:.1f}" height="20" fill="{"#2a7" if name == "kelv" else "#999"}"/>'
                    f'<text x="{106 + 400 * value / top:.1f}" y="{y + 15}">{value:.3g}{unit}</text>')
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="600" height="{60 + 28 * len(values)}" font-family="sans-serif" font-size="13">'
            f'<rect width="100%" height="100%" fill="white"/><text x="10" y="22" font-size="15">{title}</text>{"".join(rows)}</svg>\n')


def machine():
    model = re.search(r'model name\s*:\s*(.*)', pathlib.Path('/proc/cpuinfo').read_text())
    load = os.getloadavg()[0]
    return (f'{os.cpu_count()} processors ({model.group(1) if model else platform.machine()}), {platform.system()} {platform.release()}, '
            f'load {load:.1f} at the end')


def versions(tools):
    """What each tool says that it is."""
    asked = {'kelv': [str(BUILD / 'bin/kelvara'), '--version'], 'gs': ['gs', '--version'], 'qpdf': ['qpdf', '--version'], 'mutool': ['mutool', '-v']}
    found = []
    for name, command in asked.items():
        if any(tool.split('-')[0] == name for tool in tools):
            said = subprocess.run(command, capture_output=True, text=True)
            number = re.search(r'\d+(\.\d+)+', said.stdout + said.stderr)
            found.append(f'{name} {number.group() if number else "?"}')
    return ', '.join(found)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('folder', type=pathlib.Path)
    parser.add_argument('--out', type=pathlib.Path)
    parser.add_argument('--only', default='')
    parser.add_argument('--tools', default=','.join(TOOLS))
    parser.add_argument('--profile')
    args = parser.parse_args()
    tools = args.tools.split(',')
    top = args.folder.resolve()
    # What ./run leaves in samples/out is no input.
    files = sorted(p for p in top.rglob('*.pdf') if re.search(args.only, p.name) and 'out' not in p.relative_to(top).parts)
    if not files or not set(tools) <= set(TOOLS):
        parser.error('no PDFs in that folder' if not files else f'the tools are {", ".join(TOOLS)}')
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    with tempfile.TemporaryDirectory() as folder:
        rows = measure(files, tools, args.profile and os.path.abspath(args.profile), folder)
    lines, figures = summarize(rows, tools)
    today = datetime.date.today().isoformat()
    lines = [f'{len(files)} files, {today}, {machine()}; {versions(tools)}', ''] + lines
    print('\n'.join(lines))
    if args.out:
        args.out.mkdir(parents=True, exist_ok=True)
        with open(args.out / 'rows.tsv', 'w', newline='') as file:
            table = csv.DictWriter(file, rows[0].keys(), delimiter='\t', lineterminator='\n')
            table.writeheader()
            table.writerows(rows)
        (args.out / 'summary.md').write_text('\n'.join(lines) + '\n')
        for name, (title, unit) in PLOTS.items():
            (args.out / f'{name}.svg').write_text(plot(title, {tool: figures[tool][name] for tool in tools}, unit))


if __name__ == '__main__':
    main()
