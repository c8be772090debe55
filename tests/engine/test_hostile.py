"""Hostile structure: no crash, no hang, bounded memory, a message for what is refused, and no file left for it."""
import functools
import os
import pathlib
import subprocess
import time

import pytest

from hostile_files import CASES

BUILD = pathlib.Path(os.environ.get('KELV_BUILD', pathlib.Path(__file__).resolve().parents[2] / 'build'))
SANITIZED = os.environ.get('KELV_SANITIZE', '') != ''
SECONDS = 60
# Of memory at its peak; sanitizers need a multiple of it.
KILOBYTES = 450_000


def run(*arguments):
    """Exit status, last line of standard error and peak memory in kilobytes of optimize_file."""
    process = subprocess.Popen([BUILD / 'tests' / 'optimize_file', *arguments], stderr=subprocess.PIPE, text=True)
    deadline = time.monotonic() + SECONDS * (5 if SANITIZED else 1)
    while True:
        pid, status, usage = os.wait4(process.pid, os.WNOHANG)
        if pid:
            break
        if time.monotonic() > deadline:
            process.kill()
            os.wait4(process.pid, 0)
            pytest.fail('still running after its time')
        time.sleep(0.02)
    process.returncode = os.waitstatus_to_exitcode(status)
    lines = process.stderr.read().strip().splitlines()
    process.stderr.close()
    return process.returncode, lines[-1] if lines else '', usage.ru_maxrss


@functools.lru_cache(maxsize=None)
def case(name):
    """Bombs take longer to make than to defuse."""
    return CASES[name]()


@pytest.mark.parametrize('settings', [(), ('--strip', '7ff'), ('--set', 'removeImages')],
                         ids=['web', 'everything_stripped', 'without_images'])
@pytest.mark.parametrize('name', CASES)
def test_hostile_file(name, settings, tmp_path):
    data, refused = case(name)
    source, target = tmp_path / 'in.pdf', tmp_path / 'out.pdf'
    source.write_bytes(data)
    status, message, memory = run(*settings, source, target)
    assert status in (0, 1), f'ended by {status}: {message}'
    assert target.exists() == (status == 0)
    assert source.read_bytes() == data
    if status == 1:
        assert message
    if refused is not None:
        assert (status == 1) == refused, message
    assert SANITIZED or memory < KILOBYTES
    if status == 0:
        check = subprocess.run(['qpdf', '--check', target], capture_output=True)
        assert check.returncode in (0, 3), check.stderr
