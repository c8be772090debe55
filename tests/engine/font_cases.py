"""One small PDF per kind of font dictionary, program and encoding, made of fonts from Debian packages.

Each case is a function that gives a pikepdf document and what its program should become: 'smaller' where unused glyphs must go,
'CFF' where every glyph is used and the program must become bare CFF,
'unhinted' where the programs of its hints must go too, 'kept' where the program must stay byte for byte."""
import io
import pathlib
import struct

import pikepdf
from pikepdf import Array, Dictionary, Name, Stream

import made_fonts

TYPE1 = pathlib.Path('/usr/share/fonts/type1/urw-base35')
TYPE1_FALLBACK = pathlib.Path('/usr/share/fonts/X11/Type1')
TRUETYPE = pathlib.Path('/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf')
OPENTYPE = pathlib.Path('/usr/share/texmf/fonts/opentype/public/lm/lmroman10-regular.otf')

CASES = {}


def case(expected):
    def register(function):
        CASES[function.__name__] = (function, expected)
        return function
    return register


def type1_file(name):
    for folder, suffix in ((TYPE1, '.t1'), (TYPE1_FALLBACK, '.pfb')):
        if (folder / (name + suffix)).exists():
            return (folder / (name + suffix)).read_bytes()
    raise FileNotFoundError(name)


def without_segments(pfb):
    """The three parts of a PFB file, and their lengths."""
    if pfb[0] != 0x80:
        start = pfb.index(b'eexec') + 6
        end = pfb.rindex(b'0' * 64)
        end = pfb.rindex(b'0' * 512) if b'0' * 512 in pfb else end
        return pfb, [start, end - start, len(pfb) - end]
    parts, at = [], 0
    while pfb[at + 1] != 3:
        length = struct.unpack('<I', pfb[at + 2:at + 6])[0]
        if parts and parts[-1][0] == pfb[at + 1]:
            parts[-1][1] += pfb[at + 6:at + 6 + length]
        else:
            parts.append([pfb[at + 1], pfb[at + 6:at + 6 + length]])
        at += 6 + length
    return b''.join(p[1] for p in parts), [len(p[1]) for p in parts]


def table(font, tag):
    count = struct.unpack('>H', font[4:6])[0]
    for i in range(count):
        entry = font[12 + 16 * i:28 + 16 * i]
        if entry[:4] == tag:
            offset, length = struct.unpack('>II', entry[8:])
            return font[offset:offset + length]
    raise KeyError(tag)


def glyph_of(font, character):
    """Glyph index of a character, by the format 4 subtable."""
    cmap = table(font, b'cmap')
    for i in range(struct.unpack('>H', cmap[2:4])[0]):
        platform, encoding, at = struct.unpack('>HHI', cmap[4 + 8 * i:12 + 8 * i])
        if (platform, encoding) != (3, 1) or struct.unpack('>H', cmap[at:at + 2])[0] != 4:
            continue
        count = struct.unpack('>H', cmap[at + 6:at + 8])[0] // 2
        words = struct.unpack('>%dH' % (4 * count + 1), cmap[at + 14:at + 16 + 8 * count])
        ends, starts, deltas, ranges = words[:count], words[count + 1:2 * count + 1], words[2 * count + 1:3 * count + 1], words[3 * count + 1:]
        for k in range(count):
            if starts[k] <= character <= ends[k]:
                if ranges[k] == 0:
                    return (character + deltas[k]) & 0xffff
                place = at + 16 + 6 * count + 2 * k + ranges[k] + 2 * (character - starts[k])
                return (struct.unpack('>H', cmap[place:place + 2])[0] + deltas[k]) & 0xffff
    raise KeyError(character)


def advance(font, glyph):
    full = struct.unpack('>H', table(font, b'hhea')[34:36])[0]
    units = struct.unpack('>H', table(font, b'head')[18:20])[0]
    at = 4 * min(glyph, full - 1)
    return struct.unpack('>H', table(font, b'hmtx')[at:at + 2])[0] * 1000 // units


def page(pdf, font, content):
    pdf.add_blank_page(page_size=(400, 200))
    pdf.pages[0].Resources = Dictionary(Font=Dictionary(F1=pdf.make_indirect(font)))
    pdf.pages[0].Contents = Stream(pdf, b'BT /F1 36 Tf 20 120 Td ' + content + b' ET')
    return pdf


