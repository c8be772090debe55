"""PDF/A-1 allows PDF 1.4 without transparency: a document that claims it gets nothing newer, whatever the settings."""
import pathlib
import re
import subprocess
import sys
import zlib

import pikepdf
import pytest
from pikepdf import Array, Dictionary, Name

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import engine  # noqa: E402
from image_pages import Pages, alpha, chart, grey_of, jpeg, pack, picture, srgb_profile  # noqa: E402

XMP = b'''<?xpacket begin="" id="W5M0MpCehiHzreSzNTczkc9d"?><x:xmpmeta xmlns:x="adobe:ns:meta/">
<rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#"><rdf:Description rdf:about="" xmlns:a="%s">
<a:part>%d</a:part><a:conformance>B</a:conformance></rdf:Description></rdf:RDF></x:xmpmeta><?xpacket end="w"?>'''
CLAIM = b'http://www.aiim.org/pdfa/ns/id/'
FORCED = {'ForceCompressionTypes': 1, 'ImageQuality': 60, 'ReduceColorComplexity': 1, 'OptimizeResources': 1,
          'RemoveRedundantObjects': 1}
SETTINGS = {
    'web': (3, {}),
    'jpeg-2000': (1, {**FORCED, 'ContinuousCompressions': 1 << 8}),
    'lossless': (1, {'ImageQuality': 100, 'ReduceColorComplexity': 1, 'ClipImages': 1, 'OptimizeResources': 1}),
    'linearized': (1, {'AutoLinearize': 1, 'SubsetFonts': 1, 'ConvertToCFF': 1}),
}


def document(path, part):
    """part: of PDF/A, as the metadata claims it; 0: none."""
    pages = Pages()
    pdf = pages.pdf
    width, height = 640, 470
    rgb = picture(width, height)
    pages.page(pages.flate(rgb, width, height, Name.DeviceRGB))
    pages.page(pages.image(jpeg(picture(width, height, seed=2)), width, height, Name.DeviceRGB, Filter=Name.DCTDecode))
    pages.page(pages.flate(picture(width, height, seed=3), width, height, Name.DeviceRGB),
               'q 60 40 70 60 re W n 150 0 0 110 15 15 cm /Im Do Q')
    pages.page(pages.flate(grey_of(rgb), width, height, Name.DeviceGray, 1))
    stencil = pages.flate(alpha(width, height), width, height, None, 1, ImageMask=True)
    pages.page(pages.flate(rgb, width, height, Name.DeviceRGB, Mask=stencil))
    grey = grey_of(rgb)
    pages.page(pages.image(bytes(chart(width, height) * 30), width, height, Name.DeviceGray))
    pages.page(pages.flate(grey, width, height, Name.DeviceGray))
    inline = b'q 150 0 0 110 15 15 cm BI /W %d /H %d /CS /G /BPC 8 /F /Fl ID ' % (width, height)
    del pdf.pages[-1].obj.Resources.XObject
    pdf.pages[-1].obj.Contents = pdf.make_stream(inline + zlib.compress(pack(grey, 8)) + b'\nEI Q')
    profile = pdf.make_stream(srgb_profile(), N=3)
    pdf.Root.OutputIntents = Array([Dictionary(Type=Name.OutputIntent, S=Name.GTS_PDFA1, DestOutputProfile=profile,
                                               OutputConditionIdentifier=pikepdf.String('sRGB'))])
    packet = XMP % (CLAIM if part else b'urn:none', part)
    pdf.Root.Metadata = pdf.make_stream(packet, Type=Name.Metadata, Subtype=Name.XML)
    pdf.save(path, force_version='1.4', object_stream_mode=pikepdf.ObjectStreamMode.disable, fix_metadata_version=False)


@pytest.fixture(scope='module')
def made(tmp_path_factory):
    folder = tmp_path_factory.mktemp('pdf14')
    for part in (0, 1):
        document(folder / f'{part}.pdf', part)
        for name, (profile, settings) in SETTINGS.items():
            engine.optimize(folder / f'{part}.pdf', folder / f'{part}-{name}.pdf', profile, **settings)
    return folder


def newer_features(path):
    """What the file has that PDF 1.4 or PDF/A-1 has not."""
    data = path.read_bytes()
    found = set()
    if data[5:8] > b'1.4':
        found.add('version')
    if re.search(rb'startxref\s+(\d+)', data) and not all(
            data[int(m.group(1)):][:4] == b'xref' for m in re.finditer(rb'startxref\s+(\d+)', data) if int(m.group(1))):
        found.add('cross-reference stream')
    with pikepdf.open(path) as pdf:
        if '/Filter' in pdf.Root.Metadata.keys():
            found.add('filtered metadata')
        for o in pdf.objects:
            dictionary = o.stream_dict if isinstance(o, pikepdf.Stream) else o
            if not isinstance(dictionary, Dictionary):
                continue
            filters = dictionary.get('/Filter', [])
            names = {str(f) for f in (filters if isinstance(filters, Array) else [filters])}
            found |= names & {'/JPXDecode', '/LZWDecode', '/Crypt'}
            mask = dictionary.get('/SMask')
            if '/SMaskInData' in dictionary.keys() or mask is not None and mask != Name('/None'):
                found.add('soft mask')
            if dictionary.get('/Type') in (Name.ObjStm, Name.XRef):
                found.add('object stream')
            if dictionary.get('/Interpolate') is True:
                found.add('interpolation')
            group = dictionary.get('/Group')
            if isinstance(group, Dictionary) and group.get('/S') == Name.Transparency:
                found.add('transparency group')
            if dictionary.get('/Subtype') == Name.OpenType:
                found.add('OpenType font program')
    if b'/ObjStm' in data:
        found.add('object stream')
    return found


@pytest.mark.parametrize('name', SETTINGS)
def test_a_document_that_claims_pdf_a_1_gets_nothing_newer(made, name):
    assert newer_features(made / f'1-{name}.pdf') == set()
    assert subprocess.run(['qpdf', '--check', made / f'1-{name}.pdf'], capture_output=True).returncode == 0


def test_without_the_claim_the_same_document_gets_it(made):
    found = {name: newer_features(made / f'0-{name}.pdf') for name in SETTINGS}
    assert {'version', 'object stream', 'cross-reference stream', 'filtered metadata'} <= found['lossless']
    assert '/JPXDecode' in found['jpeg-2000']


@pytest.mark.parametrize('name', SETTINGS)
def test_it_becomes_smaller_all_the_same(made, name):
    assert (made / f'1-{name}.pdf').stat().st_size < (made / '1.pdf').stat().st_size
    with pikepdf.open(made / f'1-{name}.pdf') as pdf:
        assert CLAIM in pdf.Root.Metadata.read_bytes()
