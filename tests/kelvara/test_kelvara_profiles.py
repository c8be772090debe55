"""Ready profiles, and profiles of one's own."""

import plistlib

import pytest

from companion import FAILURE, OK, USAGE, kelvara

READY = ["web", "e-mail", "print", "archive", "minimum"]


def read(world, name):
    return plistlib.loads((world.documents / name).read_bytes(), fmt=plistlib.FMT_XML)


def write(world, name, profiles):
    (world.documents / name).write_bytes(plistlib.dumps(profiles))


def test_the_ready_profiles_are_listed(world):
    assert [line.split()[0] for line in kelvara(world, "profile", "list").lines] == READY
    listed = kelvara(world, "profile", "list", "--json").json
    assert [entry["name"] for entry in listed] == READY
    assert all(entry["summary"] for entry in listed)


@pytest.mark.parametrize("name", READY)
def test_a_ready_profile_is_exported_as_kelv_reads_it(granted, name):
    assert kelvara(granted, "profile", "export", name, "p.kelvcp").out == f"Wrote the profile {name} to p.kelvcp.\n"
    profiles = read(granted, "p.kelvcp")
    assert len(profiles) == 1
    assert {"imageQuality", "imageResolution"} <= profiles[0].keys()
    assert kelvara(granted, "profile", "check", "p.kelvcp").status == OK
    assert kelvara(granted, "profile", "show", "p.kelvcp", "--json").json == profiles[0]
    assert kelvara(granted, "profile", "show", name, "--json").json == profiles[0]
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--profile", "p.kelvcp", "--verbose")
    assert "Using profile first profile found in p.kelvcp." in run.text
    assert run.calls_of("SetProfile")[0].values == [1]
    quality = run.calls_of("SetImageQuality")[0].values[0]
    assert quality == int(profiles[0]["imageQuality"] * 100 + 1e-6)


def test_the_archive_profile_loses_nothing(granted):
    kelvara(granted, "profile", "export", "archive", "p.kelvcp")
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--profile", "p.kelvcp")
    assert run.calls_of("SetImageQuality")[0].values == [100]
    assert run.calls_of("SetColorResolutionDPI")[0].values == [0.0]
    assert run.calls_of("SetStrip")[0].values == [0]
    assert run.calls_of("SetRemoveImages") == []
    for name in ("SetClipImages", "SetReduceColorComplexity", "SetSubsetFonts", "SetConvertToCFF"):
        assert run.calls_of(name)[0].values == [0]


def test_without_a_name_the_web_profile_is_exported_to_every_file(world):
    assert kelvara(world, "profile", "export", "a.kelvcp", "b.kelvcp").status == OK
    assert read(world, "a.kelvcp") == read(world, "b.kelvcp") == [kelvara(world, "profile", "show", "web", "--json").json]


def test_email_is_e_mail(world):
    assert kelvara(world, "profile", "show", "email").out == kelvara(world, "profile", "show", "e-mail").out


def test_an_export_replaces_nothing_unless_forced(world):
    write(world, "p.kelvcp", [{"mine": 1}])
    kelvara(world, "profile", "export", "p.kelvcp").assert_refused(FAILURE, "--force")
    assert read(world, "p.kelvcp") == [{"mine": 1}]
    assert kelvara(world, "profile", "export", "--force", "p.kelvcp").status == OK
    assert "imageQuality" in read(world, "p.kelvcp")[0]
    assert world.names() == ["p.kelvcp"]


@pytest.mark.parametrize(
    "arguments, status, text",
    [
        (["nothing", "p.kelvcp"], FAILURE, "kelvara profile list"),
        (["web"], USAGE, "web.kelvcp"),
        (["web", "plain.txt"], FAILURE, ".kelvcp"),
        (["web", "missing/p.kelvcp"], FAILURE, "written"),
        ([], USAGE, "Usage"),
    ],
)
def test_an_export_that_cannot_be_says_what_to_do(world, arguments, status, text):
    kelvara(world, "profile", "export", *arguments).assert_refused(status, text)
    assert world.names() == []


