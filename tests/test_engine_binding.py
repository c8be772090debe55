"""The engine's lifecycle and the calls that one file leads to."""

import os
import re

import pytest

import messages
from profiles import run_with, write_profile
from sequence import FIXED, MINIMAL, PRODUCER, STRIP_BITS, SWITCHES, info, made, sequence

EVERY_KEY = {
    "imageQuality": 0.73,
    "imageResolution": 96.5,
    "colorConversion": 3,
    **{key: 1 - default for _, key, default in SWITCHES},
    **{key: True for key in STRIP_BITS},
    "stripPieceInfo": False,
    "removeAllImages": True,
    "removeAuthor": True,
    "customAuthor": "An Author",
    "removeSubject": True,
    "customSubject": "Ein Thema: ümläut",
    "removeTitle": True,
    "customTitle": "Titel",
    "removeKeywords": True,
    "customKeywords": "one, two",
    "removeCreator": True,
    "customCreator": "creator",
    "removeProducer": True,
    "customProducer": "producer",
    "updateModificationAndCreationDate": False,
    "updateModificationDate": True,
}


def test_no_profile_makes_exactly_these_calls(granted):
    path = granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf")
    run.assert_clean_end()
    assert run.names == ["Initialize", "CreateObject", "OpenA", "SetProfile", "SaveAsA", "Close", "DestroyObject"]
    assert made(run) == sequence(path, profile=False)


def test_an_empty_profile_makes_the_same_calls(granted):
    run = run_with(granted, {})
    assert run.names == ["Initialize", "CreateObject", "OpenA", "SetProfile", "SaveAsA", "Close", "DestroyObject"]
    assert made(run) == sequence(granted.documents / "a.pdf", profile=False)


def test_a_minimal_profile_makes_exactly_these_calls(granted):
    run = run_with(granted, MINIMAL)
    assert run.names == [
        "Initialize",
        "CreateObject",
        "OpenA",
        "SetProfile",
        "SetColorConversion",
        "SetBitonalResolutionDPI",
        "SetBitonalThresholdDPI",
        "SetMonochromeResolutionDPI",
        "SetMonochromeThresholdDPI",
        "SetColorResolutionDPI",
        "SetColorThresholdDPI",
        "SetResolutionDPI",
        "SetThresholdDPI",
        "SetImageQuality",
        "SetClipImages",
        "SetReduceColorComplexity",
        "SetForceRecompression",
        "SetConvertToCFF",
        "SetMergeEmbeddedFonts",
        "SetRemoveStandardFonts",
        "SetSubsetFonts",
        "SetOptimizeResources",
        "SetRemoveRedundantObjects",
        "SetBitonalCompressions",
        "SetContinuousCompressions",
        "SetIndexedCompressions",
        "SetForceCompressionTypes",
        "SetDitheringMode",
        "SetMrcLayerCompression",
        "SetMrcLayerResolutionDPI",
        "SetMrcMaskCompression",
        "SetMrcLayerQuality",
        "SetMrcRecognizePictures",
        "SetMrcPictCompression",
        "SetAutoLinearize",
        "SetInfoEntryA",
        "SetStrip",
        "SaveAsA",
        "Close",
        "DestroyObject",
    ]
    assert made(run) == sequence(granted.documents / "a.pdf")


def test_a_profile_with_every_key_makes_exactly_these_calls(granted):
    run = run_with(granted, EVERY_KEY)
    run.assert_clean_end()
    assert made(run) == sequence(
        granted.documents / "a.pdf",
        quality=73,
        resolution=96.5,
        color_conversion=3,
        switches={key: 1 - default for _, key, default in SWITCHES},
        entries=[
            info("Author", "An Author"),
            info("Subject", "Ein Thema: ümläut"),
            info("Title", "Titel"),
            info("Keywords", "one, two"),
            info("Creator", "creator"),
            info("Producer", "producer"),
        ],
        strip=0x7FB,
        remove_images=True,
    )


def test_the_fixed_settings_are_the_same_for_every_profile(granted):
    names = [name for name, _ in FIXED]
    for values in (MINIMAL, EVERY_KEY):
        run = run_with(granted, values)
        assert [(call.name, call.arguments[0]) for call in run.calls_of(*names)] == FIXED


def test_the_engine_is_initialised_once_for_many_files(granted):
    for name in "abc":
        granted.make_pdf(f"{name}.pdf")
    run = granted.kelv("a.pdf", "b.pdf", "c.pdf")
    assert run.names.count("Initialize") == 1
    assert run.names[0] == "Initialize"
    assert "UnInitialize" not in run.names


