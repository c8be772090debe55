"""Profile files of every form."""

import plistlib

XML_HEAD = (
    '<?xml version="1.0" encoding="UTF-8"?>\n'
    '<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">\n'
)


def xml(body):
    """An XML property list around the text of one object."""
    return f'{XML_HEAD}<plist version="1.0">{body}</plist>\n'.encode()


def write(world, content, name="p.kelvcp"):
    path = world.documents / name
    path.write_bytes(content)
    return path


def write_profile(world, values, name="p.kelvcp", binary=False):
    """A file with one profile."""
    form = plistlib.FMT_BINARY if binary else plistlib.FMT_XML
    return write(world, plistlib.dumps([values], fmt=form), name)


def run_with(world, values, *options, **keywords):
    """Compresses one file with a profile of these values."""
    write_profile(world, values)
    if not (world.documents / "a.pdf").exists():
        world.make_pdf("a.pdf")
    return world.kelv("a.pdf", "--profile", "p.kelvcp", *options, **keywords)
