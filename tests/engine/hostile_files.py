"""PDFs that try to exhaust or confuse the engine, made here so that every trick can be read."""
import zlib

CATALOG = b'<</Type/Catalog/Pages 2 0 R%s>>'
PAGES = b'<</Type/Pages/Kids[3 0 R]/Count 1>>'
PAGE = b'<</Type/Page/Parent 2 0 R/MediaBox[0 0 9 9]/Contents 4 0 R%s>>'


def pdf(objects):
    out, offsets = bytearray(b'%PDF-1.7\n'), []
    for number, body in enumerate(objects, 1):
        offsets.append(len(out))
        out += b'%d 0 obj\n%s\nendobj\n' % (number, body)
    start = len(out)
    out += b'xref\n0 %d\n0000000000 65535 f \n' % (len(objects) + 1)
    out += b''.join(b'%010d 00000 n \n' % offset for offset in offsets)
    return bytes(out) + b'trailer\n<</Root 1 0 R/Size %d>>\nstartxref\n%d\n%%%%EOF\n' % (len(objects) + 1, start)


def stream(entries, data):
    return b'<<%s/Length %d>>\nstream\n%s\nendstream' % (entries, len(data), data)


def one_page(catalog=b'', page=b'', content=b'0 0 m', more=()):
    return pdf([CATALOG % catalog, PAGES, PAGE % page, stream(b'', content), *more])


def chain(length, link):
    """Objects from number 5 on, each made by link from the number of the next."""
    return [link(number + 6) for number in range(length)]


def bomb(size):
    return zlib.compress(bytes(size), 9)


# Each: the file, and whether the engine must refuse it (True), must manage it (False), or may do either (None).
CASES = {
    'arrays_in_arrays': lambda: (one_page(b'/X 5 0 R', more=[b'[' * 100_000 + b']' * 100_000]), None),
    'dictionaries_in_dictionaries': lambda: (one_page(b'/X 5 0 R', more=[b'<</A' * 50_000 + b' 1' + b'>>' * 50_000]), None),
    'long_outline': lambda: (one_page(b'/Outlines<</First 5 0 R>>', more=chain(
        20_000, lambda next: b'<</Title(x)/Next %d 0 R>>' % next)), False),
    'long_chain_of_arrays': lambda: (one_page(b'/X 5 0 R', more=chain(20_000, lambda next: b'[%d 0 R]' % next)), False),
    'deep_fields': lambda: (one_page(b'/AcroForm<</Fields[5 0 R]>>', more=chain(
        20_000, lambda next: b'<</T(a)/FT/Tx/Kids[%d 0 R]>>' % next)), True),
    'deep_structure': lambda: (one_page(b'/StructTreeRoot 5 0 R', more=chain(
        20_000, lambda next: b'<</Type/StructElem/K %d 0 R>>' % next)), False),
    'deep_page_tree': lambda: (pdf([CATALOG % b''] + [
        b'<</Type/Pages/Count 1/Kids[%d 0 R]>>' % (number + 3) for number in range(5_000)] + [
            b'<</Type/Page/MediaBox[0 0 9 9]>>']), True),
    'page_tree_loop': lambda: (pdf([CATALOG % b'', b'<</Type/Pages/Kids[2 0 R 3 0 R]/Count 9>>', PAGE % b'',
                                    stream(b'', b'')]), False),
    'one_page_very_often': lambda: (pdf([CATALOG % b'', b'<</Type/Pages/Kids[' + b'3 0 R ' * 150_000 + b']/Count 1>>',
                                         PAGE % b'', stream(b'', b'')]), True),
    'content_bomb': lambda: (pdf([CATALOG % b'', PAGES, PAGE % b'', stream(b'/Filter/FlateDecode', bomb(140 << 20))]), True),
    'image_bomb': lambda: (one_page(page=b'/Resources<</XObject<</I 5 0 R>>>>', content=b'/I Do', more=[stream(
        b'/Subtype/Image/Width 100000/Height 100000/ColorSpace/DeviceGray/BitsPerComponent 8/Filter/FlateDecode',
        bomb(140 << 20))]), False),
    'hundred_filters': lambda: (pdf([CATALOG % b'', PAGES, PAGE % b'', stream(
        b'/Filter[' + b'/AHx' * 100 + b']', b'>')]), True),
    'forms_that_double': lambda: (one_page(page=b'/Resources 5 0 R', content=b'/A Do /B Do', more=[
        body for level in range(30) for body in (
            b'<</XObject<</A %d 0 R/B %d 0 R>>>>' % (6 + 2 * level, 6 + 2 * level),
            stream(b'/Subtype/Form/BBox[0 0 9 9]/Resources %d 0 R' % (7 + 2 * level), b'/A Do /B Do'))] + [b'<<>>']), False),
    'annotation_that_is_its_parent': lambda: (one_page(
        b'/AcroForm<</Fields[5 0 R]>>', b'/Annots[5 0 R]', more=[
            b'<</Subtype/Widget/FT/Tx/T(a)/V(x)/Parent 5 0 R/Kids[5 0 R]/Rect[0 0 9 9]/AP<</N 5 0 R>>>>']), False),
}