def descriptor(pdf, key, data, flags, **entries):
    program = Stream(pdf, data)
    for name, value in entries.items():
        program[Name('/' + name)] = value
    return pdf.make_indirect(Dictionary(
        Type=Name.FontDescriptor, FontName=Name('/TestFont'), Flags=flags, FontBBox=[-200, -300, 1200, 1000],
        ItalicAngle=0, Ascent=900, Descent=-200, CapHeight=700, StemV=80, **{key: program}))


def simple(pdf, subtype, fd, first, widths, **entries):
    return Dictionary(Type=Name.Font, Subtype=Name('/' + subtype), BaseFont=Name('/TestFont'), FontDescriptor=fd,
                      FirstChar=first, LastChar=first + len(widths) - 1, Widths=Array(widths), **entries)


def type1(subtype='Type1', flags=32, content=b'(Hamburg fi \\(fl\\)) Tj', **entries):
    pdf = pikepdf.new()
    data, lengths = without_segments(type1_file('NimbusRoman-Regular'))
    fd = descriptor(pdf, 'FontFile', data, flags, Length1=lengths[0], Length2=lengths[1], Length3=lengths[2])
    return page(pdf, simple(pdf, subtype, fd, 32, [500] * 224, **entries), content)


@case('smaller')
def type1_with_its_own_encoding():
    return type1(flags=4)


@case('smaller')
def type1_in_win_ansi():
    return type1(Encoding=Name.WinAnsiEncoding, content=b'(H\\344mmer \\223\\351t\\351\\224 \\200) Tj')


@case('smaller')
def type1_in_mac_roman():
    return type1(Encoding=Name.MacRomanEncoding, content=b'(H\\212mmer \\216t\\216) Tj')


@case('smaller')
def type1_with_differences():
    return type1(Encoding=Dictionary(Differences=[65, Name.alpha, Name.Aacute, Name.germandbls, Name.fi, Name.uni0411]),
                 content=b'(ABCDE abc) Tj')


@case('smaller')
def mm_type1_instance():
    return type1('MMType1', Encoding=Name.WinAnsiEncoding)


@case('CFF')
def type1_with_accents_and_broken_widths():
    pdf = pikepdf.new()
    data, lengths = made_fonts.type1()
    fd = descriptor(pdf, 'FontFile', data, 4, Length1=lengths[0], Length2=lengths[1], Length3=lengths[2])
    return page(pdf, simple(pdf, 'Type1', fd, 97, [524.6, 524.6], Encoding=Dictionary(Differences=[97, Name.a, Name.aacute])),
                b'(abbaabba) Tj')


@case('CFF')
def type1_symbol_without_widths():
    pdf = pikepdf.new()
    data, lengths = without_segments(type1_file('StandardSymbolsPS'))
    fd = descriptor(pdf, 'FontFile', data, 4, Length1=lengths[0], Length2=lengths[1], Length3=lengths[2])
    return page(pdf, Dictionary(Type=Name.Font, Subtype=Name.Type1, BaseFont=Name.Symbol, FontDescriptor=fd), b'[(q)521(q)] TJ')


def truetype(flags, content, **entries):
    pdf = pikepdf.new()
    data = TRUETYPE.read_bytes()
    fd = descriptor(pdf, 'FontFile2', data, flags, Length1=len(data))
    return page(pdf, simple(pdf, 'TrueType', fd, 32, [600] * 224, **entries), content)


@case('smaller')
def truetype_in_win_ansi():
    return truetype(32, b'(H\\344mmer \\223\\351t\\351\\224) Tj', Encoding=Name.WinAnsiEncoding)


@case('smaller')
def truetype_in_mac_roman():
    return truetype(32, b'(H\\212mmer \\216t\\216) Tj', Encoding=Name.MacRomanEncoding)


@case('smaller')
def truetype_symbolic():
    return truetype(4, b'(Symbolic \\212) Tj')


