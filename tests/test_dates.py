"""The document's dates and the dates of the output file."""

import calendar
import os
import subprocess
import time

import pytest

import messages
from profiles import run_with
from sequence import MINIMAL, PRODUCER, info, made, sequence
from world import tool

BOTH = "updateModificationAndCreationDate"
MODIFICATION = "updateModificationDate"


def at(text):
    """Seconds since 1970 of a time in UTC."""
    return calendar.timegm(time.strptime(text, "%Y-%m-%d %H:%M:%S"))


def creation_date_text(world, *, clock, zone, language="C"):
    run = run_with(
        world,
        {**MINIMAL, BOTH: True, MODIFICATION: True},
        clock=clock,
        environment={"TZ": zone, "LANG": language, "LC_ALL": None},
    )
    run.assert_clean_end()
    entries = [call.values for call in run.calls_of("SetInfoEntryA")]
    assert entries[0] == [b"Producer", b"Kelvara 4"]
    assert entries[1][0] == b"CreationDate"
    assert len(entries) == 2
    return entries[1][1].decode()


# Local time in the zone -> the text.
ZONES = [
    ("UTC", "2026-11-16 15:04:05", "D:20261116030405+00'00'"),
    ("Europe/Berlin", "2026-11-16 14:04:05", "D:20261116030405+01'00'"),
    ("Europe/Berlin", "2026-07-16 13:04:05", "D:20260716030405+02'00'"),
    ("America/Bogota", "2026-11-16 20:04:05", "D:20261116030405+-05'00'"),
    ("America/New_York", "2026-07-16 19:04:05", "D:20260716030405+-04'00'"),
    ("Asia/Kolkata", "2026-11-16 09:34:05", "D:20261116030405+06'30'"),
    ("Australia/Darwin", "2026-11-16 05:34:05", "D:20261116030405+10'30'"),
    ("America/St_Johns", "2026-11-16 18:34:05", "D:20261116030405+-04'30'"),
    ("America/St_Johns", "2026-07-16 17:34:05", "D:20260716030405+-02'30'"),
    ("Pacific/Chatham", "2026-07-16 02:19:05", "D:20260716030405+13'45'"),
    ("Pacific/Chatham", "2026-11-16 01:19:05", "D:20261116030405+14'45'"),
    ("Asia/Kathmandu", "2026-11-16 09:19:05", "D:20261116030405+06'45'"),
    ("Australia/Lord_Howe", "2026-07-16 04:34:05", "D:20260716030405+10'30'"),
    ("Pacific/Kiritimati", "2026-11-16 01:04:05", "D:20261116030405+14'00'"),
    ("Etc/GMT+12", "2026-11-17 03:04:05", "D:20261116030405+-12'00'"),
]


@pytest.mark.parametrize("zone, utc, expected", ZONES)
def test_the_zones_offset_is_written_in_hours_and_minutes(granted, zone, utc, expected):
    assert creation_date_text(granted, clock=at(utc), zone=zone) == expected


HOURS = [("00:00:00", "120000"), ("00:59:59", "125959"), ("01:00:00", "010000"), ("11:59:59", "115959"), ("12:00:00", "120000"),
         ("12:34:56", "123456"), ("13:00:00", "010000"), ("23:59:59", "115959")]  # fmt: skip


@pytest.mark.parametrize("hour, digits", HOURS)
def test_hours_count_from_one_to_twelve(granted, hour, digits):
    assert creation_date_text(granted, clock=at(f"2026-11-16 {hour}"), zone="UTC") == f"D:20261116{digits}+00'00'"


# Around new year the year is the one of the week: day -> year in en_US (also C) and in de_DE.
NEW_YEAR = [
    ("2024-12-28", 2024, 2024),
    ("2024-12-29", 2025, 2024),
    ("2024-12-30", 2025, 2025),
    ("2025-12-28", 2026, 2025),
    ("2025-12-29", 2026, 2026),
    ("2026-12-27", 2027, 2026),
    ("2027-01-01", 2027, 2026),
    ("2027-01-03", 2027, 2026),
    ("2027-01-04", 2027, 2027),
    ("2022-01-01", 2022, 2021),
    ("2022-01-02", 2022, 2021),
]


