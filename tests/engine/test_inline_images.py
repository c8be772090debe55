"""Inline images become objects, are worked on like others, and every renderer shows the same."""
import pathlib
import subprocess
import sys
import zlib

import numpy as np
import pikepdf
import pytest
from pikepdf import Dictionary, Name
from PIL import Image

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import engine  # noqa: E402
from image_pages import alpha, ccitt, chart, grey_of, jpeg, pack, pack_values, picture, run_length  # noqa: E402

W, H = 320, 240
# A page at a time: MuPDF draws an image from what it has decoded for another page, at another size.
RENDERERS = {'poppler': 'pdftoppm -q -r {dpi} -f {page} -l {page} -singlefile {pdf} {stem}',
             'mupdf': 'mutool draw -q -r {dpi} -o {stem}.ppm {pdf} {page}'}


def inline(entries, data, width=W, height=H):
    return f'BI /W {width} /H {height} {entries} ID '.encode() + data + b'\nEI'


def images():
    rgb = picture(W, H)
    grey = grey_of(rgb)
    bits = pack(grey, 1)
    group4, _ = ccitt(Image.fromarray(grey).convert('1', dither=Image.NONE))
    palette = bytes(range(0, 189, 9)).hex()
    return {
        'grey-raw': inline('/CS /G /BPC 8', grey.tobytes()),
        'rgb-flate': inline('/CS /RGB /BPC 8 /F /Fl', zlib.compress(rgb.tobytes())),
        'rgb-hex-flate': inline('/CS /RGB /BPC 8 /F [/AHx /Fl]', zlib.compress(rgb.tobytes()).hex().encode() + b'>'),
        'grey-run-length': inline('/CS /G /BPC 8 /F /RL', run_length(grey.tobytes())),
        'rgb-jpeg': inline('/CS /RGB /BPC 8 /F /DCT', jpeg(rgb)),
        'bits-inverted': inline('/CS /G /BPC 1 /D [1 0] /F /Fl', zlib.compress(bits)),
        'bits-group-4': inline(f'/CS /G /BPC 1 /F /CCF /DP << /K -1 /Columns {W} /Rows {H} >>', group4),
        'stencil': inline('/IM true /F /Fl', zlib.compress(pack(alpha(W, H), 1))),
        'indexed': inline(f'/CS [/I /RGB 6 <{palette}>] /BPC 4', pack_values(chart(W, H), 4)),
        'named-space': inline('/CS /Cal /BPC 8 /F /Fl', zlib.compress(grey.tobytes())),
    }


def document(path):
    """A page for every image, then pages that draw it in a form, a pattern and the glyphs of a font."""
    pdf = pikepdf.new()
    calibrated = pikepdf.Array([Name.CalGray, Dictionary(WhitePoint=[0.95, 1, 1.09], Gamma=2.2)])
    shared = pdf.make_indirect(Dictionary(ColorSpace=Dictionary(Cal=calibrated)))

    def page(content, resources):
        pdf.add_blank_page(page_size=(200, 160))
        pdf.pages[-1].obj.Resources = resources
        pdf.pages[-1].obj.Contents = pdf.make_stream(b'0.9 0.95 0.8 rg 0 0 200 160 re f 0.2 0.1 0.6 rg ' + content)

    made = images()
    for image in made.values():
        page(b'q 160 0 0 120 20 20 cm ' + image + b' Q', shared)
    stencil, grey = made['stencil'], made['grey-raw']
    form = pdf.make_stream(b'q 80 0 0 60 0 0 cm ' + grey + b' Q', Type=Name.XObject, Subtype=Name.Form, BBox=[0, 0, 80, 60],
                           Resources=Dictionary())
    page(b'q 2 0 0 2 20 20 cm /F Do Q', Dictionary(XObject=Dictionary(F=form)))
    cell = pdf.make_stream(b'q 40 0 0 30 0 0 cm ' + grey + b' Q', Type=Name.Pattern, PatternType=1, PaintType=1,
                           TilingType=1, BBox=[0, 0, 40, 30], XStep=40, YStep=30, Resources=Dictionary())
    page(b'/Pattern cs /P scn 20 20 160 120 re f', Dictionary(Pattern=Dictionary(P=cell)))
    glyphs = {'/a': b'100 0 0 0 100 100 d1 q 100 0 0 100 0 0 cm ' + stencil + b' Q',
              '/b': b'100 0 d0 q 100 0 0 100 0 0 cm ' + grey + b' Q'}
    font = pdf.make_indirect(Dictionary(
        Type=Name.Font, Subtype=Name.Type3, FontBBox=[0, 0, 100, 100], FontMatrix=[0.01, 0, 0, 0.01, 0, 0], FirstChar=97,
        LastChar=98, Widths=[100, 100], Encoding=Dictionary(Type=Name.Encoding, Differences=[97, Name('/a'), Name('/b')]),
        Resources=Dictionary(), CharProcs=Dictionary({key: pdf.make_stream(data) for key, data in glyphs.items()})))
    page(b'BT /F 60 Tf 20 70 Td (ab) Tj /F 25 Tf 0 -40 Td (aba) Tj ET', Dictionary(Font=Dictionary(F=font)))
    pdf.save(path, compress_streams=True)
    return [*made, 'form', 'pattern', 'glyphs']


