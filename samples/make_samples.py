#!/usr/bin/python3
"""Makes the sample PDFs: photographs, scans, office text, charts and slides, all synthesised here.

Run from anywhere; writes beside this file. The same inputs give the same bytes. Needs python3-numpy, python3-pil,
python3-pikepdf and fonts-dejavu-core.
"""

import io
import zlib
from pathlib import Path

import numpy as np
import pikepdf
from PIL import Image, ImageDraw, ImageFilter, ImageFont

HERE = Path(__file__).resolve().parent
FONTS = Path("/usr/share/fonts/truetype/dejavu")
A4 = (595, 842)

TEXT = (
    "The quarterly review shows that most documents which leave the office are far larger than they need to be. "
    "Pictures are kept at the resolution of the camera, fonts are embedded whole although a page uses sixty letters "
    "of them, and every export adds another copy of the same logo. None of this helps the reader, who waits for the "
    "page to appear. A smaller file is sent faster, opens faster and is kept more cheaply, and on the page nothing "
    "has changed. "
)


def noise(random, height, width, scale):
    """Smooth noise in -1..1 whose features are about `scale` pixels wide."""
    small = random.standard_normal((height // scale + 2, width // scale + 2)).astype("float32")
    picture = Image.fromarray(small).resize((width, height), Image.BICUBIC)
    values = np.asarray(picture)
    return values / np.abs(values).max()


def photograph(seed, width=1700, height=1200):
    """A landscape: sky, hills in the haze, a meadow with fine structure, and the grain of a sensor."""
    random = np.random.default_rng(seed)
    rows = np.linspace(0, 1, height)[:, None]
    picture = np.zeros((height, width, 3), "float32")
    sky_top, sky_low = random.uniform([20, 70, 150], [70, 120, 210]), random.uniform([190, 190, 200], [255, 225, 235])
    picture[:] = sky_top + (sky_low - sky_top) * np.clip(rows * 1.8, 0, 1)[..., None]
    clouds = sum(noise(random, height, width, scale) * scale for scale in (240, 120, 60, 30)) / 450
    cover = np.clip(clouds * 3 - 0.2, 0, 1)[..., None] * np.clip(1.1 - rows * 1.6, 0, 1)[..., None]
    picture = picture * (1 - cover * 0.8) + 250 * cover * 0.8
    for layer in range(5):
        ridge = 0.45 + 0.09 * layer + sum(
            np.interp(np.arange(width), np.linspace(0, width, count), random.uniform(-1, 1, count)) / count
            for count in (5, 11, 23, 47)
        ) * 0.25
        mask = (rows > ridge[None, :])[..., None]
        near = layer / 4
        color = np.array([150, 165, 185]) * (1 - near) + random.uniform([40, 80, 25], [90, 120, 50]) * near
        grain = (noise(random, height, width, 8) * 14 + noise(random, height, width, 3) * 10)[..., None] * near
        picture = np.where(mask, color + grain + (rows[..., None] - 0.5) * 40, picture)
    picture += random.standard_normal(picture.shape) * 1.6
    return Image.fromarray(np.clip(picture, 0, 255).astype("uint8"))


def typed_page(seed, width, height, size):
    """A typed letter in grey."""
    random = np.random.default_rng(seed)
    page = Image.new("L", (width, height), 255)
    draw = ImageDraw.Draw(page)
    body = ImageFont.truetype(str(FONTS / "DejaVuSerif.ttf"), size)
    head = ImageFont.truetype(str(FONTS / "DejaVuSans-Bold.ttf"), size * 2)
    margin = width // 9
    draw.text((margin, margin), "Minutes of the meeting", font=head, fill=20)
    words = (TEXT * 8).split()
    start = int(random.integers(0, 40))
    line, top = "", margin + size * 5
    for word in words[start:]:
        if draw.textlength(line + " " + word, font=body) > width - 2 * margin:
            draw.text((margin, top), line, font=body, fill=30)
            line, top = word, top + int(size * 1.6)
            if top > height - 2 * margin:
                break
        else:
            line = (line + " " + word).strip()
    draw.line([(margin, top + size * 3), (margin + width // 4, top + size * 3)], fill=60, width=4)
    return page


def scanned(page, seed):
    """The page as a scanner sees it: uneven light, paper, a little blur, a small turn."""
    random = np.random.default_rng(seed)
    turned = page.rotate(0.4, resample=Image.BICUBIC, fillcolor=255).filter(ImageFilter.GaussianBlur(0.8))
    values = np.asarray(turned).astype("float32")
    height, width = values.shape
    light = 236 + 12 * np.linspace(0, 1, width)[None, :] - 10 * np.linspace(0, 1, height)[:, None]
    values = values / 255 * light + noise(random, height, width, 40) * 2 + random.standard_normal(values.shape) * 2.2
    return Image.fromarray(np.clip(values, 0, 255).astype("uint8"))


def jpeg(picture, quality):
    data = io.BytesIO()
    picture.save(data, "JPEG", quality=quality, subsampling=0)
    return data.getvalue()


class Book:
    """A PDF under construction, written the careless way that many programs write."""

    def __init__(self, title):
        self.pdf = pikepdf.new()
        self.pdf.docinfo["/Title"] = title
        self.pdf.docinfo["/Producer"] = "make_samples.py"
        self.pdf.docinfo["/CreationDate"] = "D:20260101120000Z"
        self.pdf.docinfo["/ModDate"] = "D:20260101120000Z"

    def page(self, content, size=A4, **resources):
        page = pikepdf.Dictionary(
            Type=pikepdf.Name.Page,
            MediaBox=[0, 0, *size],
            Resources=pikepdf.Dictionary(**resources),
            Contents=pikepdf.Stream(self.pdf, content.encode("cp1252")),
        )
        self.pdf.pages.append(pikepdf.Page(self.pdf.make_indirect(page)))
        return self.pdf.pages[-1]

    def jpeg_image(self, picture, quality):
        return pikepdf.Stream(
            self.pdf, jpeg(picture, quality), Type=pikepdf.Name.XObject, Subtype=pikepdf.Name.Image, Width=picture.width,
            Height=picture.height, BitsPerComponent=8, Filter=pikepdf.Name.DCTDecode,
            ColorSpace=pikepdf.Name.DeviceGray if picture.mode == "L" else pikepdf.Name.DeviceRGB,
        )  # fmt: skip

    def flate_image(self, picture):
        bits, data = (1, picture.tobytes()) if picture.mode == "1" else (8, picture.tobytes())
        return pikepdf.Stream(
            self.pdf, zlib.compress(data, 1), Type=pikepdf.Name.XObject, Subtype=pikepdf.Name.Image, Width=picture.width,
            Height=picture.height, BitsPerComponent=bits, Filter=pikepdf.Name.FlateDecode,
            ColorSpace=pikepdf.Name.DeviceRGB if picture.mode == "RGB" else pikepdf.Name.DeviceGray,
        )  # fmt: skip

    def font(self, file, name):
        """A TrueType font, embedded whole."""
        data = (FONTS / file).read_bytes()
        measure = ImageFont.truetype(str(FONTS / file), 1000)
        widths = [round(measure.getlength(bytes([code]).decode("cp1252", "replace"))) for code in range(32, 256)]
        descriptor = pikepdf.Dictionary(
            Type=pikepdf.Name.FontDescriptor, FontName=pikepdf.Name("/" + name), Flags=32, FontBBox=[-1000, -300, 1500, 1000],
            ItalicAngle=0, Ascent=928, Descent=-236, CapHeight=729, StemV=80,
            FontFile2=pikepdf.Stream(self.pdf, zlib.compress(data), Length1=len(data), Filter=pikepdf.Name.FlateDecode),
        )  # fmt: skip
        return self.pdf.make_indirect(
            pikepdf.Dictionary(
                Type=pikepdf.Name.Font, Subtype=pikepdf.Name.TrueType, BaseFont=pikepdf.Name("/" + name), FirstChar=32,
                LastChar=255, Widths=widths, Encoding=pikepdf.Name.WinAnsiEncoding,
                FontDescriptor=self.pdf.make_indirect(descriptor),
            )  # fmt: skip
        )

    def save(self, name):
        self.pdf.save(
            HERE / name, object_stream_mode=pikepdf.ObjectStreamMode.disable, compress_streams=False, static_id=True
        )


def full_page(width, height):
    return f"q {width} 0 0 {height} 0 0 cm /Im0 Do Q\n"


def photographs():
    book = Book("Holiday photographs")
    for seed in (1, 2):
        image = book.jpeg_image(photograph(seed), 88)
        book.page(full_page(360, 254), (360, 254), XObject=pikepdf.Dictionary(Im0=image))
    book.save("photographs.pdf")


def scans():
    book = Book("A scanned letter")
    page = scanned(typed_page(3, 2480, 3508, 46), 3)
    book.page(full_page(*A4), XObject=pikepdf.Dictionary(Im0=book.jpeg_image(page, 62)))
    book.save("scan-grey.pdf")
    book = Book("A scanned contract")
    for seed in (4, 5, 6):
        page = scanned(typed_page(seed, 2480, 3508, 46), seed).point(lambda value: 255 if value > 140 else 0).convert("1")
        book.page(full_page(*A4), XObject=pikepdf.Dictionary(Im0=book.flate_image(page)))
    book.save("scan-black-and-white.pdf")


def text_lines(top, size, count, seed):
    words = (TEXT * 20).split()[seed * 7 :]
    content, line = [f"BT /F0 {size} Tf {size * 1.45:.3f} TL 72 {top} Td"], ""
    for word in words:
        if len(line) + len(word) > 78:
            content.append(f"({line}) Tj T*")
            line, count = word, count - 1
            if count == 0:
                break
        else:
            line = (line + " " + word).strip()
    return "\n".join([*content, "ET"]) + "\n"


def office():
    book = Book("Report")
    regular, bold = book.font("DejaVuSerif.ttf", "DejaVuSerif"), book.font("DejaVuSans-Bold.ttf", "DejaVuSans-Bold")
    for number in range(1, 9):
        content = f"BT /F1 16 Tf 72 770 Td (Chapter {number}: What a page is made of) Tj ET\n" + text_lines(735, 11, 40, number)
        content += f"BT /F0 9 Tf 290 40 Td (Page {number}) Tj ET\n"
        page = book.page(content, Font=pikepdf.Dictionary(F0=regular, F1=bold))
        if number == 1:
            page.Annots = pikepdf.Array(
                [book.pdf.make_indirect(pikepdf.Dictionary(
                    Type=pikepdf.Name.Annot, Subtype=pikepdf.Name.Link, Rect=[72, 765, 400, 790], Border=[0, 0, 0],
                    A=pikepdf.Dictionary(S=pikepdf.Name.URI, URI="https://example.org/"),
                ))]
            )  # fmt: skip
    with book.pdf.open_outline() as outline:
        outline.root.extend(pikepdf.OutlineItem(f"Chapter {n + 1}", n) for n in range(8))
    book.save("report.pdf")


def charts():
    book = Book("Charts")
    random = np.random.default_rng(7)
    for _ in range(3):
        content = ["0.3 w 60 60 m 60 780 l 540 780 l 540 60 l s"]
        for series in range(6):
            color = " ".join(f"{value:.6f}" for value in random.uniform(0, 0.8, 3))
            values = 420 + np.cumsum(random.standard_normal(700)) * 7
            points = [f"{60 + x * 480 / 700:.6f} {y:.6f} {'m' if x == 0 else 'l'}" for x, y in enumerate(values)]
            content += [f"{color} RG 0.800000 w", *points, "S"]
        book.page("\n".join(content) + "\n")
    book.save("charts.pdf")


def slides():
    book = Book("Slides")
    font = book.font("DejaVuSansMono.ttf", "DejaVuSansMono")
    random = np.random.default_rng(8)
    for number in range(1, 6):
        # The same logo again on every page, each time as an image of its own.
        logo = Image.new("RGB", (500, 500), (255, 255, 255))
        draw = ImageDraw.Draw(logo)
        for ring in range(12):
            draw.ellipse([ring * 20, ring * 20, 500 - ring * 20, 500 - ring * 20], fill=(20 * ring, 60, 200 - 14 * ring))
        columns, rows = np.meshgrid(np.linspace(0, 255, 800), np.linspace(0, 255, 450))
        shade = np.stack([columns * 0.3 + number * 20, rows * 0.4 + 60, 200 - rows * 0.3], -1)
        bars = Image.fromarray(np.clip(shade, 0, 255).astype("uint8"))
        draw = ImageDraw.Draw(bars)
        for bar in range(9):
            height = int(random.integers(60, 400))
            draw.rectangle([40 + bar * 84, 430 - height, 90 + bar * 84, 430], fill=(250, 200 - bar * 15, 40 + bar * 20))
        content = "q 720 0 0 405 0 0 cm /Im0 Do Q q 90 0 0 90 610 300 cm /Im1 Do Q\n"
        content += f"BT /F0 30 Tf 1 1 1 rg 50 340 Td (Quarter {number}: results) Tj ET\n"
        resources = pikepdf.Dictionary(Im0=book.flate_image(bars), Im1=book.flate_image(logo))
        book.page(content, (720, 405), XObject=resources, Font=pikepdf.Dictionary(F0=font))
    book.save("slides.pdf")


if __name__ == "__main__":
    for make in (photographs, scans, office, charts, slides):
        make()
    for path in sorted(HERE.glob("*.pdf")):
        print(f"{path.name:28} {path.stat().st_size:>10,}")