@pytest.mark.parametrize("day, american, german", NEW_YEAR)
@pytest.mark.parametrize("language", ["C", "POSIX", "C.UTF-8", "en_US.UTF-8", "de_DE.UTF-8", "de_DE"])
def test_the_year_is_the_weeks_by_the_users_locale(granted, day, american, german, language):
    year = german if language.startswith("de") else american
    text = creation_date_text(granted, clock=at(f"{day} 10:00:00"), zone="UTC", language=language)
    assert text == f"D:{year}{day[5:7]}{day[8:]}100000+00'00'"


@pytest.mark.parametrize("language", ["ar_EG.UTF-8", "fa_IR.UTF-8", "th_TH.UTF-8", "ja_JP.UTF-8", "no such locale", ""])
def test_other_locales_keep_the_gregorian_calendar_and_ascii_digits(granted, language):
    text = creation_date_text(granted, clock=at("2026-06-16 15:04:05"), zone="Asia/Kolkata", language=language)
    assert text == "D:20260616083405+06'30'"


@pytest.mark.parametrize("variables", [{"LC_ALL": "de_DE.UTF-8", "LANG": "en_US.UTF-8"}, {"LC_TIME": "de_DE.UTF-8", "LANG": "en_US.UTF-8"}])
def test_the_locale_of_dates_is_found_as_usual(granted, variables):
    run = run_with(
        granted,
        {**MINIMAL, BOTH: True, MODIFICATION: True},
        clock=at("2024-12-29 10:00:00"),
        environment=variables,
    )
    assert run.calls_of("SetInfoEntryA")[1].values[1] == b"D:20241229100000+00'00'"


# Which entries are written.


@pytest.mark.parametrize(
    "values",
    [
        {},
        {BOTH: True},
        {MODIFICATION: True},
        {MODIFICATION: False},
        {BOTH: True, MODIFICATION: "YES"},
        {BOTH: 2, MODIFICATION: True},
        {BOTH: "1", MODIFICATION: False},
    ],
)
def test_unless_both_flags_are_usable_nothing_is_touched(granted, values):
    path = granted.make_pdf("a.pdf")
    os.utime(path, (1_000_000_000, 1_000_000_000))
    before = time.time()
    run = run_with(granted, {**MINIMAL, **values})
    assert made(run) == sequence(path)
    assert (granted.documents / "a 2.pdf").stat().st_mtime >= before - 1


def test_both_dates_now_writes_only_the_creation_date(granted):
    run = run_with(granted, {**MINIMAL, BOTH: True, MODIFICATION: False}, clock=at("2026-11-16 15:04:05"))
    assert made(run) == sequence(
        granted.documents / "a.pdf", entries=[PRODUCER, info("CreationDate", "D:20261116030405+00'00'")]
    )
    assert "GetInfoEntryA" not in run.names


@pytest.mark.parametrize("value", ["D:20200101000000Z", "no date at all", "", b"\xff\xfe"])
def test_with_both_flags_false_the_modification_date_is_written_back(granted, value):
    granted.engine(info={"ModDate": value})
    run = run_with(granted, {**MINIMAL, BOTH: False, MODIFICATION: False})
    calls = made(run)
    position = calls.index(("GetInfoEntryA", ("text", b"ModDate")))
    assert calls[position - 1] == PRODUCER
    assert calls[position + 1] == info("ModDate", value)
    del calls[position]
    assert calls == sequence(granted.documents / "a.pdf", entries=[PRODUCER, info("ModDate", value)])


def test_a_document_without_a_modification_date_keeps_none(granted):
    run = run_with(granted, {**MINIMAL, BOTH: False, MODIFICATION: False})
    run.assert_clean_end()
    entries = [call.values for call in run.calls_of("SetInfoEntryA")]
    assert run.names.count("GetInfoEntryA") == 1
    # Either no call or one that sets no date: the document must not gain one.
    assert entries in ([[b"Producer", b"Kelvara 4"]], [[b"Producer", b"Kelvara 4"], [b"ModDate", b""]])


def test_only_a_new_modification_date_writes_nothing(granted):
    granted.engine(info={"ModDate": "D:2020"})
    run = run_with(granted, {**MINIMAL, BOTH: False, MODIFICATION: True})
    assert made(run) == sequence(granted.documents / "a.pdf")