@case('smaller')
def truetype_with_a_symbol_cmap():
    """Only (3, 0) with codes from F020 on, as fonts of signs have it, and (1, 0)."""
    pdf = truetype(4, b'(Hamburg) Tj')
    stream = pdf.pages[0].Resources.Font.F1.FontDescriptor.FontFile2
    data = stream.read_bytes()
    glyphs = [glyph_of(data, code) for code in range(32, 127)]
    mac = bytes(32) + bytes(g if g < 256 else 0 for g in glyphs) + bytes(129)
    symbols = struct.pack('>HHHHHHH', 4, 32 + 2 * len(glyphs), 0, 4, 4, 1, 0)
    symbols += struct.pack('>HHHHHHHHH', 0xf07e, 0xffff, 0, 0xf020, 0xffff, 0, 1, 4, 0) + struct.pack('>%dH' % len(glyphs), *glyphs)
    subtables = struct.pack('>HHHHIHHI', 0, 2, 1, 0, 20, 3, 0, 20 + 262) + struct.pack('>HHH', 0, 262, 0) + mac + symbols
    stream.write(made_fonts.with_table(made_fonts.without_table(data, b'cmap'), b'cmap', subtables))
    return pdf


@case('smaller')
def truetype_with_differences():
    return truetype(32, b'(ABC \\244) Tj', Encoding=Dictionary(
        BaseEncoding=Name.WinAnsiEncoding, Differences=[65, Name.alpha, Name.Aogonek, Name.afii10017]))


@case('smaller')
def truetype_with_a_cmap_of_platform_0():
    """Some viewers then go by the names in the post table."""
    pdf = truetype(32, b'(\\223quoted\\224 \\226 it\\222s) Tj', Encoding=Name.WinAnsiEncoding)
    stream = pdf.pages[0].Resources.Font.F1.FontDescriptor.FontFile2
    data = bytearray(stream.read_bytes())
    at = data.index(table(bytes(data), b'cmap'))
    count = struct.unpack('>H', data[at + 2:at + 4])[0]
    platforms = [struct.unpack('>H', data[at + 4 + 8 * i:at + 6 + 8 * i])[0] for i in range(count)]
    assert platforms == sorted(platforms) and platforms[0] == 0
    data[at + 2:at + 4] = struct.pack('>H', platforms.count(0))
    stream.write(bytes(data))
    return pdf


@case('smaller')
def truetype_with_bitmaps_beside_its_outlines():
    pdf = truetype(32, b'(Hamburg) Tj', Encoding=Name.WinAnsiEncoding)
    stream = pdf.pages[0].Resources.Font.F1.FontDescriptor.FontFile2
    data = made_fonts.with_table(stream.read_bytes(), b'EBDT', struct.pack('>I', 0x20000))
    stream.write(made_fonts.with_table(data, b'EBLC', struct.pack('>II', 0x20000, 0)))
    return pdf


@case('unhinted')
def truetype_with_nothing_but_blanks_shown():
    return truetype(32, b'(   ) Tj ET 20 20 200 50 re f BT', Encoding=Name.WinAnsiEncoding)


@case('kept')
def truetype_with_names_of_its_own():
    return truetype(32, b'(AB) Tj', Encoding=Dictionary(Differences=[65, Name.g36, Name.nosuchglyphname]))


@case('smaller')
def cff_simple():
    pdf = pikepdf.new()
    fd = descriptor(pdf, 'FontFile3', table(OPENTYPE.read_bytes(), b'CFF '), 32, Subtype=Name.Type1C)
    return page(pdf, simple(pdf, 'Type1', fd, 32, [500] * 224, Encoding=Name.WinAnsiEncoding), b'(H\\344mburg fl) Tj')


@case('smaller')
def cff_with_its_own_encoding():
    pdf = pikepdf.new()
    fd = descriptor(pdf, 'FontFile3', table(OPENTYPE.read_bytes(), b'CFF '), 4, Subtype=Name.Type1C)
    return page(pdf, simple(pdf, 'Type1', fd, 32, [500] * 224), b'(Hamburg fl) Tj')


@case('smaller')
def cff_with_differences():
    pdf = pikepdf.new()
    fd = descriptor(pdf, 'FontFile3', table(OPENTYPE.read_bytes(), b'CFF '), 4, Subtype=Name.Type1C)
    return page(pdf, simple(pdf, 'Type1', fd, 32, [500] * 224, Encoding=Dictionary(
        BaseEncoding=Name.MacRomanEncoding, Differences=[65, Name.Aacute, Name.germandbls, 200, Name.ae])), b'(AB \310 H\212mmer) Tj')


