"""Every key of a profile: how its value is read and what stands in for it."""

import math
import plistlib
import struct

import pytest

from profiles import run_with, write, xml
from sequence import MINIMAL, PRODUCER, RESOLUTIONS, STRIP_BITS, SWITCHES, info, made, sequence, setting


def with_xml(world, key, value):
    """A minimal profile plus one key whose value is written as XML text."""
    write(
        world,
        xml(
            "<array><dict><key>imageQuality</key><real>0.5</real><key>imageResolution</key><integer>150</integer>"
            f"<key>{key}</key>{value}</dict></array>"
        ),
    )
    world.make_pdf("a.pdf")
    return world.kelv("a.pdf", "p.kelvcp")


def assert_fatal(run, world):
    run.assert_abnormal_stop()
    assert run.names[:4] == ["Initialize", "CreateObject", "OpenA", "SetProfile"] or run.names[:3] == [
        "Initialize",
        "CreateObject",
        "OpenA",
    ]
    assert run.calls_of("SaveAsA", "Close", "SetImageQuality") == []
    assert world.names() == ["a.pdf", "p.kelvcp"]


def test_a_minimal_profile_takes_every_default(granted):
    run = run_with(granted, MINIMAL)
    run.assert_clean_end()
    assert made(run) == sequence(granted.documents / "a.pdf")
    assert [call.values for call in run.calls_of("SetInfoEntryA")] == [[b"Producer", b"Kelvara 4"]]


# The two required keys.


@pytest.mark.parametrize(
    "value, quality",
    [
        (0.5, 50),
        (0.999, 99),
        (1.0, 100),
        (1, 100),
        (0, 0),
        (0.29, 29),
        (0.57, 57),
        (0.58, 58),
        (0.0099, 0),
        (-0.019, -1),
        (-0.5, -50),
        (2, 200),
        (True, 100),
        (False, 0),
        (21474834.0, 2147483392),
        (-21474836, -2147483648),
    ],
)
def test_quality_is_scaled_in_single_precision_and_truncated(granted, value, quality):
    run = run_with(granted, {**MINIMAL, "imageQuality": value})
    run.assert_clean_end()
    single = lambda number: struct.unpack("f", struct.pack("f", number))[0]
    assert setting(run, "SetImageQuality") == math.trunc(single(single(float(value)) * 100.0))
    assert setting(run, "SetImageQuality") == quality


@pytest.mark.parametrize("value", ["0.5", b"\x00", [0.5], {"a": 1}, ""])
@pytest.mark.parametrize("key", ["imageQuality", "imageResolution"])
def test_a_required_key_that_is_no_number_is_fatal(granted, key, value):
    assert_fatal(run_with(granted, {**MINIMAL, key: value}), granted)


@pytest.mark.parametrize("key", ["imageQuality", "imageResolution"])
def test_a_missing_required_key_is_fatal(granted, key):
    values = {name: value for name, value in MINIMAL.items() if name != key}
    assert_fatal(run_with(granted, values), granted)


def test_any_entry_makes_both_keys_required(granted):
    assert_fatal(run_with(granted, {"unknownKey": 1}), granted)


def test_keys_are_matched_in_their_case(granted):
    assert_fatal(run_with(granted, {"ImageQuality": 0.5, "imageResolution": 150}), granted)


def test_a_fatal_profile_stops_before_the_second_file(granted):
    granted.make_pdf("b.pdf")
    granted.make_pdf("a.pdf")
    write(granted, plistlib.dumps([{"imageQuality": 1}]))
    run = granted.kelv("a.pdf", "b.pdf", "p.kelvcp")
    run.assert_abnormal_stop()
    assert run.opened == [bytes(granted.documents / "a.pdf")]


def test_a_date_is_no_number(granted):
    write(
        granted,
        xml(
            "<array><dict><key>imageQuality</key><date>2026-11-21T00:00:00Z</date>"
            "<key>imageResolution</key><integer>150</integer></dict></array>"
        ),
    )
    granted.make_pdf("a.pdf")
    assert_fatal(granted.kelv("a.pdf", "p.kelvcp"), granted)


