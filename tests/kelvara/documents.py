"""PDFs for the tests of audit and compare, made by pikepdf."""

import zlib

import pikepdf
from pikepdf import Array, Dictionary, Name, Stream


def noise(width, height, channels=1):
    """Samples that no coder makes much smaller."""
    value, out = 12345, bytearray()
    for _ in range(width * height * channels):
        value = (value * 1103515245 + 12345) & 0x7FFFFFFF
        out.append(value >> 16 & 0xFF)
    return bytes(out)


def picture(pdf, width=200, height=100):
    return Stream(
        pdf, zlib.compress(noise(width, height)), Type=Name.XObject, Subtype=Name.Image, Width=width, Height=height,
        BitsPerComponent=8, ColorSpace=Name.DeviceGray, Filter=Name.FlateDecode,
    )  # fmt: skip


def document(path, texts=("Hello reader",), image=True, links=("https://example.org/a",), field="Anna", **save):
    """A page for each text; on the first also a picture of 200 dpi, links, and a form field. Outlines lead to all pages."""
    pdf = pikepdf.new()
    font = pdf.make_indirect(Dictionary(Type=Name.Font, Subtype=Name.Type1, BaseFont=Name.Helvetica))
    for number, text in enumerate(texts, 1):
        content = b"BT /F1 24 Tf 40 100 Td (" + text.encode() + b") Tj ET"
        resources = Dictionary(Font=Dictionary(F1=font))
        if image and number == 1:
            resources.XObject = Dictionary(Im0=picture(pdf))
            content += b" q 72 0 0 36 40 40 cm /Im0 Do Q"
        page = pdf.make_indirect(Dictionary(
            Type=Name.Page, MediaBox=[0, 0, 300, 200], Resources=resources, Contents=Stream(pdf, content), Annots=Array()))  # fmt: skip
        pdf.pages.append(pikepdf.Page(page))
    first = pdf.pages[0].obj
    for target in links:
        action = Dictionary(S=Name.URI, URI=pikepdf.String(target))
        first.Annots.append(pdf.make_indirect(Dictionary(
            Type=Name.Annot, Subtype=Name.Link, Rect=[40, 90, 200, 120], Border=[0, 0, 0], A=action)))  # fmt: skip
    if field is not None:
        widget = pdf.make_indirect(Dictionary(
            Type=Name.Annot, Subtype=Name.Widget, Rect=[40, 10, 200, 30], FT=Name.Tx, T=pikepdf.String("name"), V=pikepdf.String(field)))  # fmt: skip
        first.Annots.append(widget)
        pdf.Root.AcroForm = Dictionary(Fields=[widget], DA=pikepdf.String("/Helv 0 Tf"))
    with pdf.open_outline() as outline:
        for number, text in enumerate(texts):
            outline.root.append(pikepdf.OutlineItem(text, number))
    pdf.attachments["notes.txt"] = pikepdf.AttachedFileSpec(pdf, b"some notes " * 50, filename="notes.txt")
    pdf.save(path, **save)
    return path
