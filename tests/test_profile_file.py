"""Reading profile files: the three forms, the shapes that count, and what is said of the others."""

import os
import plistlib

import pytest

import messages
from profiles import run_with, write, write_profile, xml
from sequence import MINIMAL, made, sequence, setting

OTHER = {"imageQuality": 0.9, "imageResolution": 300}


def compress(world, *options, argument="p.kelvcp", **keywords):
    if not (world.documents / "a.pdf").exists():
        world.make_pdf("a.pdf")
    return world.kelv("a.pdf", "--profile", argument, *options, **keywords)


def assert_default_profile(run, world):
    run.assert_clean_end()
    assert made(run) == sequence(world.documents / "a.pdf", profile=False)


def assert_unreadable(run, argument, code, hint=False):
    run.assert_clean_end()
    line = run.lines[0]
    prefix = b"ERROR: Failed to read profile at " + os.fsencode(argument) + b". "
    assert line.startswith(prefix + f"Error Domain=NSCocoaErrorDomain Code={code} ".encode()), line
    assert run.lines[1:] == ([messages.HINT.encode()] if hint else [])
    run.assert_engine_untouched()


@pytest.mark.parametrize("binary", [False, True])
def test_the_first_of_two_profiles_is_used(granted, binary):
    form = plistlib.FMT_BINARY if binary else plistlib.FMT_XML
    write(granted, plistlib.dumps([MINIMAL, OTHER], fmt=form))
    run = compress(granted, "--verbose")
    run.assert_clean_end()
    assert setting(run, "SetImageQuality") == 50
    assert run.text[0] == "Using profile first profile found in p.kelvcp."
    assert messages.DEFAULT_PROFILE not in run.text


def test_nothing_is_said_of_the_profile_unless_verbose(granted):
    run = run_with(granted, MINIMAL)
    assert run.lines == []
    assert setting(run, "SetImageQuality") == 50


def test_a_single_dictionary_is_ignored_silently(granted):
    write(granted, plistlib.dumps(MINIMAL))
    run = compress(granted, "--verbose")
    assert_default_profile(run, granted)
    assert "Using profile" not in run.stdout.decode()
    assert messages.DEFAULT_PROFILE in run.text


@pytest.mark.parametrize("content", [plistlib.dumps([]), plistlib.dumps([], fmt=plistlib.FMT_BINARY), b"()", b"( )"])
def test_an_empty_array_is_an_empty_profile(granted, content):
    write(granted, content)
    run = compress(granted, "--verbose")
    assert_default_profile(run, granted)
    assert "Using profile" not in run.stdout.decode()


@pytest.mark.parametrize(
    "items", [[MINIMAL, 5], [5, MINIMAL], [MINIMAL, "text"], [MINIMAL, [MINIMAL]], [MINIMAL, True], [[MINIMAL]], ["a"]]
)
def test_an_array_with_anything_but_dictionaries_is_an_empty_profile(granted, items):
    write(granted, plistlib.dumps(items))
    run = compress(granted, "--verbose")
    assert_default_profile(run, granted)
    assert "Using profile" not in run.stdout.decode()


@pytest.mark.parametrize("value", ["text", 5, 2.5, True, b"data"])
def test_a_lone_value_is_an_empty_profile(granted, value):
    write(granted, plistlib.dumps(value))
    assert_default_profile(compress(granted), granted)


def test_an_empty_dictionary_is_an_empty_profile_and_is_named(granted):
    run = run_with(granted, {}, "--verbose")
    assert_default_profile(run, granted)
    assert run.text[0] == "Using profile first profile found in p.kelvcp."
    assert messages.DEFAULT_PROFILE in run.text


def test_the_last_path_component_is_named(granted):
    (granted.documents / "deep").mkdir()
    write_profile(granted, MINIMAL, "deep/My Profile.kelvcp")
    run = compress(granted, "--verbose", argument="deep/../deep/My Profile.kelvcp")
    assert run.text[0] == "Using profile first profile found in My Profile.kelvcp."


def test_the_profile_is_relative_to_pwd(granted):
    (granted.documents / "base").mkdir()
    write_profile(granted, MINIMAL, "base/p.kelvcp")
    granted.make_pdf("base/a.pdf")
    run = granted.kelv("a.pdf", "p.kelvcp", environment={"PWD": str(granted.documents / "base")}, cwd=granted.documents)
    assert setting(run, "SetImageQuality") == 50


@pytest.mark.parametrize(
    "arguments",
    [
        ["a.pdf", "p.kelvcp"],
        ["a.pdf", "--verbose", "p.kelvcp", "--profile"],
        ["a.pdf", "--profile", "--replace", "p.kelvcp"],
        ["a.pdf", "--output", "out", "p.kelvcp"],
    ],
)
def test_the_profile_is_found_wherever_it_stands(granted, arguments):
    write_profile(granted, MINIMAL)
    granted.make_pdf("a.pdf")
    assert setting(granted.kelv(*arguments), "SetImageQuality") == 50