@pytest.mark.parametrize(
    "value",
    [
        "<real>21474836</real>",
        "<real>21474836.48</real>",
        "<real>21474837</real>",
        "<real>-21474840</real>",
        "<real>1e30</real>",
        "<real>1e999</real>",
        "<real>nan</real>",
        "<real>inf</real>",
        "<real>-infinity</real>",
        "<integer>18446744073709551615</integer>",
        "<integer>-9223372036854775808</integer>",
    ],
)
def test_a_quality_that_is_not_finite_or_out_of_range_is_fatal(granted, value):
    assert_fatal(with_xml(granted, "imageQuality", value), granted)


@pytest.mark.parametrize(
    "value, expected",
    [
        (150, 150.0),
        (72.5, 72.5),
        (0, 0.0),
        (-10, -10.0),
        (True, 1.0),
        (0.1, struct.unpack("f", struct.pack("f", 0.1))[0]),
        (16777217, 16777216.0),
        (1e10, 1e10),
    ],
)
def test_resolution_goes_unchanged_to_all_eight_settings(granted, value, expected):
    run = run_with(granted, {**MINIMAL, "imageResolution": value})
    run.assert_clean_end()
    assert [call.name for call in run.calls if call.name.endswith("DPI")][:8] == RESOLUTIONS
    for name in RESOLUTIONS:
        # The record holds the shortest text that reads back as the same 32-bit float.
        assert struct.pack("f", setting(run, name)) == struct.pack("f", expected)


@pytest.mark.parametrize("value, expected", [("<real>nan</real>", "nan"), ("<real>inf</real>", "inf"), ("<real>1e39</real>", "inf")])
def test_a_resolution_need_not_be_finite(granted, value, expected):
    run = with_xml(granted, "imageResolution", value)
    run.assert_clean_end()
    assert {str(setting(run, name)) for name in RESOLUTIONS} == {expected}


# Integers.

INTEGER_CASES = [
    ("<integer>0</integer>", 0),
    ("<integer>1</integer>", 1),
    ("<integer>7</integer>", 7),
    ("<integer>2147483647</integer>", 2147483647),
    ("<real>1.0</real>", 1),
    ("<real>0.0</real>", 0),
    ("<real>3.0</real>", 3),
    ("<true/>", 1),
    ("<false/>", 0),
    # Not usable, so the default stands:
    ("<real>2.5</real>", None),
    ("<real>0.999</real>", None),
    ("<real>nan</real>", None),
    ("<real>1e10</real>", None),
    ("<integer>2147483648000</integer>", None),
    ("<string>0</string>", None),
    ("<string>1</string>", None),
    ("<data>AA==</data>", None),
    ("<array/>", None),
    ("<dict/>", None),
    ("<date>2026-11-21T00:00:00Z</date>", None),
]


@pytest.mark.parametrize("name, key, default", SWITCHES)
@pytest.mark.parametrize("text, value", INTEGER_CASES + [("<integer>-2147483648</integer>", -2147483648), ("<integer>-1</integer>", -1), ("<integer>2147483648</integer>", None), ("<integer>-2147483649</integer>", None)])
def test_switches_convert_exactly_or_take_their_default(granted, name, key, default, text, value):
    run = with_xml(granted, key, text)
    expected = default if value is None else value
    assert made(run) == sequence(granted.documents / "a.pdf", switches={key: expected})
    assert run.calls_of(name)[0].arguments == [("int", expected)]


@pytest.mark.parametrize(
    "text, value",
    INTEGER_CASES
    + [
        ("<integer>4294967295</integer>", 4294967295),
        ("<integer>2147483648</integer>", 2147483648),
        ("<integer>4294967296</integer>", None),
        ("<integer>-1</integer>", None),
        ("<real>-1.0</real>", None),
    ],
)
def test_color_conversion_is_unsigned(granted, text, value):
    run = with_xml(granted, "colorConversion", text)
    assert made(run) == sequence(granted.documents / "a.pdf", color_conversion=value or 0)


