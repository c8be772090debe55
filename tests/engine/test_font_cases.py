"""Every font case, written anew by the real engine: two independent renderers must show the same pixels and two extractors the same
text, and the program must have become what the case says."""
import pathlib
import subprocess
import sys

import numpy as np
import pikepdf
import pytest
from PIL import Image

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import cmap_cases  # noqa: E402, F401: adds to the cases
import engine  # noqa: E402
import font_cases  # noqa: E402

SETTINGS = {'SubsetFonts': 1, 'ConvertToCFF': 1, 'MergeEmbeddedFonts': 1, 'RemoveRedundantObjects': 1}
RESOLUTION = 300
RENDERERS = {
    'poppler': ['pdftoppm', '-q', '-r', str(RESOLUTION), '{pdf}', '{stem}'],
    'mupdf': ['mutool', 'draw', '-q', '-r', str(RESOLUTION), '-o', '{stem}-%d.ppm', '{pdf}'],
}
EXTRACTORS = {
    'poppler': ['pdftotext', '-layout', '{pdf}', '-'],
    'mupdf': ['mutool', 'draw', '-q', '-F', 'txt', '{pdf}'],
}
# Parts of 255: rounding of outlines in another format; a lost or exchanged glyph differs by 255.
PIXEL_DIFFERENCE = 24


def picture(pdf, renderer):
    stem = pdf.with_suffix('.' + renderer)
    subprocess.run([a.format(pdf=pdf, stem=stem) for a in RENDERERS[renderer]], check=True, capture_output=True)
    return np.asarray(Image.open(stem.parent / (stem.name + '-1.ppm')).convert('L')).astype(int)


def text(pdf, extractor):
    return subprocess.run([a.format(pdf=pdf) for a in EXTRACTORS[extractor]], check=True, capture_output=True).stdout


@pytest.mark.parametrize('name', sorted(font_cases.CASES))
def test_case(name, tmp_path):
    make, expected = font_cases.CASES[name]
    before, after, again = tmp_path / 'before.pdf', tmp_path / 'after.pdf', tmp_path / 'again.pdf'
    before.write_bytes(font_cases.saved(make()))
    engine.optimize(before, after, 1, **SETTINGS)
    engine.optimize(after, again, 1, **SETTINGS)

    for result in (after, again):
        for renderer in RENDERERS:
            old, new = picture(before, renderer), picture(result, renderer)
            # What the other reader does not know either is drawn by neither of them.
            if 'unknown' not in name and 'not_predefined' not in name:
                assert (255 - old).sum() > 10000, f'{renderer} draws nothing'
            assert old.shape == new.shape
            assert np.abs(old - new).max() <= PIXEL_DIFFERENCE, renderer
        for extractor in EXTRACTORS:
            assert text(before, extractor) == text(result, extractor), extractor

    with pikepdf.open(before) as old, pikepdf.open(after) as new:
        old_programs, new_programs = font_cases.programs(old), font_cases.programs(new)
    if expected == 'smaller':
        assert len(new_programs) == 1 and len(new_programs[0]) < len(old_programs[0]) / 4
    elif expected == 'CFF':
        assert len(new_programs) == 1 and new_programs[0].startswith(b'\1\0\4') and len(new_programs[0]) < len(old_programs[0])
    elif expected == 'unhinted':
        assert b'fpgm' in old_programs[0] and not any(tag in new_programs[0] for tag in (b'fpgm', b'prep', b'cvt '))
    elif expected == 'kept':
        assert new_programs == old_programs
    else:
        assert new_programs == []


def test_subsets_of_one_font_become_one_program(tmp_path):
    """Two documents with different subsets of one font, put together."""
    parts = []
    for i, content in enumerate((b'(Hamburg) Tj', b'(Hamlet) Tj')):
        source, cut = tmp_path / f'{i}.pdf', tmp_path / f'{i}-cut.pdf'
        source.write_bytes(font_cases.saved(font_cases.type1(Encoding=pikepdf.Name.WinAnsiEncoding, content=content)))
        engine.optimize(source, cut, 1, **SETTINGS)
        parts.append(cut)
    both, merged = tmp_path / 'both.pdf', tmp_path / 'merged.pdf'
    with pikepdf.open(parts[0]) as pdf, pikepdf.open(parts[1]) as other:
        pdf.pages.extend(other.pages)
        pdf.save(both)
    engine.optimize(both, merged, 1, MergeEmbeddedFonts=1)
    with pikepdf.open(both) as old, pikepdf.open(merged) as new:
        assert len(set(font_cases.programs(old))) == 2
        assert len(set(font_cases.programs(new))) == 1
    for extractor in EXTRACTORS:
        assert text(both, extractor) == text(merged, extractor)
    for renderer in RENDERERS:
        assert np.abs(picture(both, renderer) - picture(merged, renderer)).max() <= PIXEL_DIFFERENCE
