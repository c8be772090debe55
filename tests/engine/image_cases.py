"""The table of image cases: colour space x bits x filter x mask kind x Decode array x use.

Each entry adds one page to a document; its name says what is special about it. `cases()` lists them in page order."""
import zlib

import numpy as np
import pikepdf
from pikepdf import Array, Dictionary, Name
from PIL import Image

from image_pages import (BOX, CHART_COLORS, alpha, ccitt, chart, grey_of, jpeg, jpx, pack, pack_values, picture, png_rows,
                         run_length)

W, H = 300, 220          # 144 dpi on the page: not resampled by the web profile
LARGE = (640, 470)       # 307 dpi: resampled


def _table(levels):
    return pikepdf.String(bytes(v for color in levels for v in color))


def _cmyk(rgb):
    return np.asarray(Image.fromarray(rgb).convert('CMYK'))


def _spaces(pages):
    tint3 = pages.function([0.9, 0.2, 0.1])
    lab = Array([Name.Lab, Dictionary(WhitePoint=[0.9505, 1, 1.089], Range=[-100, 100, -100, 100])])
    white = Dictionary(WhitePoint=[0.9505, 1, 1.089])
    gamma = Dictionary(WhitePoint=[0.9505, 1, 1.089], Gamma=[2.2, 2.2, 2.2],
                       Matrix=[0.4124, 0.2126, 0.0193, 0.3576, 0.7152, 0.1192, 0.1805, 0.0722, 0.9505])
    two = Dictionary(FunctionType=4, Domain=[0, 1, 0, 1], Range=[0, 1, 0, 1, 0, 1])
    two = pages.pdf.make_indirect(pikepdf.Stream(pages.pdf, b'{ 1 exch sub exch 1 exch sub dup 3 -1 roll }', **{
        k[1:]: v for k, v in two.items()}))
    return {
        'gray': (Name.DeviceGray, 1), 'rgb': (Name.DeviceRGB, 3), 'cmyk': (Name.DeviceCMYK, 4),
        'calgray': (Array([Name.CalGray, white]), 1), 'calrgb': (Array([Name.CalRGB, gamma]), 3), 'icc': (pages.icc(), 3),
        'separation': (Array([Name.Separation, Name('/Spot'), Name.DeviceRGB, tint3]), 1),
        'devicen': (Array([Name.DeviceN, Array([Name('/A'), Name('/B')]), Name.DeviceRGB, two]), 2), 'lab': (lab, 3),
    }


def _samples(components, width=W, height=H):
    rgb = picture(width, height)
    if components == 1:
        return grey_of(rgb)
    if components == 2:
        return np.ascontiguousarray(rgb[..., :2])
    return rgb if components == 3 else _cmyk(rgb)


