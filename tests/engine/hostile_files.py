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


def object_streams(count, bytes_each):
    """A file whose cross-reference stream leads to object streams that each unpack to as many bytes."""
    out, offsets = bytearray(b'%PDF-1.7\n'), {}
    first = 5 + count

    def add(number, body):
        offsets[number] = len(out)
        out.extend(b'%d 0 obj\n%s\nendobj\n' % (number, body))
    add(1, CATALOG % (b'/X[' + b''.join(b'%d 0 R ' % (first + i) for i in range(count)) + b']'))
    add(2, PAGES)
    add(3, PAGE % b'')
    add(4, stream(b'', b'0 0 m'))
    for i in range(count):
        head = b'%d 0 ' % (first + i)
        add(5 + i, stream(b'/Type/ObjStm/N 1/First %d/Filter/FlateDecode' % len(head), zlib.compress(head + b'0' + b' ' * bytes_each, 9)))
    size, start = first + count + 1, len(out)
    offsets[first + count] = start
    rows = b''
    for number in range(size):
        if number in offsets:
            rows += b'\1' + offsets[number].to_bytes(4, 'big') + b'\0'
        else:
            rows += b'\2' + (number - count).to_bytes(4, 'big') + b'\0' if number >= first else b'\0' * 6
    out.extend(b'%d 0 obj\n' % (first + count) + stream(b'/Type/XRef/Root 1 0 R/W[1 4 1]/Size %d' % size, rows) + b'\nendobj\n')
    return bytes(out) + b'startxref\n%d\n%%%%EOF\n' % start


def twice(data):
    return zlib.compress(zlib.compress(data, 9), 9)


def fonts_of_one_cmap(count, cmap):
    """Composite fonts that all show text through one CMap, object 5."""
    names = b''.join(b'/F%d %d 0 R' % (i, 7 + 2 * i) for i in range(count))
    content = b'BT ' + b''.join(b'/F%d 9 Tf <0001> Tj ' % i for i in range(count)) + b'ET'
    fonts = [body for i in range(count) for body in (
        b'<</Type/Font/Subtype/Type0/BaseFont/A%d/Encoding 5 0 R/DescendantFonts[%d 0 R]>>' % (i, 8 + 2 * i),
        b'<</Type/Font/Subtype/CIDFontType2/BaseFont/A%d/FontDescriptor 6 0 R/W[1[2 3 4 5]]/W2[1[2 3 4 5 6 7]]>>' % i)]
    return one_page(page=b'/Resources<</Font<<%s>>>>' % names, content=content, more=[
        stream(b'/Type/CMap/Filter/FlateDecode', zlib.compress(cmap, 9)), b'<</Type/FontDescriptor/FontFile2 5 0 R>>', *fonts])


