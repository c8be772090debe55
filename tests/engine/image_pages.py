"""One-image pages in every colour space, depth, coding, mask and use that image_cases lists."""
import io
import zlib

import numpy as np
import pikepdf
from pikepdf import Array, Dictionary, Name, Stream
from PIL import Image, ImageCms, ImageDraw

PAGE = (180, 140)           # points
BOX = (150, 110, 15, 15)    # width, height, left, bottom of the image on its page


def picture(width, height, seed=1):
    """RGB samples with gradients, texture, hard edges and text: something of everything."""
    rng = np.random.default_rng(seed)
    y, x = np.mgrid[0:height, 0:width].astype(np.float32)
    red = 128 + 100 * np.sin(x / width * 5) * np.cos(y / height * 4)
    green = 120 + 90 * np.cos(x / width * 3 + 1)
    blue = 255 * y / height
    samples = np.stack([red, green, blue], -1) + rng.normal(0, 3, (height, width, 1))
    image = Image.fromarray(np.clip(samples, 0, 255).astype(np.uint8))
    draw = ImageDraw.Draw(image)
    draw.rectangle([width // 8, height // 8, width // 3, height // 3], fill=(255, 255, 255))
    draw.text((width // 7, height // 6), 'Ab 12', fill=(0, 0, 0))
    draw.ellipse([width // 2, height // 2, width * 7 // 8, height * 7 // 8], fill=(200, 30, 30))
    return np.asarray(image)


def chart(width, height):
    """Flat colours and lines, seven colours in all."""
    image = Image.new('P', (width, height), 0)
    draw = ImageDraw.Draw(image)
    for i in range(1, 6):
        draw.rectangle([i * width // 8, height - i * height // 8, i * width // 8 + width // 10, height - 5], fill=i)
    for i in range(0, height, max(4, height // 12)):
        draw.line([0, i, width, i], fill=6)
    return np.asarray(image)


CHART_COLORS = [(255, 255, 255), (200, 40, 40), (40, 120, 200), (60, 170, 60), (240, 180, 20), (120, 60, 160), (190, 190, 190)]


def grey_of(rgb):
    return np.asarray(Image.fromarray(rgb).convert('L'))


def alpha(width, height):
    y, x = np.mgrid[0:height, 0:width].astype(np.float32)
    distance = np.hypot((x - width / 2) / width, (y - height / 2) / height)
    return np.clip((0.55 - distance) * 900, 0, 255).astype(np.uint8)


def pack(samples, bits):
    """8-bit samples, rows x values, to packed rows of `bits`; values are scaled down."""
    rows = samples.reshape(samples.shape[0], -1)
    if bits == 16:
        return (rows.astype('>u2') * 257).astype('>u2').tobytes()
    if bits == 8:
        return rows.astype(np.uint8).tobytes()
    values = rows.astype(np.uint8) >> (8 - bits)
    return pack_values(values, bits)


def pack_values(values, bits):
    expanded = np.unpackbits(values.astype(np.uint8)[..., None], axis=-1)[..., 8 - bits:]
    return np.packbits(expanded.reshape(values.shape[0], -1), axis=1).tobytes()


def png_rows(data, row, pixel):
    """PNG filter 4 on even rows, 1 on odd ones."""
    out, above = bytearray(), bytes(row)
    for start in range(0, len(data), row):
        line = data[start:start + row]
        kind = 4 if (start // row) % 2 == 0 else 1
        out.append(kind)
        for i, value in enumerate(line):
            left = line[i - pixel] if i >= pixel else 0
            up, corner = above[i], above[i - pixel] if i >= pixel else 0
            if kind == 1:
                guess = left
            else:
                p = left + up - corner
                guess = min((abs(p - left), 0, left), (abs(p - up), 1, up), (abs(p - corner), 2, corner))[2]
            out.append((value - guess) & 255)
        above = line
    return bytes(out)


def jpeg(samples, mode='RGB', **options):
    out = io.BytesIO()
    Image.fromarray(samples, mode).save(out, 'JPEG', **{'quality': 90, **options})
    return out.getvalue()


def jpx(samples, mode='RGB'):
    out = io.BytesIO()
    Image.fromarray(samples, mode).save(out, 'JPEG2000')
    return out.getvalue()


def ccitt(bits_image):
    """Group 4 data of a PIL mode '1' image, through a TIFF of one strip."""
    out = io.BytesIO()
    bits_image.save(out, 'TIFF', compression='group4', tiffinfo={278: bits_image.height})
    with Image.open(io.BytesIO(out.getvalue())) as tiff:
        offset, length = tiff.tag_v2[273][0], tiff.tag_v2[279][0]
        inverted = tiff.tag_v2[262] == 1
    return out.getvalue()[offset:offset + length], inverted


def run_length(data):
    out = bytearray()
    for start in range(0, len(data), 128):
        part = data[start:start + 128]
        out += bytes([len(part) - 1]) + part
    return bytes(out) + b'\x80'


def srgb_profile():
    return ImageCms.ImageCmsProfile(ImageCms.createProfile('sRGB')).tobytes()


class Pages:
    """A document that grows by one page for every case."""

    def __init__(self):
        self.pdf = pikepdf.new()
        self.profile = None

    def icc(self):
        if self.profile is None:
            self.profile = self.pdf.make_indirect(Stream(self.pdf, srgb_profile(), N=3))
        return Array([Name.ICCBased, self.profile])

    def function(self, outputs):
        return Dictionary(FunctionType=2, Domain=[0, 1], C0=[0] * len(outputs), C1=outputs, N=1)

    def image(self, data, width, height, space, bits=8, **entries):
        stream = Stream(self.pdf, data)
        stream.Type, stream.Subtype = Name.XObject, Name.Image
        stream.Width, stream.Height = width, height
        if space is not None:
            stream.ColorSpace = space
        if bits is not None:
            stream.BitsPerComponent = bits
        for key, value in entries.items():
            stream[f'/{key}'] = value
        return self.pdf.make_indirect(stream)

    def flate(self, samples, width, height, space, bits=8, **entries):
        data = samples if isinstance(samples, bytes) else pack(samples, bits)
        return self.image(zlib.compress(data), width, height, space, bits, Filter=Name.FlateDecode, **entries)

    def page(self, image, content=None, extra=None):
        width, height, left, bottom = BOX
        content = content or f'q {width} 0 0 {height} {left} {bottom} cm /Im Do Q'
        resources = Dictionary(XObject=Dictionary(Im=image))
        for key, value in (extra or {}).items():
            resources[f'/{key}'] = value
        background = f'0.85 0.9 0.75 rg 0 0 {PAGE[0]} {PAGE[1]} re f 0 g '
        stream = self.pdf.make_stream((background + content).encode())
        self.pdf.add_blank_page(page_size=PAGE)
        page = self.pdf.pages[-1].obj
        page.Resources, page.Contents = resources, stream
