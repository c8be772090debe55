"""Every image case, compressed by the real engine and shown by two independent renderers, against its original."""
import concurrent.futures
import functools
import os
import pathlib
import subprocess
import sys
import tempfile

import numpy as np
import pytest
from PIL import Image

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import engine  # noqa: E402
import image_cases  # noqa: E402
from image_pages import Pages  # noqa: E402

DPI = 100
COARSE_DPI = 25  # images are reduced to a fraction, and their samples averaged

# Levels of 255. Lossless settings may change nothing; the web profile may change what nobody sees: the mean over the page, and the
# mean over any 8 x 8 pixels, which a lost mask, a swapped channel or a shifted image would pass by far.
LOSSLESS_ANYWHERE = 0
WEB_MEAN = 3.0
WEB_BLOCK = 30.0
# Renderers scale masks and images of unlike size each in their own way; edges may then move within a pixel.
RESAMPLED_BLOCK = 40.0

MODES = {
    'web': (3, {}),
    'lossless': (1, {'ImageQuality': 100, 'ClipImages': 1, 'OptimizeResources': 1, 'RemoveRedundantObjects': 1}),
    'reduced': (1, {'ImageQuality': 100, 'ReduceColorComplexity': 1, 'RemoveRedundantObjects': 1}),
}
RENDERERS = {
    'poppler': ['pdftoppm', '-q', '-r', '{dpi}', '{pdf}', '{stem}'],
    'mupdf': ['mutool', 'draw', '-q', '-r', '{dpi}', '-o', '{stem}-%03d.ppm', '{pdf}'],
}


@functools.lru_cache(maxsize=None)
def world():
    folder = tempfile.TemporaryDirectory(prefix='image-cases-')
    pages = Pages()
    names = list(image_cases.build(pages))
    path = pathlib.Path(folder.name)
    pages.pdf.save(path / 'original.pdf')
    for mode, (profile, settings) in MODES.items():
        engine.optimize(path / 'original.pdf', path / f'{mode}.pdf', profile, **settings)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for done in [pool.submit(render, path, document, renderer, dpi)
                     for document in ('original', *MODES) for renderer in RENDERERS for dpi in (DPI, COARSE_DPI)]:
            done.result()
    return folder, names


def render(folder, document, renderer, dpi):
    command = [part.format(pdf=folder / f'{document}.pdf', stem=folder / f'{document}-{renderer}-{dpi}', dpi=dpi)
               for part in RENDERERS[renderer]]
    subprocess.run(command, check=True)


@functools.lru_cache(maxsize=None)
def shown(document, renderer, dpi=DPI):
    folder = pathlib.Path(world()[0].name)
    files = sorted(folder.glob(f'{document}-{renderer}-{dpi}-*.ppm'), key=lambda f: int(f.stem.rsplit('-', 1)[1]))
    return [np.asarray(Image.open(f).convert('RGB')).astype(np.int16) for f in files]


def case_names():
    return list(image_cases.build(Pages()))


NAMES = case_names()


def block_means(difference):
    height, width = (n // 8 * 8 for n in difference.shape[:2])
    return difference[:height, :width].reshape(height // 8, 8, width // 8, 8, 3).mean(axis=(1, 3, 4))


def test_there_are_sixty_cases_and_more():
    assert len(NAMES) >= 60 and len(set(NAMES)) == len(NAMES)


def test_the_web_profile_makes_the_document_smaller():
    folder = pathlib.Path(world()[0].name)
    assert (folder / 'web.pdf').stat().st_size < 0.5 * (folder / 'original.pdf').stat().st_size


@pytest.mark.parametrize('renderer', RENDERERS)
@pytest.mark.parametrize('name', NAMES)
def test_lossless_settings_change_no_pixel(name, renderer):
    index = NAMES.index(name)
    for dpi in (DPI, COARSE_DPI):
        before, after = shown('original', renderer, dpi)[index], shown('lossless', renderer, dpi)[index]
        assert before.shape == after.shape
        assert np.abs(before - after).max() <= LOSSLESS_ANYWHERE


@pytest.mark.parametrize('renderer', RENDERERS)
@pytest.mark.parametrize('name', NAMES)
def test_reduced_colors_look_the_same(name, renderer):
    index = NAMES.index(name)
    before, after = shown('original', renderer)[index], shown('reduced', renderer)[index]
    assert before.shape == after.shape
    # Grey through a profile and grey of the device may differ by the rounding of their tables; 16 bits lose the lower 8.
    assert np.abs(before - after).max() <= 4


@pytest.mark.parametrize('renderer', RENDERERS)
@pytest.mark.parametrize('name', NAMES)
def test_the_web_profile_keeps_the_look(name, renderer):
    index = NAMES.index(name)
    before, after = shown('original', renderer)[index], shown('web', renderer)[index]
    assert before.shape == after.shape
    difference = np.abs(before - after)
    assert difference.mean() <= WEB_MEAN
    limit = RESAMPLED_BLOCK if 'large' in name or 'smaller' in name else WEB_BLOCK
    assert block_means(difference).max() <= limit