# Flags.

FLAG_CASES = [
    ("<true/>", True),
    ("<false/>", False),
    ("<integer>1</integer>", True),
    ("<integer>0</integer>", False),
    ("<real>1.0</real>", True),
    ("<real>0.0</real>", False),
    # Not usable:
    ("<integer>2</integer>", None),
    ("<integer>-1</integer>", None),
    ("<real>0.5</real>", None),
    ("<string>YES</string>", None),
    ("<string>1</string>", None),
    ("<data>AQ==</data>", None),
    ("<array/>", None),
]


@pytest.mark.parametrize("text, value", FLAG_CASES)
@pytest.mark.parametrize("key", ["stripThreads", "stripPieceInfo", "stripAlternateImages", "stripTheDocumentOutputIntents"])
def test_strip_flags_read_from_flags_and_from_zero_and_one(granted, key, text, value):
    run = with_xml(granted, key, text)
    default_on = key in ("stripPieceInfo", "stripAlternateImages")
    on = default_on if value is None else value
    mask = (0x44 & ~STRIP_BITS[key]) | (STRIP_BITS[key] if on else 0)
    assert setting(run, "SetStrip") == mask


@pytest.mark.parametrize("key", STRIP_BITS)
def test_every_strip_bit_alone(granted, key):
    off = {name: False for name in STRIP_BITS}
    run = run_with(granted, {**MINIMAL, **off, key: True})
    assert run.calls_of("SetStrip")[0].arguments == [("unsigned", STRIP_BITS[key])]


@pytest.mark.parametrize("key", STRIP_BITS)
def test_every_strip_bit_missing_from_all(granted, key):
    on = {name: True for name in STRIP_BITS}
    run = run_with(granted, {**MINIMAL, **on, key: False})
    assert setting(run, "SetStrip") == 0x7FF & ~STRIP_BITS[key]


def test_all_strip_bits_together_and_none(granted):
    assert setting(run_with(granted, {**MINIMAL, **{name: True for name in STRIP_BITS}}), "SetStrip") == 0x7FF
    assert setting(run_with(granted, {**MINIMAL, **{name: False for name in STRIP_BITS}}), "SetStrip") == 0


def test_the_strip_mask_without_any_key(granted):
    assert setting(run_with(granted, MINIMAL), "SetStrip") == 68


@pytest.mark.parametrize("text, value", FLAG_CASES)
def test_images_are_removed_only_by_a_true_flag(granted, text, value):
    run = with_xml(granted, "removeAllImages", text)
    assert made(run) == sequence(granted.documents / "a.pdf", remove_images=value is True)


@pytest.mark.parametrize("text, value", FLAG_CASES)
def test_information_is_replaced_only_by_a_true_flag(granted, text, value):
    run = with_xml(granted, "removeAuthor", text)
    entries = [info("Author", "")] if value else []
    assert made(run) == sequence(granted.documents / "a.pdf", entries=[*entries, PRODUCER])


# Texts.


@pytest.mark.parametrize("value", [5, True, b"x", ["a"], {"a": "b"}, 1.5])
def test_a_custom_text_that_is_no_text_clears_the_entry(granted, value):
    run = run_with(granted, {**MINIMAL, "removeTitle": True, "customTitle": value})
    assert made(run) == sequence(granted.documents / "a.pdf", entries=[info("Title", ""), PRODUCER])


@pytest.mark.parametrize("value", [5, True, b"x", ["a"], "", None])
def test_a_custom_producer_that_is_no_text_or_empty_is_a_dash(granted, value):
    values = {**MINIMAL, "removeProducer": True}
    if value is not None:
        values["customProducer"] = value
    run = run_with(granted, values)
    assert made(run) == sequence(granted.documents / "a.pdf", entries=[info("Producer", "-")])


def test_an_unknown_key_has_no_effect(granted):
    run = run_with(granted, {**MINIMAL, "unknown": 1, "ClipImages": 0, "clipimages": 0, "name": "My profile"})
    assert made(run) == sequence(granted.documents / "a.pdf")