def test_show_explains_every_key(world):
    lines = kelvara(world, "profile", "show", "web", "--all").lines
    keys = [line for line in lines if line.startswith(("image", "strip", "remove", "custom", "update", "c", "f", "m", "r", "s", "o"))]
    assert len(keys) >= 38
    assert any(line.startswith("stripPieceInfo") and "(by default)" in line for line in keys)


def test_show_names_keys_that_kelv_does_not_know(world):
    write(world, "p.kelvcp", [{"imageQuality": 0.5, "imageResolution": 150, "fancy": [1], "data": b"x", "inner": {}}])
    out = kelvara(world, "profile", "show", "p.kelvcp").out
    assert out.count("(kelv knows no such key)") == 3


def test_show_of_nothing_is_a_failure(world):
    kelvara(world, "profile", "show", "nothing").assert_refused(FAILURE, "kelvara profile list")


def test_a_new_profile_takes_the_keys_that_are_set(world):
    answer = kelvara(
        world, "profile", "new", "mine.kelvcp", "--from", "print", "imageResolution=200", "stripMetadata=yes",
        "colorConversion=3", "clipImages=off", "removeTitle=true", "customTitle=A = B",
    )  # fmt: skip
    assert (answer.status, answer.err) == (OK, "")
    profile = read(world, "mine.kelvcp")[0]
    assert profile["imageResolution"] == 200 and profile["stripMetadata"] is True
    assert profile["colorConversion"] == 3 and profile["clipImages"] == 0
    assert profile["customTitle"] == "A = B"
    assert profile["imageQuality"] == kelvara(world, "profile", "show", "print", "--json").json["imageQuality"]
    kelvara(world, "profile", "new", "mine.kelvcp").assert_refused(FAILURE, "profile edit")


@pytest.mark.parametrize(
    "assignment, text",
    [
        ("imageQuality", "KEY=VALUE"),
        ("imageQualty=0.5", "is imageQuality meant?"),
        ("IMAGERESOLUTION=5", "is imageResolution meant?"),
        ("zzz=1", "There is no key zzz."),
        ("imageQuality=high", "“high”"),
        ("imageQuality=80", "0.8"),
        ("imageQuality=nan", "fraction"),
        ("imageResolution=-1", "dots per inch"),
        ("clipImages=2", "0 or 1"),
        ("colorConversion=4", "from 0 to 3"),
        ("colorConversion=-1", "0 to 3"),
        ("stripMetadata=maybe", "true or false"),
    ],
)
def test_a_wrong_assignment_is_refused(world, assignment, text):
    kelvara(world, "profile", "new", "mine.kelvcp", assignment).assert_refused(FAILURE, text)
    assert world.names() == []


def test_new_refuses_what_kelv_would_not_find(world):
    kelvara(world, "profile", "new", "mine.txt").assert_refused(FAILURE, ".kelvcp")
    kelvara(world, "profile", "new", "mine.kelvcp", "--from", "nothing").assert_refused(FAILURE, "profile list")


def test_edit_changes_only_what_is_named(world):
    others = {"imageQuality": 0.5, "imageResolution": 100, "unknown": [1, 2.5, b"x"], "removeAuthor": True}
    write(world, "p.kelvcp", [others, {"second": "kept"}])
    answer = kelvara(world, "profile", "edit", "p.kelvcp", "imageQuality=0.25", "--unset", "removeAuthor")
    assert (answer.status, answer.err) == (OK, "")
    changed = {**others, "imageQuality": 0.25}
    del changed["removeAuthor"]
    assert read(world, "p.kelvcp") == [changed, {"second": "kept"}]
    assert world.names() == ["p.kelvcp"]


