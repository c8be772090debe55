"""Every strip bit from outside: what it names is gone, and nothing else; the three flattenings keep the look."""
import os
import pathlib
import subprocess

import numpy as np
import pikepdf
import pytest
from pikepdf import Array, Dictionary, Name, Stream, String

from preservation import inventory

BUILD = pathlib.Path(os.environ.get('KELV_BUILD', pathlib.Path(__file__).resolve().parents[2] / 'build'))


def form(pdf, content, box=(0, 0, 100, 20)):
    return Stream(pdf, content, Type=Name.XObject, Subtype=Name.Form, BBox=Array(box), Resources=Dictionary(
        Font=Dictionary(F=Dictionary(Type=Name.Font, Subtype=Name.Type1, BaseFont=Name.Helvetica))))


def everything():
    """A PDF with something for each bit, on two pages that show text, a picture, a field, a link and a stamp."""
    pdf = pikepdf.new()
    pages = [pdf.add_blank_page(page_size=(300, 200)).obj for _ in range(2)]
    root = pdf.Root
    picture = pdf.make_indirect(Stream(pdf, bytes(range(0, 240, 5)), Type=Name.XObject, Subtype=Name.Image, Width=4, Height=4,
                                       ColorSpace=Name.DeviceRGB, BitsPerComponent=8, ID=String('image id')))
    picture.Alternates = Array([Dictionary(Image=pdf.make_indirect(Stream(
        pdf, b'abc', Type=Name.XObject, Subtype=Name.Image, Width=1, Height=1, ColorSpace=Name.DeviceRGB, BitsPerComponent=8)))])
    font = pdf.make_indirect(Dictionary(Type=Name.Font, Subtype=Name.Type1, BaseFont=Name.Helvetica))
    for number, page in enumerate(pages):
        page.Contents = Stream(pdf, b'/P <</MCID 0>> BDC BT /F 12 Tf 20 170 Td (Page text %d) Tj ET EMC q 40 0 0 40 20 100 cm /I Do Q' % number)
        page.Resources = Dictionary(Font=Dictionary(F=font), XObject=Dictionary(I=picture))
        page.StructParents = number
        page.Tabs = Name.S
        page.Thumb = pdf.make_indirect(Stream(pdf, b'abc', Width=1, Height=1, ColorSpace=Name.DeviceRGB, BitsPerComponent=8))
        page.PieceInfo = Dictionary(Program=Dictionary(LastModified=String('D:20200101000000Z'), Private=Dictionary(Secret=7)))
        page.LastModified = String('D:20200101000000Z')
        page.ID = String('page id %d' % number)
    thread = pdf.make_indirect(Dictionary(Type=Name.Thread, I=Dictionary(Title=String('An article'))))
    bead = pdf.make_indirect(Dictionary(Type=Name.Bead, T=thread, P=pages[0], R=Array([0, 0, 100, 100])))
    bead.N = bead.V = bead
    thread.F = bead
    root.Threads, pages[0].B = Array([thread]), Array([bead])
    root.Metadata = pdf.make_indirect(Stream(pdf, b'<?xpacket begin="" id="W5M0MpCehiHzreSzNTczkc9d"?><x:xmpmeta xmlns:x="adobe:ns:meta/"/>'
                                                  b'<?xpacket end="w"?>', Type=Name.Metadata, Subtype=Name.XML))
    widget = pdf.make_indirect(Dictionary(
        Type=Name.Annot, Subtype=Name.Widget, FT=Name.Tx, T=String('field'), V=String('value'), Rect=Array([100, 100, 200, 120]), F=4,
        DA=String('/F 12 Tf 0 g'), AP=Dictionary(N=form(pdf, b'0 0 1 RG 0.5 0.5 99 19 re S BT /F 12 Tf 2 5 Td (value) Tj ET'))))
    link = pdf.make_indirect(Dictionary(
        Type=Name.Annot, Subtype=Name.Link, Rect=Array([20, 60, 120, 80]), C=Array([1, 0, 0]), Border=Array([0, 0, 1]), StructParent=5,
        A=Dictionary(S=Name.URI, URI=String('https://example.org/'))))
    stamp = pdf.make_indirect(Dictionary(
        Type=Name.Annot, Subtype=Name.Stamp, Rect=Array([150, 40, 250, 60]), F=4, Contents=String('stamped'),
        AP=Dictionary(N=form(pdf, b'1 0.5 0 rg 0 0 100 20 re f'))))
    pages[0].Annots = Array([widget, link, stamp])
    root.AcroForm = Dictionary(Fields=Array([widget]), DA=String('/F 12 Tf 0 g'), DR=Dictionary(Font=Dictionary(F=font)))
    tree = pdf.make_indirect(Dictionary(Type=Name.StructTreeRoot))
    element = pdf.make_indirect(Dictionary(Type=Name.StructElem, S=Name.P, P=tree, Pg=pages[0], K=0, Alt=String('described')))
    tree.K, tree.ParentTree = element, Dictionary(Nums=Array([0, Array([element])]))
    root.StructTreeRoot, root.MarkInfo = tree, Dictionary(Marked=True)
    root.SpiderInfo = Dictionary(V=1.0)
    root.Names = Dictionary(IDS=Dictionary(Names=Array([String('a'), Dictionary()])), URLS=Dictionary(Names=Array([String('a'), Dictionary()])),
                            Dests=Dictionary(Names=Array([String('there'), Array([pages[1], Name.Fit])])))
    root.OutputIntents = Array([Dictionary(Type=Name.OutputIntent, S=Name.GTS_PDFX, OutputConditionIdentifier=String('none'))])
    return pdf


