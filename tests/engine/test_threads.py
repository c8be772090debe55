"""The same input, settings and time give the same bytes on any number of threads."""
import os
import pathlib
import subprocess
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import image_cases  # noqa: E402
from engine import BUILD  # noqa: E402
from image_pages import Pages  # noqa: E402

SAMPLES = pathlib.Path(__file__).resolve().parents[2] / 'samples'
# Images of every kind in one document; photographs; pages that become layers; bitonal pages; fonts and content.
DOCUMENTS = ['image-cases', 'photographs', 'scan-grey', 'scan-black-and-white', 'report']


def optimized(source, target, threads):
    environment = {**os.environ, 'LD_PRELOAD': str(BUILD / 'tests' / 'support' / 'libfixed_clock.so'),
                   'KELV_TEST_CLOCK': '1700000000'}
    if os.environ.get('KELV_SANITIZE'):
        # A sanitizer must be loaded first, and both clocks then run on: the dates would differ.
        pytest.skip('the clock cannot be stopped under a sanitizer')
    subprocess.run([BUILD / 'tests' / 'optimize_file', '--threads', str(threads), source, target], check=True,
                   env=environment)
    return target.read_bytes()


@pytest.mark.parametrize('name', DOCUMENTS)
def test_any_number_of_threads_gives_the_same_bytes(name, tmp_path):
    source = SAMPLES / f'{name}.pdf'
    if name == 'image-cases':
        source = tmp_path / 'image-cases.pdf'
        pages = Pages()
        list(image_cases.build(pages))
        pages.pdf.save(source)
    one = optimized(source, tmp_path / 'one.pdf', 1)
    assert len(one) < source.stat().st_size
    for threads in (2, 8):
        assert optimized(source, tmp_path / f'{threads}.pdf', threads) == one, threads