@case('smaller')
def opentype_simple():
    pdf = pikepdf.new()
    fd = descriptor(pdf, 'FontFile3', OPENTYPE.read_bytes(), 32, Subtype=Name.OpenType)
    return page(pdf, simple(pdf, 'Type1', fd, 32, [500] * 224, Encoding=Name.WinAnsiEncoding), b'(H\\344mburg fl) Tj')


def composite(subtype, key, data, text, encoding=Name('/Identity-H'), font_for_glyphs=None, program=None, codes=None, to_gid=None):
    pdf = pikepdf.new()
    source = font_for_glyphs or data
    glyphs = [glyph_of(source, ord(c)) for c in text]
    codes = codes or glyphs
    fd = descriptor(pdf, key, data, 4, **(program or {}))
    holder = Dictionary(Type=Name.Font, Subtype=Name('/' + subtype), BaseFont=Name('/TestFont'), FontDescriptor=fd, DW=600,
                        CIDSystemInfo=Dictionary(Registry=b'Adobe', Ordering=b'Identity', Supplement=0))
    if to_gid is not None:
        holder.CIDToGIDMap = to_gid if isinstance(to_gid, Name) else Stream(pdf, to_gid(glyphs))
    lines = ''.join('<%04X><%04X>\n' % (code, ord(c)) for code, c in zip(codes, text) if isinstance(code, int))
    unicode_map = ('/CIDInit /ProcSet findresource begin 12 dict begin begincmap /CMapName /T def /CMapType 2 def\n'
                   '1 begincodespacerange <0000><FFFF> endcodespacerange %d beginbfchar\n%sendbfchar endcmap end end'
                   % (len(text), lines)).encode()
    font = Dictionary(Type=Name.Font, Subtype=Name.Type0, BaseFont=Name('/TestFont'),
                      DescendantFonts=Array([pdf.make_indirect(holder)]),
                      Encoding=Stream(pdf, encoding) if isinstance(encoding, bytes) else encoding,
                      ToUnicode=Stream(pdf, unicode_map))
    return page(pdf, font, b'<' + ''.join('%04X' % c for c in codes).encode() + b'> Tj')


TEXT = 'Grüße äΩЖ'


@case('smaller')
def cid_truetype():
    return composite('CIDFontType2', 'FontFile2', TRUETYPE.read_bytes(), TEXT, to_gid=Name.Identity)


@case('smaller')
def cid_truetype_with_broken_widths():
    pdf = composite('CIDFontType2', 'FontFile2', TRUETYPE.read_bytes(), TEXT, to_gid=Name.Identity)
    holder = pdf.pages[0].Resources.Font.F1.DescendantFonts[0]
    glyphs = [glyph_of(TRUETYPE.read_bytes(), ord(c)) for c in TEXT]
    holder.DW = 0
    holder.W = pikepdf.Object.parse(b'[%s]' % b' '.join(b'%d [%d.3046]' % (g, 600 + (g == glyphs[0]) * 90) for g in sorted(set(glyphs))))
    return pdf


@case('smaller')
def cid_truetype_upright():
    return composite('CIDFontType2', 'FontFile2', TRUETYPE.read_bytes(), TEXT, encoding=Name('/Identity-V'), to_gid=Name.Identity)


@case('smaller')
def cid_truetype_with_a_glyph_map():
    return composite('CIDFontType2', 'FontFile2', TRUETYPE.read_bytes(), TEXT, codes=list(range(1, len(TEXT) + 1)),
                     to_gid=lambda glyphs: struct.pack('>%dH' % (len(glyphs) + 1), 0, *glyphs))


@case('smaller')
def cid_truetype_with_an_embedded_cmap():
    glyphs = [glyph_of(TRUETYPE.read_bytes(), ord(c)) for c in 'Text']
    lines = ''.join('<%04X> %d\n' % (0x100 + i, g) for i, g in enumerate(glyphs))
    cmap = ('/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n'
            '/CIDSystemInfo 3 dict dup begin /Registry (Adobe) def /Ordering (Identity) def /Supplement 0 def end def\n'
            '/CMapName /Own def /CMapType 1 def 1 begincodespacerange <0000> <FFFF> endcodespacerange\n'
            '%d begincidchar\n%sendcidchar endcmap end end' % (len(glyphs), lines)).encode()
    return composite('CIDFontType2', 'FontFile2', TRUETYPE.read_bytes(), 'Text', encoding=cmap,
                     codes=[0x100 + i for i in range(4)], to_gid=Name.Identity)