def values(pdf, key):
    """How often a key stands in any dictionary of the file."""
    count, seen, stack = 0, set(), [pdf.trailer]
    while stack:
        value = stack.pop()
        if isinstance(value, (Dictionary, Stream, Array)) and value.is_indirect:
            if value.objgen in seen:
                continue
            seen.add(value.objgen)
        if isinstance(value, Array):
            stack.extend(value)
        elif isinstance(value, (Dictionary, Stream)):
            count += key in value
            stack.extend(value[name] for name in value.keys())
    return count


# Keys that each bit removes. All other keys below must stay as often as they were.
KEYS = {
    0x1: ['/Threads', '/B', '/T/Bead'],
    0x2: ['/Metadata'],
    0x4: ['/PieceInfo', '/LastModified', '/Private'],
    0x8: ['/StructTreeRoot', '/MarkInfo', '/StructParents', '/StructParent', '/Tabs'],
    0x10: ['/Thumb'],
    0x20: ['/SpiderInfo', '/IDS', '/URLS', '/ID'],
    0x40: ['/Alternates'],
    0x80: ['/AcroForm', '/FT'],
    0x100: ['/URI', '/Border'],
    0x200: ['/Contents of stamp'],
    0x400: ['/OutputIntents', '/OutputConditionIdentifier'],
}
ALSO = {0x100: ['/StructParent']}  # of the link, which is gone


def presence(path):
    with pikepdf.open(path) as pdf:
        found = {key: values(pdf, key) for keys in KEYS.values() for key in keys if ' ' not in key and key.count('/') == 1}
        del found['/B'], found['/ID']  # of pages alone: other dictionaries have keys of that name
        found['/B'] = sum('/B' in page for page in pdf.pages)
        found['/ID'] = sum('/ID' in page for page in pdf.pages) + sum('/ID' in image for page in pdf.pages for image in page.images.values())
        found['/T/Bead'] = sum(isinstance(item, Dictionary) and item.get('/Type') == '/Bead' for item in pdf.objects)
        found['/Contents of stamp'] = sum(annotation.get('/Subtype') == '/Stamp' for page in pdf.pages for annotation in page.get('/Annots', []))
        return found


def optimized(source, target, *options):
    subprocess.run([BUILD / 'tests' / 'optimize_file', '--custom', *options, source, target], check=True, capture_output=True)
    subprocess.run(['qpdf', '--check', target], check=True, capture_output=True)


def drawn(path, renderer):
    """The pixels of both pages at 72 dpi."""
    pages = []
    for page in ('1', '2'):
        command = (['pdftoppm', '-r', '72', '-f', page, '-l', page, path] if renderer == 'poppler' else
                   ['mutool', 'draw', '-q', '-r', '72', '-F', 'ppm', '-o', '-', path, page])
        data = subprocess.run(command, check=True, capture_output=True).stdout
        pages.append(np.frombuffer(data[-300 * 200 * 3:], np.uint8).reshape(200, 300, 3))
    return pages


@pytest.fixture(scope='module')
def source(tmp_path_factory):
    path = tmp_path_factory.mktemp('strip') / 'everything.pdf'
    everything().save(path)
    return path


def test_the_file_has_everything(source):
    assert all(count > 0 for count in presence(source).values()), presence(source)


@pytest.mark.parametrize('bit', KEYS, ids=hex)
def test_bit_removes_what_it_names_and_nothing_else(bit, source, tmp_path):
    target = tmp_path / 'out.pdf'
    optimized(source, target, '--strip', f'{bit:x}')
    before, after = presence(source), presence(target)
    for key in before:
        if key in KEYS[bit]:
            assert after[key] == 0, key
        elif key not in ALSO.get(bit, []):
            assert after[key] == before[key], key
    old, new = inventory(source), inventory(target)
    touched = {0x1: {'articles'}, 0x2: {'metadata'}, 0x8: {'tags'}, 0x80: {'fields', 'annotations', 'text'}, 0x100: {'links', 'annotations'},
               0x200: {'annotations'}, 0x400: {'output intents'}}.get(bit, set())
    assert {kind for kind in old if old[kind] != new[kind]} <= touched


@pytest.mark.parametrize('renderer', ['poppler', 'MuPDF'])
@pytest.mark.parametrize('bit', KEYS, ids=hex)
def test_bit_keeps_every_pixel(bit, renderer, source, tmp_path):
    """The flattenings, too: appearances lie where they lay, links keep their border."""
    target = tmp_path / 'out.pdf'
    optimized(source, target, '--strip', f'{bit:x}')
    before, after = drawn(source, renderer), drawn(target, renderer)
    if bit != 0x100:
        assert all(np.array_equal(*pages) for pages in zip(before, after, strict=True))
        return
    # The border of the link at (20, 60) to (120, 80), in pixels from the top: inside of its rectangle, where poppler sets it on
    # the edge and MuPDF draws none.
    apart = np.argwhere((before[0] != after[0]).any(axis=2))
    assert np.array_equal(before[1], after[1])
    assert all(119 <= y <= 140 and 19 <= x <= 120 and (y <= 121 or y >= 138 or x <= 21 or x >= 118) for y, x in apart)
    assert (after[0][120, 25:115] == (255, 0, 0)).all()
