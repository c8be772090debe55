"""The totals that the tool shares with the companion."""

import plistlib
import subprocess

import pytest

from world import COMPRESSED_TOTAL, ORIGINAL_TOTAL


def totals(world):
    suite = world.read_suite()
    return suite.get(ORIGINAL_TOTAL), suite.get(COMPRESSED_TOTAL)


def test_the_first_file_stores_exactly_its_two_sizes(granted):
    granted.make_pdf("a.pdf", 1001)
    granted.kelv("a.pdf").assert_clean_end()
    assert totals(granted) == (1001, 500)


def test_every_smaller_file_is_added(granted):
    granted.write_suite(**{ORIGINAL_TOTAL: 10, COMPRESSED_TOTAL: 4})
    for name, size in (("a", 1000), ("b", 2000), ("c", 3000)):
        granted.make_pdf(f"{name}.pdf", size)
    granted.kelv("a.pdf", "b.pdf", "c.pdf").assert_clean_end()
    assert totals(granted) == (6010, 3004)


@pytest.mark.parametrize("output", [1000, 1001, 50000])
def test_a_file_that_did_not_get_smaller_is_not_counted(granted, output):
    granted.write_suite(**{ORIGINAL_TOTAL: 10, COMPRESSED_TOTAL: 4})
    before = granted.suite_path.read_bytes()
    granted.make_pdf("a.pdf", 1000)
    granted.engine(output=output)
    granted.kelv("a.pdf").assert_clean_end()
    assert granted.suite_path.read_bytes() == before


def test_a_file_that_only_got_larger_makes_no_totals(granted):
    granted.make_pdf("a.pdf", 1000)
    granted.engine(output=2000)
    granted.kelv("a.pdf").assert_clean_end()
    assert totals(granted) == (None, None)


def test_one_byte_less_is_counted(granted):
    granted.make_pdf("a.pdf", 1000)
    granted.engine(output=999)
    granted.kelv("a.pdf").assert_clean_end()
    assert totals(granted) == (1000, 999)


def test_a_failed_file_is_not_counted(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    granted.engine(input="a.pdf", open=0, open_message="no")
    granted.kelv("a.pdf", "b.pdf").assert_clean_end()
    assert totals(granted) == (1000, 500)


def test_a_file_is_counted_even_when_it_cannot_be_moved(granted):
    # The totals grow before the result is put in place.
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "missing/x.pdf")
    assert run.text[0].startswith("ERROR: qefinuNDS - ")
    assert totals(granted) == (1000, 500)


@pytest.mark.parametrize(
    "stored, read",
    [("12", 12), ("12abc", 12), ("abc", 0), (2.9, 2), (-2.9, -2), (True, 1), (b"12", 0), ([12], 0), (-5, -5)],
)
def test_a_stored_total_of_another_type_is_read_as_the_store_reads_it(granted, stored, read):
    granted.write_suite(**{ORIGINAL_TOTAL: stored, COMPRESSED_TOTAL: stored})
    granted.make_pdf("a.pdf")
    granted.kelv("a.pdf").assert_clean_end()
    assert totals(granted) == (read + 1000, read + 500)


@pytest.mark.parametrize(
    "original, compressed", [(2**63 - 1000, 0), (2**63 - 1, 5), (0, 2**63 - 500), (0, 2**63 - 1)]
)
def test_a_sum_that_overflows_is_an_abnormal_stop_that_changes_nothing(granted, original, compressed):
    granted.write_suite(**{ORIGINAL_TOTAL: original, COMPRESSED_TOTAL: compressed})
    before = granted.suite_path.read_bytes()
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf")
    run.assert_abnormal_stop()
    assert granted.suite_path.read_bytes() == before
    assert granted.names() == ["a.pdf"]


def test_the_largest_sum_still_fits(granted):
    granted.write_suite(**{ORIGINAL_TOTAL: 2**63 - 1001, COMPRESSED_TOTAL: 2**63 - 501})
    granted.make_pdf("a.pdf")
    granted.kelv("a.pdf").assert_clean_end()
    assert totals(granted) == (2**63 - 1, 2**63 - 1)


def test_totals_are_read_fresh_for_every_file(granted):
    """Another program adds in between two files of one run; both additions are kept."""
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    granted.engine(input="b.pdf", open_delay=1500)
    process = subprocess.Popen(
        granted.command("a.pdf", "b.pdf"), env=granted.start_environment(), cwd=granted.documents
    )
    for _ in range(200):
        if totals(granted) == (1000, 500):
            break
        try:
            process.wait(0.02)
        except subprocess.TimeoutExpired:
            pass
    assert totals(granted) == (1000, 500)
    granted.write_suite(**{ORIGINAL_TOTAL: 1007, COMPRESSED_TOTAL: 503})
    assert process.wait(20) == 0
    assert totals(granted) == (2007, 1003)


@pytest.mark.parametrize("content", [b"garbage", plistlib.dumps(["a"])])
def test_a_suite_that_was_damaged_during_the_run_counts_nothing_silently(granted, content):
    granted.write_suite(Other=1)
    granted.make_pdf("a.pdf")
    granted.engine(open_delay=700)
    process = subprocess.Popen(
        granted.command("a.pdf", "--verbose"),
        env=granted.start_environment(),
        cwd=granted.documents,
        stdout=subprocess.PIPE,
    )
    while not granted.record_path.exists() or "PdfOptimizeOpenA" not in granted.record_path.read_text():
        assert process.poll() is None
    granted.suite_path.write_bytes(content)
    output = process.communicate(timeout=20)[0].decode()
    assert process.returncode == 0
    assert granted.suite_path.read_bytes() == content
    assert output.splitlines()[-1] == "Finished compressing all files. Terminating..."
    assert granted.names() == ["a 2.pdf", "a.pdf"]


def test_sixteen_processes_at_once_lose_no_addition(granted):
    files = [[granted.make_pdf(f"{process}/{number}.pdf", 1000 + process) for number in range(8)] for process in range(16)]
    granted.write_suite(Other="kept")
    environment = granted.start_environment()
    processes = [
        subprocess.Popen(granted.command(*names), env=environment, cwd=granted.documents, stdout=subprocess.PIPE)
        for names in files
    ]
    for process in processes:
        assert process.communicate(timeout=120)[0] == b""
        assert process.returncode == 0
    assert totals(granted) == (
        8 * sum(1000 + process for process in range(16)),
        8 * sum((1000 + process) // 2 for process in range(16)),
    )
    assert granted.read_suite()["Other"] == "kept"