def test_every_file_has_its_own_handle_that_is_closed_and_destroyed_once(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    run = granted.kelv("a.pdf", "b.pdf")
    assert [(call.name, call.handle) for call in run.calls_of("CreateObject", "Close", "DestroyObject")] == [
        ("CreateObject", 1),
        ("Close", 1),
        ("DestroyObject", 1),
        ("CreateObject", 2),
        ("Close", 2),
        ("DestroyObject", 2),
    ]
    assert made(run, 1) == sequence(granted.documents / "a.pdf", profile=False)
    assert made(run, 2) == sequence(granted.documents / "b.pdf", profile=False)


def test_everything_runs_on_the_main_thread(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    run = granted.kelv("a.pdf", "b.pdf")
    assert len({call.thread for call in run.calls}) == 1


def test_failing_initialisation_is_not_noticed(granted):
    granted.engine(initialize=0)
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf")
    run.assert_clean_end()
    assert granted.names() == ["a 2.pdf", "a.pdf"]


def test_a_handle_that_cannot_be_made_surfaces_as_a_failed_open(granted):
    granted.engine(create=0)
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf")
    run.assert_clean_end()
    assert run.names == ["Initialize", "CreateObject", "OpenA", "GetErrorMessageA"]
    assert run.text == [
        f"ERROR: # sdfgWWe :) - error: no handle -  uncompressedFilePath: {granted.documents}/a.pdf",
        messages.UNABLE + "no handle",
    ]


# Open.


def test_a_failed_open_with_a_message_prints_logs_and_leaves_the_handle(granted):
    granted.engine(open=0, open_message="The file is broken")
    path = granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--verbose")
    run.assert_clean_end()
    assert run.names == ["Initialize", "CreateObject", "OpenA", "GetErrorMessageA"]
    assert run.text == [
        messages.HYPHENS,
        messages.starting(1, 1),
        f"ERROR: # sdfgWWe :) - error: The file is broken -  uncompressedFilePath: {path}",
        "ERROR: Unable to complete compression via comamnd line tool. The file is broken",
    ]
    assert run.log == [
        b"4 batchCompress",
        b"5 batchCompress",
        f"ERROR: # sdfgWWe :( - error: The file is broken - uncompressedFilePath: {path}".encode(),
        b"6 batchCompress",
    ]
    assert granted.names() == ["a.pdf"]


def test_a_failed_open_without_a_message_goes_on(granted):
    granted.engine(open=0)
    path = granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--verbose")
    run.assert_clean_end()
    calls = [call for call in made(run) if call[0] != "GetErrorMessageA"]
    assert calls == sequence(path, profile=False)
    assert run.names.count("GetErrorMessageA") == 1
    assert run.text == [*messages.kept(1, 1, "a.pdf", granted.documents / "a 2.pdf"), messages.FINISHED]


@pytest.mark.parametrize("result", [-1, 2, 255])
def test_any_result_but_zero_is_success(granted, result):
    granted.engine(open=result, open_message="not asked for", save=result, save_message="not asked for")
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf")
    assert run.lines == []
    assert "GetErrorMessageA" not in run.names


@pytest.mark.parametrize("message", [b"100%25 %s %n %@", b"\xff\xfe\x80 bytes", b"", "„Fehler“".encode(), b"x" * 5000])
def test_an_engine_message_is_printed_as_it_is(granted, message):
    granted.engine(open=0, open_message=message)
    path = granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf")
    assert run.lines == [
        b"ERROR: # sdfgWWe :) - error: " + message + b" -  uncompressedFilePath: " + bytes(path),
        messages.UNABLE.encode() + message,
    ]


def test_an_engine_message_of_several_lines_is_printed_as_it_is(granted):
    granted.engine(open=0, open_message=b"one\ntwo")
    path = granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf")
    assert run.stdout == (
        b"ERROR: # sdfgWWe :) - error: one\ntwo -  uncompressedFilePath: " + bytes(path) + b"\n" + messages.UNABLE.encode() + b"one\ntwo\n"
    )


# Save.


@pytest.mark.parametrize("profile", [None, MINIMAL])
def test_a_failed_save_with_a_message_prints_logs_and_leaves_the_handle(granted, profile):
    granted.engine(save=0, save_message="No space 100%")
    granted.make_pdf("a.pdf")
    run = run_with(granted, profile) if profile else granted.kelv("a.pdf")
    run.assert_clean_end()
    assert run.names[-2:] == ["SaveAsA", "GetErrorMessageA"]
    assert "Close" not in run.names and "DestroyObject" not in run.names
    assert run.text == ["ERROR: # 4ifmeee - errorMessage: No space 100%", messages.UNABLE + "No space 100%"]
    assert run.log[2] == b"ERROR: # 4ifmeee - errorMessage: No space 100%"
    assert [name for name in granted.names() if name != "p.kelvcp"] == ["a.pdf"]


def test_a_failed_save_without_a_message_counts_as_compressed(granted):
    granted.engine(save=0)
    path = granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--verbose")
    run.assert_clean_end()
    calls = [call for call in made(run) if call[0] != "GetErrorMessageA"]
    assert calls == sequence(path, profile=False)
    assert run.text == [*messages.kept(1, 1, "a.pdf", granted.documents / "a 2.pdf"), messages.FINISHED]


def test_an_open_file_may_be_followed_by_others(granted):
    granted.engine(input="a.pdf", open=0, open_message="broken")
    granted.engine(input="b.pdf", save=0, save_message="full")
    for name in "abc":
        granted.make_pdf(f"{name}.pdf")
    run = granted.kelv("a.pdf", "b.pdf", "c.pdf")
    run.assert_clean_end()
    assert [(call.name, call.handle) for call in run.calls_of("Close", "DestroyObject")] == [("Close", 3), ("DestroyObject", 3)]
    assert granted.names() == ["a.pdf", "b.pdf", "c 2.pdf", "c.pdf"]


def test_the_default_profile_is_announced_only_when_verbose(granted):
    granted.make_pdf("a.pdf")
    assert messages.DEFAULT_PROFILE in granted.kelv("a.pdf", "--verbose").text
    assert granted.kelv("a.pdf").lines == []
    write_profile(granted, MINIMAL)
    assert messages.DEFAULT_PROFILE not in granted.kelv("a.pdf", "--verbose", "p.kelvcp").text


def test_the_result_is_saved_under_a_fresh_name_in_the_temporary_folder(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    run = granted.kelv("a.pdf", "b.pdf")
    paths = [os.fsdecode(call.values[0]) for call in run.calls_of("SaveAsA")]
    uuid = "[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}"
    for path in paths:
        assert re.fullmatch(re.escape(f"{granted.temporary}/") + uuid + r"\.pdf", path)
    assert len(set(paths)) == 2


# Information.

ENTRIES = ["Author", "Subject", "Title", "Keywords", "Creator"]


@pytest.mark.parametrize("entry", ENTRIES)
def test_one_entry_is_replaced_by_its_custom_text(granted, entry):
    run = run_with(granted, {**MINIMAL, f"remove{entry}": True, f"custom{entry}": "ümläut 日本 🦆"})
    assert made(run) == sequence(granted.documents / "a.pdf", entries=[info(entry, "ümläut 日本 🦆"), PRODUCER])


@pytest.mark.parametrize("entry", ENTRIES)
def test_one_entry_without_a_custom_text_is_cleared(granted, entry):
    run = run_with(granted, {**MINIMAL, f"remove{entry}": True})
    assert made(run) == sequence(granted.documents / "a.pdf", entries=[info(entry, ""), PRODUCER])


@pytest.mark.parametrize("entry", ENTRIES)
@pytest.mark.parametrize("flag", [False, None])
def test_a_custom_text_alone_leaves_the_entry_untouched(granted, entry, flag):
    values = {**MINIMAL, f"custom{entry}": "text"}
    if flag is not None:
        values[f"remove{entry}"] = flag
    run = run_with(granted, values)
    assert made(run) == sequence(granted.documents / "a.pdf")


def test_entries_are_written_in_their_order(granted):
    values = {f"remove{entry}": True for entry in reversed([*ENTRIES, "Producer"])}
    run = run_with(granted, {**MINIMAL, **values})
    assert [call.values for call in run.calls_of("SetInfoEntryA")] == [
        [b"Author", b""],
        [b"Subject", b""],
        [b"Title", b""],
        [b"Keywords", b""],
        [b"Creator", b""],
        [b"Producer", b"-"],
    ]


def test_a_custom_producer_is_written(granted):
    run = run_with(granted, {**MINIMAL, "removeProducer": True, "customProducer": "Mine"})
    assert made(run) == sequence(granted.documents / "a.pdf", entries=[info("Producer", "Mine")])


@pytest.mark.parametrize("values", [{}, {"removeProducer": False, "customProducer": "Mine"}, {"removeProducer": "YES"}])
def test_the_producer_is_stamped_otherwise(granted, values):
    run = run_with(granted, {**MINIMAL, **values})
    assert made(run) == sequence(granted.documents / "a.pdf")
