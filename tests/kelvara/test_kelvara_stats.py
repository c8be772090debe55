"""The totals, their history and their picture."""

import plistlib
import xml.etree.ElementTree as ElementTree

import pytest

from companion import FAILURE, OK, kelvara
from world import COMPRESSED_TOTAL, ORIGINAL_TOTAL


def set_totals(world, original, compressed):
    world.write_suite(**{ORIGINAL_TOTAL: original, COMPRESSED_TOTAL: compressed})


def test_nothing_compressed_yet(world):
    answer = kelvara(world, "stats")
    assert (answer.status, answer.err) == (OK, "")
    assert answer.out == "Nothing has been compressed yet. Begin with: kelv FILE.pdf\n"
    assert kelvara(world, "stats", "--json").json == {
        "originalSize": 0, "compressedSize": 0, "savedSize": 0, "savedShare": 0,
    }  # fmt: skip


def test_the_totals_of_kelv(granted):
    for name in "abc":
        granted.make_pdf(f"{name}.pdf", 1000)
    granted.kelv("a.pdf", "b.pdf", "c.pdf")
    assert kelvara(granted, "stats").out == "Before  3.0 kB\nAfter   1.5 kB\nSaved   1.5 kB (50.0 %)\n"
    assert kelvara(granted, "stats", "--json").json == {
        "originalSize": 3000, "compressedSize": 1500, "savedSize": 1500, "savedShare": 0.5,
    }  # fmt: skip


@pytest.mark.parametrize(
    "original, compressed, before, after, saved",
    [
        (1, 0, "1 byte", "0 bytes", "1 byte (100.0 %)"),
        (999, 998, "999 bytes", "998 bytes", "1 byte (0.1 %)"),
        (999_950, 1000, "1.0 MB", "1.0 kB", "999.0 kB (99.9 %)"),
        (1_234_567_890, 234_567_890, "1.2 GB", "234.6 MB", "1.0 GB (81.0 %)"),
        (2**63 - 1, 1, "9.2 EB", "1 byte", "9.2 EB (100.0 %)"),
        (0, 10, "0 bytes", "10 bytes", "-10 bytes (0.0 %)"),
        (-(2**63), 2**63 - 1, "-9.2 EB", "9.2 EB", "-18.4 EB (200.0 %)"),
    ],
)
def test_sizes_are_readable(world, original, compressed, before, after, saved):
    set_totals(world, original, compressed)
    assert kelvara(world, "stats").lines == [f"Before  {before}", f"After   {after}", f"Saved   {saved}"]


def test_the_history_grows_when_the_totals_do(world):
    for totals in [(1000, 400), (1000, 400), (3000, 1000)]:
        set_totals(world, *totals)
        kelvara(world, "stats")
    history = kelvara(world, "stats", "--history", "--json").json["history"]
    assert [(entry["originalSize"], entry["savedSize"]) for entry in history] == [(1000, 600), (3000, 2000)]
    assert history[0]["time"] <= history[1]["time"]


def test_the_history_is_shown_day_by_day(world):
    points = [(1700000000, 1000, 500), (1700000100, 2000, 1000), (1700090000, 9000, 4000)]
    path = world.plist_path("kelvara")
    path.parent.mkdir(parents=True)
    entries = [{"Time": time, "OriginalSize": original, "CompressedSize": after} for time, original, after in points]
    path.write_bytes(plistlib.dumps({"StatisticsHistory": entries}))
    set_totals(world, 9000, 4000)
    lines = kelvara(world, "stats", "--history").lines
    assert lines[4:] == ["2023-11-14      1.0 kB  ████████", "2023-11-15      5.0 kB  " + "█" * 40]


def test_a_damaged_history_is_taken_as_far_as_it_goes(world):
    path = world.plist_path("kelvara")
    path.parent.mkdir(parents=True)
    good = {"Time": 1, "OriginalSize": 10, "CompressedSize": 5}
    path.write_bytes(plistlib.dumps({"StatisticsHistory": [1, {"Time": 5}, good, {"Time": "x"}], "Other": 1}))
    set_totals(world, 10, 5)
    assert len(kelvara(world, "stats", "--history", "--json").json["history"]) == 1
    set_totals(world, 20, 5)
    kelvara(world, "stats")
    assert plistlib.loads(path.read_bytes())["Other"] == 1


def test_a_long_history_is_thinned(world):
    path = world.plist_path("kelvara")
    path.parent.mkdir(parents=True)
    entries = [{"Time": second, "OriginalSize": second + 1, "CompressedSize": 0} for second in range(2000)]
    path.write_bytes(plistlib.dumps({"StatisticsHistory": entries}))
    set_totals(world, 5000, 0)
    history = kelvara(world, "stats", "--history", "--json").json["history"]
    assert 1400 < len(history) < 1600
    assert history[0]["time"] == 0 and history[-1]["originalSize"] == 5000


def test_an_unreadable_history_does_not_hide_the_totals(world):
    path = world.plist_path("kelvara")
    path.parent.mkdir(parents=True)
    path.write_bytes(b"\x00")
    set_totals(world, 10, 5)
    answer = kelvara(world, "stats")
    assert answer.status == OK
    assert answer.lines[0] == "Before  10 bytes"
    assert "history" in answer.err
    assert path.read_bytes() == b"\x00"


def test_the_plot_is_a_picture(world):
    for totals in [(1000, 400), (3000, 1000)]:
        set_totals(world, *totals)
        assert kelvara(world, "stats", "--plot", "saved.svg").status == OK
    root = ElementTree.parse(world.documents / "saved.svg").getroot()
    assert root.tag == "{http://www.w3.org/2000/svg}svg"
    assert "2.0 kB" in [text.text for text in root.iter("{http://www.w3.org/2000/svg}text")]
    assert world.names() == ["saved.svg"]


def test_a_plot_of_nothing_is_a_picture_too(world):
    assert kelvara(world, "stats", "--plot=saved.svg").status == OK
    ElementTree.parse(world.documents / "saved.svg")


def test_a_plot_that_cannot_be_written_is_a_failure(world):
    kelvara(world, "stats", "--plot", "missing/saved.svg").assert_refused(FAILURE, "missing/saved.svg")


def test_asking_leaves_the_shared_preferences_alone(world):
    set_totals(world, 10, 5)
    before = world.suite_path.read_bytes()
    kelvara(world, "stats", "--history")
    assert world.suite_path.read_bytes() == before