CMAP = b'begincmap begincodespacerange <0000> <ffff> endcodespacerange begincidrange %s endcidrange endcmap'

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
    'counts_beyond_numbers': lambda: (pdf([CATALOG % b'/Outlines<</Count 99999999999999999999/First 5 0 R/Last 5 0 R>>',
                                           b'<</Type/Pages/Kids[3 0 R]/Count 2147483648>>', PAGE % b'', stream(b'', b''),
                                           b'<</Title(x)/Parent 1 0 R/Count -99999999999>>']), None),
    'negative_count': lambda: (pdf([CATALOG % b'', b'<</Type/Pages/Kids[3 0 R]/Count -5>>', PAGE % b'', stream(b'', b'')]), None),
    'outline_loops': lambda: (one_page(b'/Outlines 5 0 R', more=[
        b'<</First 6 0 R/Last 6 0 R/Parent 5 0 R>>',
        b'<</Title(a)/Next 7 0 R/First 6 0 R/Parent 7 0 R>>', b'<</Title(b)/Next 6 0 R/Prev 7 0 R/First 5 0 R/Parent 6 0 R>>']), False),
    'name_tree_loops': lambda: (one_page(
        b'/Names<</Dests 5 0 R/EmbeddedFiles 5 0 R/JavaScript 6 0 R/AP 5 0 R/Pages 6 0 R/IDS 5 0 R>>/PageLabels 5 0 R',
        more=[b'<</Kids[6 0 R 5 0 R]/Names[(a)5 0 R]/Nums[0 5 0 R]>>', b'<</Kids[5 0 R 6 0 R 6 0 R]>>']), False),
    'name_trees_that_double': lambda: (one_page(b'/Names<</Dests 5 0 R/AP 5 0 R/Pages 5 0 R/Templates 5 0 R>>/PageLabels 5 0 R', more=[
        b'<</Kids[%d 0 R %d 0 R]>>' % (6 + level, 6 + level) for level in range(40)] + [b'<</Names[(a)null]/Nums[]>>']), False),
    'parents_in_a_circle': lambda: (pdf([CATALOG % b'', b'<</Type/Pages/Kids[3 0 R]/Count 1/Parent 5 0 R>>', PAGE % b'',
                                         stream(b'', b''), b'<</Type/Pages/Parent 2 0 R/Kids[2 0 R]>>']), None),
    'thread_loops': lambda: (one_page(b'/Threads[5 0 R 5 0 R]', b'/B[6 0 R]', more=[
        b'<</F 6 0 R>>', b'<</T 5 0 R/N 6 0 R/V 6 0 R/P 3 0 R/R[0 0 1 1]>>']), False),
    'chained_bomb': lambda: (pdf([CATALOG % b'', PAGES, PAGE % b'', stream(
        b'/Filter[/FlateDecode/FlateDecode]', twice(bytes(150 << 20)))]), True),
    'attached_bomb': lambda: (one_page(b'/Names<</EmbeddedFiles<</Names[(a)<</EF<</F 5 0 R>>/F(a)>>]>>>>', more=[
        stream(b'/Type/EmbeddedFile/Filter[/FlateDecode/FlateDecode]', twice(bytes(140 << 20)))]), False),
    'many_attached_bombs': lambda: (one_page(b'/X[' + b''.join(b'%d 0 R ' % (5 + i) for i in range(40)) + b']', more=[
        stream(b'/N %d/Filter/FlateDecode' % i, bomb(20 << 20)) for i in range(40)]), False),
    'ascii85_of_zeros': lambda: (one_page(b'/X 5 0 R', more=[stream(b'/Filter/ASCII85Decode', b'z' * (10 << 20) + b'~>')]), False),
    'run_length_of_zeros': lambda: (one_page(b'/X 5 0 R', more=[
        stream(b'/Filter[/FlateDecode/RunLengthDecode]', zlib.compress(b'\x81\0' * (8 << 20) + b'\x80', 9))]), False),
    'predictor_of_wide_rows': lambda: (one_page(b'/X 5 0 R', more=[stream(
        b'/Filter/FlateDecode/DecodeParms<</Predictor 15/Columns 2147483647/Colors 32/BitsPerComponent 16>>', bomb(1 << 20))]), False),
    'object_stream_bombs': lambda: (object_streams(12, 40 << 20), None),
    'object_stream_of_many': lambda: (one_page(b'/X 5 0 R', more=[
        stream(b'/Type/ObjStm/N 2000000000/First 10', b'1 0 2 0 <<>>')]), False),
    'resources_of_themselves': lambda: (one_page(page=b'/Resources 5 0 R', content=b'/P cs /P scn /I Do /F 9 Tf (a) Tj /G gs', more=[
        b'<</XObject<</I 6 0 R>>/ColorSpace<</P[/Pattern 7 0 R]>>/Pattern<</P 8 0 R>>/Font<</F 9 0 R>>/ExtGState<</G 10 0 R>>>>',
        stream(b'/Subtype/Image/Width 1/Height 1/BitsPerComponent 8/ColorSpace 7 0 R/SMask 6 0 R/Mask 6 0 R/Alternates[<</Image 6 0 R>>]', b'x'),
        b'[/Indexed 7 0 R 1 <00>]', stream(b'/PatternType 1/BBox[0 0 1 1]/XStep 1/YStep 1/Resources 5 0 R', b'/P cs /P scn 0 0 1 1 re f'),
        b'<</Subtype/Type3/FontMatrix[1 0 0 1 0 0]/CharProcs<</a 8 0 R>>/Encoding<</Differences[97/a]>>/Resources 5 0 R>>',
        b'<</SMask<</S/Alpha/G 8 0 R/TR 11 0 R>>/TR 11 0 R>>', b'<</FunctionType 3/Functions[11 0 R 11 0 R]/Bounds[0]/Encode[0 1 0 1]/Domain[0 1]>>']),
        False),
    'cmap_of_blanks': lambda: (fonts_of_one_cmap(300, CMAP % (b'<0000> <ffff> 0' + b' ' * (30 << 20))), None),
    'cmap_of_equal_ranges': lambda: (fonts_of_one_cmap(300, CMAP % (b'<0000> <ffff> 0 ' * 150_000)), None),
    'states_without_end': lambda: (one_page(content=b'q ' * 2_000_000 + b'BT ' * 100_000), None),
    'endless_free_text': lambda: (one_page(page=b'/Annots[5 0 R]', more=[
        b'<</Subtype/FreeText/Rect[0 0 1e9 1e9]/DA(/Helv .0001 Tf)/Contents(' + b'a ' * 2_000_000 + b')>>']), False),
}
