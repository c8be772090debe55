"""More cases for font_cases.CASES: composite fonts with predefined and embedded CMaps, and with vertical writing."""
import functools
import pathlib
import re
import struct

import pikepdf
from pikepdf import Array, Dictionary, Name, Stream

from font_cases import OPENTYPE, case, composite, descriptor, glyph_of, page, table

GOTHIC = pathlib.Path('/usr/share/fonts/opentype/ipafont-gothic/ipag.ttf')
RESOURCES = pathlib.Path('/usr/share/poppler/cMap')
TEXTS = {'Japan1': '日本語、テスト。っABC', 'GB1': '中文汉字，人。ABC', 'CNS1': '中文漢字，人。ABC', 'Korea1': '大韓民國、ABC'}


@functools.cache
def cids_of(collection, name):
    """Code as bytes: CID, as the resource says, with those that it builds on."""
    text = (RESOURCES / f'Adobe-{collection}' / name).read_text('latin-1')
    found = {}
    for base in re.findall(r'/(\S+) usecmap', text):
        found.update(cids_of(collection, base))
    for block in re.findall(r'begincidrange(.*?)endcidrange', text, re.S):
        for low, high, cid in re.findall(r'<(\w+)>\s*<(\w+)>\s*(\d+)', block):
            for i in range(int(high, 16) - int(low, 16) + 1):
                found[(int(low, 16) + i).to_bytes(len(low) // 2, 'big')] = int(cid) + i
    for block in re.findall(r'begincidchar(.*?)endcidchar', text, re.S):
        for code, cid in re.findall(r'<(\w+)>\s*(\d+)', block):
            found[bytes.fromhex(code)] = int(cid)
    return found


def gothic(cmap, codec, collection, text=None, encoding=None, cids=None, system=None, upright=False):
    """The text in IPA Gothic through a predefined CMap; every CID of the CMap has a glyph, a width and vertical metrics."""
    text = ''.join(c for c in text or TEXTS[collection] if glyphs_of_gothic(c))
    codes = [code(c) if callable(code := codec) else c.encode(codec) for c in text]
    known = cids or cids_of(collection, cmap)
    shown = [known[code] for code in codes]
    pdf = pikepdf.new()
    data = GOTHIC.read_bytes()
    gids = [0] * (max(known.values()) + 1)
    for place in range(1, len(gids)):
        gids[place] = place % 5000 + 1
    for cid, character in zip(shown, text):
        gids[cid] = glyphs_of_gothic(character)
    holder = Dictionary(
        Type=Name.Font, Subtype=Name.CIDFontType2, BaseFont=Name.IPAGothic, FontDescriptor=descriptor(pdf, 'FontFile2', data, 4),
        CIDSystemInfo=Dictionary(Registry=b'Adobe', Ordering=(system or collection).encode(), Supplement=2), DW=1000,
        W=Array([x for cid in range(1, 300) for x in (cid, Array([500 + cid % 7 * 10]))]),
        CIDToGIDMap=Stream(pdf, struct.pack('>%dH' % len(gids), *gids)))
    if upright:
        holder.DW2 = Array([850, -1100])
        holder.W2 = Array([x for cid in range(600, 1200) for x in (cid, Array([-1000 - cid % 3 * 100, 480 + cid % 5 * 10, 900]))])
    font = Dictionary(Type=Name.Font, Subtype=Name.Type0, BaseFont=Name.IPAGothic, DescendantFonts=Array([pdf.make_indirect(holder)]),
                      Encoding=encoding(pdf) if encoding else Name('/' + cmap))
    # From top to bottom there is room for smaller letters.
    return page(pdf, font, (b'/F1 14 Tf 0 70 Td <' if upright else b'<') + b''.join(codes).hex().encode() + b'> Tj')


@functools.cache
def glyphs_of_gothic(character):
    try:
        return glyph_of(GOTHIC.read_bytes(), ord(character))
    except KeyError:
        return 0


def jis(character):
    """Codes of JIS X 0208 without an escape, as the CMap H has them."""
    return bytes(byte & 0x7f for byte in character.encode('euc_jp'))


PREDEFINED = {
    '90ms-RKSJ-H': ('cp932', 'Japan1'), '90msp-RKSJ-H': ('cp932', 'Japan1'), 'EUC-H': ('euc_jp', 'Japan1'),
    'UniJIS-UCS2-H': ('utf-16-be', 'Japan1'), 'UniJIS-UCS2-HW-H': ('utf-16-be', 'Japan1'), 'UniJIS-UTF16-H': ('utf-16-be', 'Japan1'),
    'UniJIS2004-UTF16-H': ('utf-16-be', 'Japan1'), 'GB-EUC-H': ('gb2312', 'GB1'), 'GBK-EUC-H': ('gbk', 'GB1'),
    'GBK2K-H': ('gb18030', 'GB1'), 'UniGB-UCS2-H': ('utf-16-be', 'GB1'), 'UniGB-UTF16-H': ('utf-16-be', 'GB1'),
    'ETen-B5-H': ('big5', 'CNS1'), 'HKscs-B5-H': ('big5hkscs', 'CNS1'), 'UniCNS-UCS2-H': ('utf-16-be', 'CNS1'),
    'UniCNS-UTF16-H': ('utf-16-be', 'CNS1'), 'KSC-EUC-H': ('euc_kr', 'Korea1'), 'KSCms-UHC-H': ('cp949', 'Korea1'),
    'UniKS-UCS2-H': ('utf-16-be', 'Korea1'), 'UniKS-UTF16-H': ('utf-16-be', 'Korea1'),
}  # fmt: skip


def register(name, function, expected='smaller'):
    function.__name__ = name
    case(expected)(function)


for _cmap, (_codec, _collection) in PREDEFINED.items():
    register('predefined_' + _cmap.replace('-', '_'), functools.wraps(gothic)(functools.partial(gothic, _cmap, _codec, _collection)))
    if 'UCS2' not in _cmap:
        _upright = _cmap[:-1] + 'V'
        register('upright_' + _upright.replace('-', '_'),
                 functools.wraps(gothic)(functools.partial(gothic, _upright, _codec, _collection, upright=True)))


@case('smaller')
def predefined_jis():
    return gothic('H', jis, 'Japan1', text='日本語、テスト。っ')


@case('smaller')
def predefined_control_codes():
    """Codes that show the notdef of the collection."""
    pdf = gothic('90ms-RKSJ-H', 'cp932', 'Japan1')
    pdf.pages[0].Contents = Stream(pdf, pdf.pages[0].Contents.read_bytes().replace(b'<', b'<0102'))
    return pdf


def embedded(body, base=None, upright=False):
    def make(pdf):
        stream = Stream(pdf, b'/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n' + body + b'endcmap end end')
        stream.Type = Name.CMap
        stream.CMapName = Name.Own
        stream.CIDSystemInfo = Dictionary(Registry=b'Adobe', Ordering=b'Japan1', Supplement=2)
        if upright:
            stream.WMode = 1
        if base is not None:
            stream.UseCMap = base(pdf) if callable(base) else base
        return stream
    return make


HEAD = (b'/CIDSystemInfo 3 dict dup begin /Registry (Adobe) def /Ordering (Japan1) def /Supplement 2 def end def\n'
        b'/CMapName /Own def /CMapType 1 def\n')
CODESPACE = b'1 begincodespacerange <0000> <FFFF> endcodespacerange\n'


@case('smaller')
def embedded_cmap_of_ranges():
    known = {c.encode('utf-16-be'): 700 + i for i, c in enumerate(sorted(TEXTS['Japan1']))}
    lines = b''.join(b'<%s> <%s> %d\n' % (code.hex().encode(), code.hex().encode(), cid) for code, cid in known.items())
    body = HEAD + CODESPACE + b'%d begincidrange\n' % len(known) + lines + b'endcidrange\n'
    return gothic('', 'utf-16-be', 'Japan1', encoding=embedded(body), cids=known)


@case('smaller')
def embedded_cmap_on_a_predefined_one():
    known = dict(cids_of('Japan1', 'UniJIS-UCS2-H'))
    known['A'.encode('utf-16-be')] = 900
    body = HEAD.replace(b'/CMapName', b'/UniJIS-UCS2-H usecmap\n/CMapName') + b'1 begincidchar <0041> 900 endcidchar\n'
    return gothic('', 'utf-16-be', 'Japan1', encoding=embedded(body, Name('/UniJIS-UCS2-H')), cids=known)


@case('smaller')
def embedded_cmap_on_an_embedded_one():
    below = embedded(HEAD + CODESPACE + b'1 begincidrange <3000> <4dff> 1200 endcidrange\n')
    body = HEAD + CODESPACE + b'2 begincidrange <4e00> <9fff> 9000 <0041> <005a> 100 endcidrange\n'
    known = {c.to_bytes(2, 'big'): c - 0x3000 + 1200 for c in range(0x3000, 0x4e00)}
    known |= {c.to_bytes(2, 'big'): c - 0x4e00 + 9000 for c in range(0x4e00, 0x9fff)}
    known |= {c.to_bytes(2, 'big'): c - 0x41 + 100 for c in range(0x41, 0x5b)}
    return gothic('', 'utf-16-be', 'Japan1', encoding=embedded(body, below), cids=known)


@case('smaller')
def embedded_cmap_of_two_lengths_upright():
    space = b'2 begincodespacerange <00> <7F> <8000> <FFFF> endcodespacerange\n'
    body = (HEAD + b'/WMode 1 def\n' + space + b'2 begincidrange <41> <5a> 34 <81a1> <81ff> 640 endcidrange\n')
    known = {bytes([c]): c - 0x41 + 34 for c in range(0x41, 0x5b)}
    known |= {bytes([0x81, c]): c - 0xa1 + 640 for c in range(0xa1, 0x100)}
    return gothic('', lambda c: c.encode() if c < '~' else bytes([0x81, 0xa1 + ord(c) % 47]), 'Japan1', text='日本AB語',
                  encoding=embedded(body, upright=True), cids=known, upright=True)


@case('kept')
def embedded_cmap_on_an_unknown_one():
    body = HEAD.replace(b'/CMapName', b'/UniJIS-UTF32-H usecmap\n/CMapName') + CODESPACE + b'1 begincidrange <3000> <9fff> 700 endcidrange\n'
    known = {c.to_bytes(2, 'big'): c - 0x3000 + 700 for c in range(0x3000, 0x9fff)}
    return gothic('', 'utf-16-be', 'Japan1', text='日本語', encoding=embedded(body, Name('/UniJIS-UTF32-H')), cids=known)


@case('smaller')
def predefined_for_cff():
    """In a name-keyed program the CID is the glyph's place."""
    font = OPENTYPE.read_bytes()
    pdf = composite('CIDFontType0', 'FontFile3', table(font, b'CFF '), 'Text', font_for_glyphs=font, encoding=Name('/UniJIS-UCS2-H'),
                    codes=[ord(c) for c in 'HIJabc'], program={'Subtype': Name.CIDFontType0C})
    holder = pdf.pages[0].Resources.Font.F1.DescendantFonts[0]
    holder.CIDSystemInfo = Dictionary(Registry=b'Adobe', Ordering=b'Japan1', Supplement=2)
    return pdf