def drawn(renderer, pdf, dpi, pages):
    stem = pdf.parent / f'{pdf.stem}-{renderer}-{dpi}'
    for page in range(1, pages + 1):
        subprocess.run([part.format(dpi=dpi, pdf=pdf, stem=stem, page=page) for part in RENDERERS[renderer].split()],
                       check=True, stderr=subprocess.DEVNULL)
        yield np.asarray(Image.open(f'{stem}.ppm').convert('RGB')).astype(np.int16)


@pytest.fixture(scope='module')
def made(tmp_path_factory):
    folder = tmp_path_factory.mktemp('inline')
    names = document(folder / 'original.pdf')
    engine.optimize(folder / 'original.pdf', folder / 'web.pdf', 3)
    engine.optimize(folder / 'original.pdf', folder / 'lossless.pdf', 1, ImageQuality=100, OptimizeResources=1,
                    RemoveRedundantObjects=1)
    return folder, names


@pytest.mark.parametrize('mode', ['web', 'lossless'])
def test_large_inline_images_become_objects(made, mode):
    folder, names = made
    with pikepdf.open(folder / f'{mode}.pdf') as pdf:
        contents = {name: page.obj.Contents.read_bytes() for name, page in zip(names, pdf.pages)}
        # A chart takes 400 bytes as it is, and would take more by itself.
        assert [name for name, content in contents.items() if b'ID ' in content] == ['indexed']
        streams = [o for o in pdf.objects if isinstance(o, pikepdf.Stream)]
        objects = [o for o in streams if o.get('/Subtype') == Name.Image]
        # The grey one is drawn on a page, in a form, a pattern and a glyph, the stencil on a page and in a glyph.
        assert len(objects) < len(images())
        assert sum(b'BI' in o.read_bytes() for o in streams if o not in objects) == 1


@pytest.mark.parametrize('mode, share', [('web', 0.35), ('lossless', 0.9)])
def test_the_document_becomes_smaller(made, mode, share):
    folder, _ = made
    assert (folder / f'{mode}.pdf').stat().st_size < share * (folder / 'original.pdf').stat().st_size


@pytest.mark.parametrize('dpi', [30, 100])
@pytest.mark.parametrize('renderer', RENDERERS)
def test_lossless_settings_change_no_pixel(made, renderer, dpi):
    folder, names = made
    before, after = (drawn(renderer, folder / f'{mode}.pdf', dpi, len(names)) for mode in ('original', 'lossless'))
    assert [name for name, a, b in zip(names, before, after) if (a != b).any()] == []


@pytest.mark.parametrize('renderer', RENDERERS)
def test_the_web_profile_keeps_the_look(made, renderer):
    folder, names = made
    before, after = (drawn(renderer, folder / f'{mode}.pdf', 100, len(names)) for mode in ('original', 'web'))
    apart = {name: np.abs(a - b).mean() for name, a, b in zip(names, before, after)}
    assert {name: mean for name, mean in apart.items() if mean > 3} == {}