def test_only_the_first_profile_argument_is_read(granted):
    write_profile(granted, MINIMAL, "p.kelvcp")
    write(granted, b"\x00broken", "q.kelvcp")
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--profile", "p.kelvcp", "--profile", "q.kelvcp")
    assert setting(run, "SetImageQuality") == 50
    run = granted.kelv("a.pdf", "q.kelvcp", "p.kelvcp")
    assert_unreadable(run, "q.kelvcp", 3840)


def test_the_profile_text_may_be_inside_an_argument(granted):
    write_profile(granted, MINIMAL, "x.kelvcp.bak")
    granted.make_pdf("a.pdf")
    assert setting(granted.kelv("a.pdf", "x.kelvcp.bak"), "SetImageQuality") == 50


def test_the_profile_text_is_case_sensitive(granted):
    write_profile(granted, MINIMAL, "x.KELVCP")
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--profile", "x.KELVCP")
    assert made(run) == sequence(granted.documents / "a.pdf", profile=False)


# What cannot be read.


@pytest.mark.parametrize("argument", ["missing.kelvcp", "./no/such/../missing.kelvcp", "per%cent %s.kelvcp"])
def test_a_missing_file_stops_before_any_compression(granted, argument):
    run = compress(granted, argument=argument)
    assert_unreadable(run, argument, 260)
    assert "couldn’t be opened because there is no such file." in run.text[0]
    assert granted.names() == ["a.pdf"]


def test_a_missing_file_of_any_bytes_is_named_as_typed(granted):
    run = compress(granted, argument=b"\xff\xe4.kelvcp")
    assert_unreadable(run, b"\xff\xe4.kelvcp", 260)


def test_a_folder_cannot_be_read_as_a_profile(granted):
    (granted.documents / "p.kelvcp").mkdir()
    assert_unreadable(compress(granted), "p.kelvcp", 256)


def test_a_profile_that_may_not_be_read_gets_the_hint(granted):
    path = write_profile(granted, MINIMAL)
    granted.lock(path)
    run = compress(granted, ordinary_user=True)
    assert_unreadable(run, "p.kelvcp", 257, hint=True)


BROKEN = {
    "no bytes": b"",
    "zero bytes": b"\x00\x00\x00",
    "cut XML": xml("<array><dict>")[:-30],
    "cut binary": plistlib.dumps([MINIMAL], fmt=plistlib.FMT_BINARY)[:-5],
    "binary with bytes after it": plistlib.dumps([MINIMAL], fmt=plistlib.FMT_BINARY) + b"x",
    "JSON": b'[{"imageQuality": 0.5, "imageResolution": 150}]',
    "two objects in XML": xml("<array/><array/>"),
    "internal DTD": b'<!DOCTYPE plist [<!ENTITY x "y">]><plist><array/></plist>',
    "key without value": xml("<array><dict><key>a</key></dict></array>"),
    "bad integer": xml("<array><dict><key>a</key><integer>1.5</integer></dict></array>"),
    "bad real": xml("<array><dict><key>a</key><real>1,5</real></dict></array>"),
    "bad date": xml("<array><dict><key>a</key><date>2026-11-21</date></dict></array>"),
    "empty data tag": xml("<array><data/></array>"),
    "513 levels of XML": xml("<array>" * 600 + "</array>" * 600),
    "514 levels of text": b"(" * 514 + b")" * 514,
    "no semicolon": b"({ a = b })",
    "leading comma": b"(,a)",
    "a PDF": b"%PDF-1.4\n%\xe2\xe3\xcf\xd3\n1 0 obj",
    "UTF-16 without a mark": "()".encode("utf-16-le"),
    "unknown encoding": b'<?xml version="1.0" encoding="x-none"?><plist><array/></plist>',
}


@pytest.mark.parametrize("content", BROKEN.values(), ids=BROKEN.keys())
def test_bytes_that_are_no_property_list_stop_before_any_compression(granted, content):
    write(granted, content)
    run = compress(granted, "--verbose")
    assert_unreadable(run, "p.kelvcp", 3840)
    assert "\n" not in run.text[0]
    assert granted.names() == ["a.pdf", "p.kelvcp"]


# The three forms.

ENTRIES = "<key>imageQuality</key><real>0.5</real><key>imageResolution</key><integer>150</integer>"

