"""Font programs that no Debian package has, put together byte by byte."""
import struct


def encrypted(data, key):
    """Adobe Type 1 Font Format, chapter 7; four zero bytes go in front."""
    out = bytearray()
    for plain in b'\0\0\0\0' + data:
        cipher = plain ^ (key >> 8)
        key = ((cipher + key) * 52845 + 22719) & 0xffff
        out.append(cipher)
    return bytes(out)


def number(value):
    if -107 <= value <= 107:
        return bytes([value + 139])
    if 108 <= value <= 1131:
        return bytes([247 + (value - 108) // 256, (value - 108) % 256])
    return b'\xff' + struct.pack('>i', value)


OPERATORS = {'hsbw': [13], 'div': [12, 12], 'rmoveto': [21], 'rlineto': [5], 'closepath': [9], 'endchar': [14], 'seac': [12, 6]}


def charstring(text):
    return b''.join(bytes(OPERATORS[word]) if word in OPERATORS else number(int(word)) for word in text.split())


# Widths that are not whole, and an accented character made of two others.
TYPE1_GLYPHS = {
    '.notdef': '0 2805 10 div hsbw endchar',
    'a': '50 5246 10 div hsbw 0 0 rmoveto 400 0 rlineto 0 300 rlineto -400 0 rlineto closepath '
         '100 100 rmoveto 0 100 rlineto 200 0 rlineto 0 -100 rlineto closepath endchar',
    'acute': '20 3333 10 div hsbw 0 400 rmoveto 100 0 rlineto 50 150 rlineto -80 0 rlineto closepath endchar',
    'aacute': '50 5246 10 div hsbw 20 140 0 97 194 seac',
}


def type1():
    """A Type 1 program, and the lengths of its three parts."""
    head = (b'%!PS-AdobeFont-1.0: Made 1\n11 dict begin\n/FontName /Made def\n/PaintType 0 def\n/FontType 1 def\n'
            b'/FontMatrix [0.001 0 0 0.001 0 0] readonly def\n/Encoding StandardEncoding def\n'
            b'/FontBBox {0 0 600 600} readonly def\ncurrentdict end\ncurrentfile eexec\n')
    body = (b'dup /Private 8 dict dup begin\n/RD {string currentfile exch readstring pop} executeonly def\n'
            b'/ND {noaccess def} executeonly def\n/NP {noaccess put} executeonly def\n/BlueValues [] def\n/MinFeature {16 16} def\n'
            b'/password 5839 def\n2 index /CharStrings %d dict dup begin\n' % len(TYPE1_GLYPHS))
    for name, text in TYPE1_GLYPHS.items():
        code = encrypted(charstring(text), 4330)
        body += b'/%s %d RD %s ND\n' % (name.encode(), len(code), code)
    body += b'end\nend\nreadonly put\nnoaccess put\ndup /FontName get exch definefont pop\nmark currentfile closefile\n'
    body = encrypted(body, 55665)
    tail = (b'0' * 64 + b'\n') * 8 + b'cleartomark\n'
    return head + body + tail, [len(head), len(body), len(tail)]


def with_table(font, tag, data):
    """An sfnt with one table more; checksums are left at 0, which no reader minds."""
    count = struct.unpack('>H', font[4:6])[0]
    entries = [struct.unpack('>4sIII', font[12 + 16 * i:28 + 16 * i]) for i in range(count)]
    entries = [(t, c, o + 16, n) for t, c, o, n in entries]
    entries.append((tag, 0, len(font) + 16, len(data)))
    head = font[:4] + struct.pack('>H', count + 1) + font[6:12]
    return head + b''.join(struct.pack('>4sIII', *e) for e in sorted(entries)) + font[12 + 16 * count:] + data


def without_table(font, tag):
    """An sfnt that no longer names one of its tables."""
    count = struct.unpack('>H', font[4:6])[0]
    entries = [font[12 + 16 * i:28 + 16 * i] for i in range(count)]
    # As many bytes as before, so that the other tables stay where they are.
    entries = [entry if entry[:4] != tag else b'xxxx' + entry[4:] for entry in entries]
    return font[:12] + b''.join(sorted(entries)) + font[12 + 16 * count:]