def build(pages):
    """Adds every page; yields the case names in order."""
    spaces = _spaces(pages)

    # Every colour space at 8 bits, as it is and resampled.
    for name, (space, components) in spaces.items():
        pages.page(pages.flate(_samples(components), W, H, space))
        yield f'{name}-8-flate'
        pages.page(pages.flate(_samples(components, *LARGE), *LARGE, space))
        yield f'{name}-8-flate-large'
    # Other depths.
    for name, bits in (('gray', 1), ('gray', 2), ('gray', 4), ('gray', 16), ('rgb', 1), ('rgb', 2), ('rgb', 4), ('rgb', 16),
                       ('cmyk', 4), ('cmyk', 16), ('separation', 1), ('separation', 4)):
        space, components = spaces[name]
        pages.page(pages.flate(_samples(components), W, H, space, bits))
        yield f'{name}-{bits}-flate'
    # Palettes.
    for bits, base in ((1, 'rgb'), (2, 'rgb'), (4, 'rgb'), (8, 'rgb'), (4, 'gray'), (4, 'cmyk'), (4, 'icc'), (8, 'separation')):
        space, components = spaces[base]
        count = min(1 << bits, 7)
        table = [((*c, 20) if components == 4 else c[:components]) for c in CHART_COLORS[:count]]
        indexed = Array([Name.Indexed, space, count - 1, _table(table)])
        values = np.minimum(chart(W, H), count - 1)
        pages.page(pages.flate(pack_values(values, bits), W, H, indexed, bits))
        yield f'indexed-{base}-{bits}'
    big = np.minimum(chart(*LARGE), 6)
    pages.page(pages.flate(pack_values(big, 8), *LARGE, Array([Name.Indexed, Name.DeviceRGB, 6, _table(CHART_COLORS)]), 8))
    yield 'indexed-rgb-8-large'
    sixteen = _table((CHART_COLORS * 3)[:16])
    pages.page(pages.flate(pack_values(chart(W, H), 4), W, H, Array([Name.Indexed, Name.DeviceRGB, 15, sixteen]), 4,
                           Decode=[15, 0]))
    yield 'indexed-decode'
    # Codings.
    rgb, grey = picture(W, H), grey_of(picture(W, H))
    raw = pack(rgb, 8)
    pages.page(pages.image(raw, W, H, Name.DeviceRGB))
    yield 'rgb-raw'
    pages.page(pages.image(zlib.compress(png_rows(raw, W * 3, 3)), W, H, Name.DeviceRGB, Filter=Name.FlateDecode,
                           DecodeParms=Dictionary(Predictor=15, Colors=3, Columns=W)))
    yield 'rgb-png-predictor'
    tiff = np.diff(rgb.astype(np.int16), axis=1, prepend=np.zeros((H, 1, 3), np.int16)).astype(np.uint8)
    pages.page(pages.image(zlib.compress(tiff.tobytes()), W, H, Name.DeviceRGB, Filter=Name.FlateDecode,
                           DecodeParms=Dictionary(Predictor=2, Colors=3, Columns=W)))
    yield 'rgb-tiff-predictor'
    pages.page(pages.image(run_length(raw), W, H, Name.DeviceRGB, Filter=Name.RunLengthDecode))
    yield 'rgb-run-length'
    pages.page(pages.image(raw.hex().encode() + b'>', W, H, Name.DeviceRGB, Filter=Name.ASCIIHexDecode))
    yield 'rgb-ascii-hex'
    pages.page(pages.image(zlib.compress(raw).hex().encode() + b'>', W, H, Name.DeviceRGB,
                           Filter=Array([Name.ASCIIHexDecode, Name.FlateDecode])))
    yield 'rgb-ascii-hex-flate'
    for name, options in (('', {}), ('-progressive', {'progressive': True}), ('-444', {'subsampling': 0}),
                          ('-low', {'quality': 20}), ('-high', {'quality': 98})):
        pages.page(pages.image(jpeg(rgb, **options), W, H, Name.DeviceRGB, Filter=Name.DCTDecode))
        yield f'rgb-jpeg{name}'
    pages.page(pages.image(jpeg(picture(*LARGE)), *LARGE, Name.DeviceRGB, Filter=Name.DCTDecode))
    yield 'rgb-jpeg-large'
    pages.page(pages.image(jpeg(grey, 'L'), W, H, Name.DeviceGray, Filter=Name.DCTDecode))
    yield 'gray-jpeg'
    pages.page(pages.image(jpeg(grey, 'L'), W, H, spaces['separation'][0], Filter=Name.DCTDecode))
    yield 'separation-jpeg'
    # PIL writes CMYK inverted, after Adobe's habit.
    pages.page(pages.image(jpeg(_cmyk(rgb), 'CMYK'), W, H, Name.DeviceCMYK, Filter=Name.DCTDecode, Decode=[1, 0] * 4))
    yield 'cmyk-jpeg-inverted'
    pages.page(pages.image(zlib.compress(jpeg(rgb)), W, H, Name.DeviceRGB, Filter=Array([Name.FlateDecode, Name.DCTDecode])))
    yield 'rgb-jpeg-in-flate'
    pages.page(pages.image(jpeg(rgb)[:-2000], W, H, Name.DeviceRGB, Filter=Name.DCTDecode))
    yield 'rgb-jpeg-truncated'
    pages.page(pages.image(jpx(rgb), W, H, Name.DeviceRGB, Filter=Name.JPXDecode))
    yield 'rgb-jpx'
    pages.page(pages.image(jpx(grey, 'L'), W, H, Name.DeviceGray, Filter=Name.JPXDecode))
    yield 'gray-jpx'
    for black_is_1 in (False, True):
        data, inverted = ccitt(Image.fromarray(grey).convert('1', dither=Image.NONE))
        parms = Dictionary(K=-1, Columns=W, Rows=H, BlackIs1=black_is_1)
        pages.page(pages.image(data, W, H, Name.DeviceGray, 1, Filter=Name.CCITTFaxDecode, DecodeParms=parms))
        yield f'gray-ccitt{"-black-is-1" if black_is_1 else ""}'
        pages.page(pages.image(data, W, H, Name.DeviceGray, 1, Filter=Name.CCITTFaxDecode, DecodeParms=parms, Decode=[1, 0]))
        yield f'gray-ccitt-inverted-decode{"-black-is-1" if black_is_1 else ""}'
    pages.page(pages.image(data, W, H, Array([Name.Indexed, Name.DeviceRGB, 1, _table([(200, 30, 30), (250, 240, 200)])]), 1,
                           Filter=Name.CCITTFaxDecode, DecodeParms=Dictionary(K=-1, Columns=W, Rows=H)))
    yield 'indexed-ccitt'
    # Decode arrays.
    for name, samples, space, decode in (('gray-inverted', grey, Name.DeviceGray, [1, 0]),
                                         ('gray-part', grey, Name.DeviceGray, [0.2, 0.9]),
                                         ('rgb-mixed', rgb, Name.DeviceRGB, [1, 0, 0, 1, 0.5, 1]),
                                         ('separation-inverted', grey, spaces['separation'][0], [1, 0])):
        pages.page(pages.flate(samples, W, H, space, Decode=decode))
        yield f'{name}-decode'
    pages.page(pages.flate(grey, W, H, Name.DeviceGray, 1, Decode=[1, 0]))
    yield 'gray-1-inverted-decode'
    # Colour complexity: what is stored richer than it is.
    pages.page(pages.flate(np.repeat(grey[..., None], 3, -1), W, H, Name.DeviceRGB))
    yield 'rgb-that-is-gray'
    pages.page(pages.flate(np.where(np.repeat(grey[..., None], 3, -1) > 128, 255, 0).astype(np.uint8), W, H, Name.DeviceRGB))
    yield 'rgb-that-is-bitonal'
    flat = np.array(CHART_COLORS, np.uint8)[chart(W, H)]
    pages.page(pages.flate(flat, W, H, Name.DeviceRGB))
    yield 'rgb-of-seven-colors'
    pages.page(pages.flate(flat, W, H, spaces['icc'][0]))
    yield 'icc-of-seven-colors'
    pages.page(pages.flate(np.full((H, W, 3), (10, 90, 160), np.uint8), W, H, Name.DeviceRGB))
    yield 'rgb-of-one-color'
    # Masks.
    def soft(width, height, samples=None, bits=8, **entries):
        return pages.flate(alpha(width, height) if samples is None else samples, width, height, Name.DeviceGray, bits, **entries)
    for name, size, mask in (('same-size', (W, H), soft(W, H)), ('smaller', (W, H), soft(W // 2, H // 2)),
                             ('larger', (W, H), soft(*LARGE)), ('one-bit', (W, H), soft(W, H, bits=1)),
                             ('two-levels', (W, H), soft(W, H, np.where(alpha(W, H) > 99, 255, 0).astype(np.uint8))),
                             ('opaque', (W, H), soft(W, H, np.full((H, W), 255, np.uint8))),
                             ('transparent', (W, H), soft(W, H, np.zeros((H, W), np.uint8))),
                             ('inverted', (W, H), soft(W, H, Decode=[1, 0])),
                             ('large', LARGE, soft(*LARGE))):
        pages.page(pages.flate(picture(*size), *size, Name.DeviceRGB, SMask=mask))
        yield f'soft-mask-{name}'
    cover = alpha(W, H).astype(np.float32)[..., None] / 255
    blended = (rgb * cover + 255 * (1 - cover)).astype(np.uint8)
    pages.page(pages.flate(blended, W, H, Name.DeviceRGB, SMask=soft(W, H, Matte=[1, 1, 1])))
    yield 'soft-mask-matte'
    pages.page(pages.image(jpeg(rgb), W, H, Name.DeviceRGB, Filter=Name.DCTDecode, SMask=soft(W, H)))
    yield 'soft-mask-on-jpeg'
    stencil = pages.flate(alpha(W, H), W, H, None, 1, ImageMask=True)
    pages.page(pages.flate(rgb, W, H, Name.DeviceRGB, Mask=stencil))
    yield 'stencil-mask'
    pages.page(pages.flate(grey, W, H, Name.DeviceGray, Mask=[100, 160]))
    yield 'color-key-gray'
    pages.page(pages.flate(flat, W, H, Name.DeviceRGB, Mask=[255, 255, 255, 255, 255, 255]))
    yield 'color-key-rgb'
    pages.page(pages.flate(pack_values(chart(W, H), 4), W, H, Array([Name.Indexed, Name.DeviceRGB, 6, _table(CHART_COLORS)]), 4,
                           Mask=[0, 0]))
    yield 'color-key-indexed'
    # Stencils painted with a colour.
    width, height, left, bottom = BOX
    paint = f'q 0.1 0.3 0.7 rg {width} 0 0 {height} {left} {bottom} cm /Im Do Q'
    for name, size, entries in (('', (W, H), {}), ('-inverted', (W, H), {'Decode': [1, 0]}), ('-large', (1300, 960), {})):
        pages.page(pages.flate(alpha(*size), *size, None, 1, ImageMask=True, **entries), paint)
        yield f'stencil{name}'
    # Uses.
    image = pages.flate(picture(*LARGE), *LARGE, Name.DeviceRGB)
    pages.page(image, f'q 40 0 0 30 10 90 cm /Im Do Q q {width} 0 0 80 {left} 5 cm /Im Do Q')
    yield 'used-small-and-large'
    pages.page(pages.flate(picture(*LARGE, seed=2), *LARGE, Name.DeviceRGB), 'q 0 110 -110 0 150 15 cm /Im Do Q')
    yield 'used-rotated'
    pages.page(pages.flate(picture(*LARGE, seed=3), *LARGE, Name.DeviceRGB), f'q {width} 0 0 {-height} {left} 125 cm /Im Do Q')
    yield 'used-mirrored'
    pages.page(pages.flate(picture(*LARGE, seed=4), *LARGE, Name.DeviceRGB),
               f'q 60 40 70 60 re W n {width} 0 0 {height} {left} {bottom} cm /Im Do Q')
    yield 'used-clipped'
    pages.page(pages.flate(grey_of(picture(*LARGE, seed=4)), *LARGE, Name.DeviceGray, 1),
               f'q 60 40 70 60 re W n {width} 0 0 {height} {left} {bottom} cm /Im Do Q')
    yield 'used-clipped-bitonal'
    pages.page(pages.flate(picture(*LARGE, seed=8), *LARGE, Name.DeviceRGB),
               f'q 60 40 70 60 re W n {width} 0 0 {height} {left} {bottom} cm /Im Do Q')
    pages.pdf.pages[-1].obj.CropBox = [50, 30, 120, 90]
    yield 'used-clipped-and-cropped'
    inner = pages.flate(picture(*LARGE, seed=5), *LARGE, Name.DeviceRGB)
    form = pages.pdf.make_indirect(pikepdf.Stream(pages.pdf, b'q 75 0 0 55 0 0 cm /X Do Q', Type=Name.XObject, Subtype=Name.Form,
                                                  BBox=[0, 0, 75, 55], Resources=Dictionary(XObject=Dictionary(X=inner))))
    pages.page(form, f'q 2 0 0 2 {left} {bottom} cm /Im Do Q')
    yield 'used-in-form'
    pages.page(pages.flate(picture(W, H, seed=6), W, H, Name.DeviceRGB, Interpolate=True))
    yield 'used-interpolated'
    tile = pages.flate(picture(80, 60, seed=7), 80, 60, Name.DeviceRGB)
    pattern = pages.pdf.make_indirect(pikepdf.Stream(pages.pdf, b'q 40 0 0 30 0 0 cm /T Do Q', Type=Name.Pattern, PatternType=1,
                                                     PaintType=1, TilingType=1, BBox=[0, 0, 40, 30], XStep=40, YStep=30,
                                                     Resources=Dictionary(XObject=Dictionary(T=tile))))
    pages.page(tile, '/Pattern cs /P scn 20 20 120 90 re f', {'Pattern': Dictionary(P=pattern)})
    yield 'used-in-pattern'