READABLE = {
    "XML": xml(f"<array><dict>{ENTRIES}</dict></array>"),
    "XML without a head": f"<plist><array><dict>{ENTRIES}</dict></array></plist>".encode(),
    "XML without plist": f"<array><dict>{ENTRIES}</dict></array>".encode(),
    "XML with text after it": xml(f"<array><dict>{ENTRIES}</dict></array>") + b"anything",
    "XML with comments": xml(f"<!-- one --><array><!-- two --><dict>{ENTRIES}</dict></array>"),
    "XML with a mark": b"\xef\xbb\xbf" + xml(f"<array><dict>{ENTRIES}</dict></array>"),
    "UTF-16": f"<plist><array><dict>{ENTRIES}</dict></array></plist>".encode("utf-16"),
    "UTF-32": f"<plist><array><dict>{ENTRIES}</dict></array></plist>".encode("utf-32"),
    "Latin-1": b'<?xml version="1.0" encoding="ISO-8859-1"?><plist><array><dict>'
    + ENTRIES.encode()
    + b"<key>x</key><string>\xe4</string></dict></array></plist>",
    "hexadecimal integer": xml(
        "<array><dict><key>imageQuality</key><real>.5</real><key>imageResolution</key><integer>0x96</integer></dict></array>"
    ),
    "last duplicate wins": xml(f"<array><dict><key>imageQuality</key><real>0.9</real>{ENTRIES}</dict></array>"),
    "binary": plistlib.dumps([MINIMAL], fmt=plistlib.FMT_BINARY),
}


@pytest.mark.parametrize("content", READABLE.values(), ids=READABLE.keys())
def test_every_form_of_a_profile_is_read(granted, content):
    write(granted, content)
    run = compress(granted)
    run.assert_clean_end()
    assert made(run) == sequence(granted.documents / "a.pdf")


@pytest.mark.parametrize("content", [b" ", b"\n\n", b"// comment only\n", b"/* open", b"/* a */ // b"])
def test_a_blank_or_comment_only_file_is_an_empty_profile(granted, content):
    write(granted, content)
    run = compress(granted, "--verbose")
    assert_default_profile(run, granted)
    assert "Using profile" not in run.stdout.decode()


@pytest.mark.parametrize("content", [b"({})", b"( {} , )", b"/* c */ ( { } )"])
def test_an_old_text_profile_without_entries_is_empty(granted, content):
    write(granted, content)
    assert_default_profile(compress(granted), granted)


@pytest.mark.parametrize(
    "content",
    [
        b"({ imageQuality = 0.5; imageResolution = 150; })",
        b'( { "imageQuality" = "0.5" ; imageResolution = "150" ; } )',
        b"({ customAuthor = Someone; })",
    ],
)
def test_an_old_text_profile_has_no_numbers_and_is_the_fatal_case(granted, content):
    write(granted, content)
    run = compress(granted)
    run.assert_abnormal_stop()
    assert run.opened == [bytes(granted.documents / "a.pdf")]
    assert run.calls_of("SaveAsA") == []
    assert granted.names() == ["a.pdf", "p.kelvcp"]


@pytest.mark.parametrize("content", [b"word", b'"a text"', b"{ a = b; }", b"a = b;", b"(a, b)", b"<00ff>"])
def test_other_old_text_shapes_are_an_empty_profile(granted, content):
    write(granted, content)
    assert_default_profile(compress(granted), granted)


def test_levels_within_the_limit_are_read(granted):
    write(granted, xml("<array>" * 500 + "</array>" * 500))
    assert_default_profile(compress(granted), granted)
    (granted.documents / "a 2.pdf").unlink()
    write(granted, b"(" * 513 + b")" * 513)
    assert_default_profile(compress(granted), granted)


def shared_reference_bomb(levels):
    """A binary property list whose arrays hold the next one twice."""
    head = b"bplist00"
    objects = [bytes([0xA2, level + 1, level + 1]) for level in range(levels)] + [b"\x50"]
    offsets, body = [], head
    for item in objects:
        offsets.append(len(body))
        body += item
    table = len(body)
    body += b"".join(offset.to_bytes(2, "big") for offset in offsets)
    return body + bytes(6) + bytes([2, 1]) + len(objects).to_bytes(8, "big") + bytes(8) + table.to_bytes(8, "big")


def test_a_bomb_of_shared_references_takes_neither_time_nor_memory(granted):
    write(granted, shared_reference_bomb(60))
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "p.kelvcp", timeout=10, before=["prlimit", "--as=2000000000"] if not os.environ.get("KELV_SANITIZE") else [])
    assert_default_profile(run, granted)


def test_a_cycle_of_references_is_refused(granted):
    body = b"bplist00" + bytes([0xA1, 0])
    content = body + bytes([8]) + bytes(6) + bytes([1, 1]) + (1).to_bytes(8, "big") + bytes(8) + (10).to_bytes(8, "big")
    write(granted, content)
    assert_unreadable(compress(granted), "p.kelvcp", 3840)


@pytest.mark.parametrize("name", [b"\xff\xfe.kelvcp", b"new\nline.kelvcp", b"100%25.kelvcp", b"n" * 248 + b".kelvcp", b"-p.kelvcp"])
def test_a_profile_of_any_name_is_read(granted, name):
    path = os.path.join(bytes(granted.documents), name)
    with open(path, "wb") as file:
        file.write(plistlib.dumps([MINIMAL]))
    run = compress(granted, "--verbose", argument=name)
    run.assert_clean_end()
    assert run.stdout.startswith(b"Using profile first profile found in " + name + b".\n")
    assert setting(run, "SetImageQuality") == 50
