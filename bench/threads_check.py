#!/usr/bin/python3
"""Holds the engine to its word that the number of threads changes nothing: the same bytes for every PDF of a folder.

usage: bench/threads_check.py FOLDER [--threads 1,2,8] [--only REGEX] [--custom]

The web profile, or with --custom the neutral settings; the clock stands still, because dates are part of a file. Needs the targets
optimize_file and fixed_clock. Exit 1 where two runs differ.
"""
import argparse
import hashlib
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = pathlib.Path(os.environ.get('KELV_BUILD', ROOT / 'build'))


def digest(path, threads, options, folder):
    """Of the result, or what the engine says of a file that it refuses."""
    target = folder / 'out.pdf'
    target.unlink(missing_ok=True)
    env = {**os.environ, 'LD_PRELOAD': str(BUILD / 'tests' / 'support' / 'libfixed_clock.so'), 'KELV_TEST_CLOCK': '1700000000'}
    done = subprocess.run([BUILD / 'tests' / 'optimize_file', *options, '--threads', str(threads), path, target], env=env,
                          capture_output=True, text=True)
    if done.returncode != 0:
        return f'refused: {done.stderr.strip()}'
    return hashlib.sha256(target.read_bytes()).hexdigest()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('folder', type=pathlib.Path)
    parser.add_argument('--threads', default='1,2,8')
    parser.add_argument('--only', default='')
    parser.add_argument('--custom', action='store_true')
    args = parser.parse_args()
    files = sorted(p for p in args.folder.rglob('*.pdf') if re.search(args.only, p.name))
    if not files:
        parser.error('no PDFs in that folder')
    options = ['--custom'] if args.custom else []
    written, apart = 0, []
    with tempfile.TemporaryDirectory() as folder:
        for path in files:
            results = {digest(path, threads, options, pathlib.Path(folder)) for threads in args.threads.split(',')}
            written += not next(iter(results)).startswith('refused')
            if len(results) != 1:
                apart.append(path.name)
            print(path.name, 'same' if len(results) == 1 else 'DIFFERENT', next(iter(results))[:72], flush=True)
    print(f'{len(files)} files, {written} written, threads {args.threads}: {len(apart)} differ {" ".join(apart)}')
    return 1 if apart else 0


if __name__ == '__main__':
    sys.exit(main())