@case('kept')
def cid_truetype_with_a_cmap_of_texts():
    glyphs = [glyph_of(TRUETYPE.read_bytes(), ord(c)) for c in 'Text']
    lines = ''.join('<%04X> <%04X>\n' % (0x100 + i, g) for i, g in enumerate(glyphs))
    cmap = ('/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n'
            '/CMapName /Own def /CMapType 1 def 1 begincodespacerange <0000> <FFFF> endcodespacerange\n'
            '%d beginbfchar\n%sendbfchar endcmap end end' % (len(glyphs), lines)).encode()
    return composite('CIDFontType2', 'FontFile2', TRUETYPE.read_bytes(), 'Text', encoding=cmap,
                     codes=[0x100 + i for i in range(4)], to_gid=Name.Identity)


@case('kept')
def cid_truetype_with_a_cmap_that_is_not_predefined():
    return composite('CIDFontType2', 'FontFile2', TRUETYPE.read_bytes(), 'Text', encoding=Name('/UniJIS-UTF32-H'), to_gid=Name.Identity)


@case('smaller')
def cid_cff():
    font = OPENTYPE.read_bytes()
    return composite('CIDFontType0', 'FontFile3', table(font, b'CFF '), 'Grüße fl', font_for_glyphs=font,
                     program={'Subtype': Name.CIDFontType0C})


@case('smaller')
def cid_opentype():
    return composite('CIDFontType0', 'FontFile3', OPENTYPE.read_bytes(), 'Grüße fl', program={'Subtype': Name.OpenType})


@case('smaller')
def cid_opentype_of_truetype():
    """FontFile3 with outlines in glyf (ISO 32000-1, table 126)."""
    return composite('CIDFontType2', 'FontFile3', TRUETYPE.read_bytes(), TEXT, to_gid=Name.Identity, program={'Subtype': Name.OpenType})


@case('smaller')
def opentype_of_truetype():
    pdf = pikepdf.new()
    fd = descriptor(pdf, 'FontFile3', TRUETYPE.read_bytes(), 32, Subtype=Name.OpenType)
    return page(pdf, simple(pdf, 'TrueType', fd, 32, [600] * 224, Encoding=Name.WinAnsiEncoding), b'(H\344mmer) Tj')


@case('none')
def type3():
    pdf = pikepdf.new()
    procs = Dictionary(square=Stream(pdf, b'600 0 0 0 500 500 d1 0 0 500 500 re f'),
                       triangle=Stream(pdf, b'600 0 0 0 500 500 d1 0 0 m 500 0 l 250 500 l f'))
    font = Dictionary(Type=Name.Font, Subtype=Name.Type3, FontBBox=[0, 0, 500, 500], FontMatrix=[0.001, 0, 0, 0.001, 0, 0],
                      CharProcs=procs, FirstChar=97, LastChar=98, Widths=[600, 600],
                      Encoding=Dictionary(Differences=[97, Name.square, Name.triangle]))
    return page(pdf, font, b'(abab) Tj')


@case('kept')
def font_that_a_field_types_with():
    pdf = truetype(32, b'(Name) Tj', Encoding=Name.WinAnsiEncoding)
    font = pdf.pages[0].Resources.Font.F1
    field = pdf.make_indirect(Dictionary(Type=Name.Annot, Subtype=Name.Widget, FT=Name.Tx, T=b'name', Rect=[20, 20, 200, 60],
                                         DA=b'/F1 12 Tf 0 g', F=4))
    pdf.pages[0].Annots = Array([field])
    pdf.Root.AcroForm = Dictionary(Fields=Array([field]), DR=Dictionary(Font=Dictionary(F1=font)), DA=b'/F1 12 Tf 0 g')
    return pdf


def programs(pdf):
    """The decoded bytes of every embedded program."""
    found = []
    for item in pdf.objects:
        if isinstance(item, pikepdf.Dictionary):
            for key in ('/FontFile', '/FontFile2', '/FontFile3'):
                if key in item:
                    found.append(bytes(item[key].read_bytes()))
    return found


def saved(pdf):
    out = io.BytesIO()
    pdf.save(out)
    return out.getvalue()