def test_edit_refuses_what_it_cannot_do(world):
    write(world, "p.kelvcp", [{"imageQuality": 0.5, "imageResolution": 100}])
    kelvara(world, "profile", "edit", "p.kelvcp").assert_refused(USAGE, "nothing to change")
    kelvara(world, "profile", "edit", "p.kelvcp", "--unset", "imageQuality").assert_refused(FAILURE, "stops without it")
    kelvara(world, "profile", "edit", "p.kelvcp", "--unset", "clipImages").assert_refused(FAILURE, "no key clipImages")
    kelvara(world, "profile", "edit", "none.kelvcp", "clipImages=1").assert_refused(FAILURE, "profile new")
    assert read(world, "p.kelvcp") == [{"imageQuality": 0.5, "imageResolution": 100}]


GOOD = {"imageQuality": 0.5, "imageResolution": 150}


@pytest.mark.parametrize(
    "profiles, status, severity, text",
    [
        ([GOOD], OK, None, ""),
        ([{}], FAILURE, "warning", "empty"),
        ([], FAILURE, "error", "no profile"),
        (GOOD, FAILURE, "error", "not an array"),
        ([GOOD, 1], FAILURE, "error", "something else"),
        ([{"imageResolution": 150}], FAILURE, "error", "imageQuality is missing"),
        ([{**GOOD, "imageQuality": "high"}], FAILURE, "error", 'imageQuality is "high"'),
        ([{**GOOD, "imageQuality": 80}], FAILURE, "error", "0.8"),
        ([{**GOOD, "clipImages": "1"}], FAILURE, "warning", "kelv takes 1"),
        ([{**GOOD, "clipImages": 2.5}], FAILURE, "warning", "clipImages is 2.5"),
        ([{**GOOD, "clipImages": 7}], FAILURE, "warning", "0 or 1"),
        ([{**GOOD, "colorConversion": -1}], FAILURE, "warning", "colorConversion is -1"),
        ([{**GOOD, "stripPieceInfo": "no"}], FAILURE, "warning", "kelv takes true"),
        ([{**GOOD, "customTitle": 5}], FAILURE, "warning", "customTitle is 5"),
        ([{**GOOD, "stripPieceinfo": False}], FAILURE, "warning", "is stripPieceInfo meant?"),
        ([{**GOOD, "customTitle": "T"}], OK, "note", "removeTitle"),
        ([{**GOOD, "updateModificationDate": True}], OK, "note", "updateModificationAndCreationDate"),
        ([{**GOOD, "updateModificationAndCreationDate": True}], OK, "note", "updateModificationDate"),
        ([GOOD, GOOD], OK, "note", "2 profiles"),
    ],
)
def test_check_names_what_kelv_would_not_use(world, profiles, status, severity, text):
    write(world, "p.kelvcp", profiles)
    answer = kelvara(world, "profile", "check", "p.kelvcp")
    assert answer.status == status, answer.out
    if severity is None:
        assert answer.lines == ["p.kelvcp: kelv can use every key of this profile."]
        assert kelvara(world, "profile", "check", "p.kelvcp", "--json").json == []
    else:
        assert any(line.startswith(f"p.kelvcp: {severity}: ") and text in line for line in answer.lines), answer.out


def test_check_names_a_file_that_is_no_property_list(world):
    (world.documents / "p.kelvcp").write_bytes(b"\x00\x01")
    assert "error" in kelvara(world, "profile", "check", "p.kelvcp").out
    assert "error" in kelvara(world, "profile", "check", "missing.kelvcp").out


def test_check_names_a_file_that_kelv_would_not_find(world):
    write(world, "p.plist", [GOOD])
    answer = kelvara(world, "profile", "check", "p.plist")
    assert answer.status == FAILURE
    assert "“.kelvcp”" in answer.out


def test_columns_stand_below_each_other(world):
    lines = kelvara(world, "profile", "show", "web", "--all").lines
    rows = [line for line in lines if line.startswith(("strip", "remove", "image", "custom"))]
    assert len(rows) > 20
    second = rows[0].index("0.75")
    third = rows[0].index("quality of")
    for row in rows:
        assert row[second - 2 : second] == "  " and row[second] != " ", row
        assert row[third - 2 : third] == "  " and row[third] != " ", row