# The dates of the file.


def creation_date(path):
    text = subprocess.run(["stat", "--format=%.W", path], capture_output=True, check=True, text=True).stdout
    return float(text)


OLD = 1_000_000_000


def test_with_both_flags_false_the_files_date_is_the_inputs_creation_date(granted):
    path = granted.make_pdf("a.pdf")
    time.sleep(0.02)
    os.utime(path, (OLD, OLD))
    created = creation_date(path)
    if created == 0:
        pytest.skip("this file system keeps no creation dates")
    time.sleep(1.1)
    run_with(granted, {**MINIMAL, BOTH: False, MODIFICATION: False}).assert_clean_end()
    assert abs((granted.documents / "a 2.pdf").stat().st_mtime - created) < 0.001


@pytest.mark.parametrize("both, modification", [(False, True), (True, False), (True, True)])
def test_otherwise_the_files_date_is_now(granted, both, modification):
    path = granted.make_pdf("a.pdf")
    os.utime(path, (OLD, OLD))
    clock = at("2026-11-16 15:04:05")
    run_with(granted, {**MINIMAL, BOTH: both, MODIFICATION: modification}, clock=clock).assert_clean_end()
    assert (granted.documents / "a 2.pdf").stat().st_mtime == clock


def test_without_a_profile_the_files_date_is_when_it_was_written(granted):
    path = granted.make_pdf("a.pdf")
    os.utime(path, (OLD, OLD))
    before = time.time()
    granted.kelv("a.pdf").assert_clean_end()
    assert (granted.documents / "a 2.pdf").stat().st_mtime >= before - 1


def test_the_dates_of_the_original_never_change(granted):
    path = granted.make_pdf("a.pdf")
    os.utime(path, ns=(OLD * 10**9 + 1, OLD * 10**9 + 123456789))
    run_with(granted, {**MINIMAL, BOTH: True, MODIFICATION: True})
    assert path.stat().st_mtime_ns == OLD * 10**9 + 123456789


def test_dates_are_set_before_the_handle_is_closed_and_a_failure_is_no_failure(granted):
    """The output's dates cannot be set: two lines, and the file still counts as compressed."""
    run = run_with(
        granted,
        {**MINIMAL, BOTH: True, MODIFICATION: True},
        "--verbose",
        before=[tool("strace"), "-f", "-qq", "-o", "/dev/null", "-e", "inject=utimensat,utimes,futimesat,utime:error=EPERM"],
    )
    run.assert_clean_end()
    errors = [line for line in run.text if line.startswith("ERROR")]
    assert len(errors) == 1
    assert errors[0].startswith("ERROR: #5eO9Zfuer - errorMessage: Error Domain=NSCocoaErrorDomain Code=513 ")
    logged = [line for line in run.log if line.startswith(b"ERROR")]
    assert len(logged) == 1
    assert logged[0].startswith(b"ERROR: #65eO9ztfu - Error Domain=NSCocoaErrorDomain Code=513 ")
    assert errors[0].removeprefix("ERROR: #5eO9Zfuer - errorMessage: ") == logged[0].decode().removeprefix("ERROR: #65eO9ztfu - ")
    assert run.names[-2:] == ["Close", "DestroyObject"]
    assert run.text[-1] == messages.FINISHED
    assert "a 2.pdf" in granted.names()


def test_no_dates_are_set_after_a_failed_save(granted):
    granted.engine(save=0, save_message="failed")
    run = run_with(granted, {**MINIMAL, BOTH: True, MODIFICATION: True})
    assert [line for line in run.text if "5eO9Zfuer" in line] == []


def test_a_save_that_left_no_file_reports_its_dates_first(granted):
    granted.engine(output="none")
    run = run_with(granted, {**MINIMAL, BOTH: True, MODIFICATION: True})
    run.assert_clean_end()
    assert run.text[0].startswith("ERROR: #5eO9Zfuer - errorMessage: Error Domain=NSCocoaErrorDomain Code=4 ")
    assert run.text[1].startswith(messages.FINISH_FAILED + "Error Domain=NSCocoaErrorDomain Code=260 ")
    assert run.text[2].startswith(messages.UNABLE)
    assert len(run.text) == 3
