"""The grant: hand-over and stored bookmark, the four access messages, and what survives."""

import os
import plistlib
import shutil
import stat
import subprocess

import pytest

import messages
from world import COMPRESSED_TOTAL, HAND_OVER, LOCAL, ORIGINAL_TOTAL, REMOVED, tool


def assert_refused(run, *lines):
    run.assert_clean_end()
    assert run.text == list(lines)
    run.assert_engine_untouched()


# The hand-over.


def test_a_hand_over_is_used_once_and_becomes_the_stored_bookmark(world):
    world.make_pdf("a.pdf")
    world.hand_over(world.documents)
    run = world.kelv("a.pdf")
    run.assert_clean_end()
    assert run.lines == []
    assert world.names() == ["a 2.pdf", "a.pdf"]
    assert HAND_OVER not in world.read_suite()
    assert isinstance(world.read_standard()[LOCAL], bytes)


def test_a_second_run_takes_the_stored_bookmark(world):
    world.make_pdf("a.pdf")
    world.hand_over(world.documents)
    world.kelv("a.pdf")
    stored = world.standard_path.read_bytes()
    run = world.kelv("a.pdf")
    run.assert_clean_end()
    assert world.names() == ["a 2.pdf", "a 3.pdf", "a.pdf"]
    assert world.standard_path.read_bytes() == stored


def test_a_hand_over_wins_over_withdrawn_access(world):
    world.make_pdf("a.pdf")
    world.hand_over(world.documents)
    world.write_suite(**{REMOVED: True})
    run = world.kelv("a.pdf")
    assert len(run.opened) == 1
    assert HAND_OVER not in world.read_suite()
    # The flag is the companion's to clear: the next run has no hand-over and finds access withdrawn.
    assert world.read_suite()[REMOVED] is True
    assert_refused(world.kelv("a.pdf"), messages.NO_ACCESS)


def test_a_hand_over_replaces_an_earlier_stored_bookmark(world):
    world.grant(world.outside)
    earlier = world.read_standard()[LOCAL]
    world.make_pdf("a.pdf")
    world.hand_over(world.documents)
    world.kelv("a.pdf").assert_clean_end()
    assert world.read_standard()[LOCAL] != earlier
    assert world.names() == ["a 2.pdf", "a.pdf"]
    assert len(world.kelv("a.pdf").opened) == 1


def test_a_hand_over_without_input_is_used_up_too(world):
    world.hand_over(world.documents)
    run = world.kelv()
    assert run.text[0] == messages.NO_INPUT
    assert HAND_OVER not in world.read_suite()
    assert LOCAL in world.read_standard()


def test_a_hand_over_of_a_file_covers_the_file(world):
    path = world.make_pdf("a.pdf")
    (world.documents / "out").mkdir()
    world.hand_over(path)
    run = world.kelv("a.pdf")
    assert run.opened == [bytes(path)]


def test_a_hand_over_follows_a_renamed_folder(world):
    folder = world.documents / "before"
    world.make_pdf("before/a.pdf")
    world.hand_over(folder)
    folder.rename(world.documents / "after")
    run = world.kelv("after/a.pdf")
    run.assert_clean_end()
    assert world.names(world.documents / "after") == ["a 2.pdf", "a.pdf"]


@pytest.mark.parametrize("value", ["text", 7, True, ["a"], {"a": "b"}])
def test_a_hand_over_that_is_no_data_is_left_alone(world, value):
    world.write_suite(**{HAND_OVER: value})
    assert_refused(world.kelv("a.pdf"), messages.NO_ACCESS)
    assert world.read_suite() == {HAND_OVER: value}


@pytest.mark.parametrize("data", [b"", b"no bookmark", b"\x00" * 100, plistlib.dumps({"path": "/"}), b"bplist00" + b"\xff" * 40])
def test_a_hand_over_that_cannot_be_resolved_is_an_abnormal_stop(world, data):
    world.grant(world.documents)
    world.make_pdf("a.pdf")
    world.write_suite(**{HAND_OVER: data})
    run = world.kelv("a.pdf")
    run.assert_abnormal_stop()
    assert b"kelv/main" in run.stderr
    assert b"196" in run.stderr
    run.assert_engine_untouched()
    assert world.read_suite() == {HAND_OVER: data}


def test_a_hand_over_whose_folder_is_gone_is_an_abnormal_stop(world):
    world.hand_over(world.outside)
    world.outside.rmdir()
    run = world.kelv("a.pdf")
    run.assert_abnormal_stop()
    assert b"kelv/main" in run.stderr and b"196" in run.stderr


def test_a_hand_over_that_gives_no_scoped_bookmark_is_reported(world):
    """The location is there when it is resolved and fails when the tool makes its own bookmark of it."""
    world.make_pdf("a.pdf")
    found = []
    for number in range(1, 15):
        world.hand_over(world.documents)
        run = world.kelv(
            "a.pdf",
            before=[
                tool("strace"), "-f", "-qq", "-o", "/dev/null", "-P", world.documents,
                "-e", f"inject=%file,newfstatat,statx,name_to_handle_at:error=EIO:when={number}",
            ],
        )  # fmt: skip
        if run.status == 0 and run.lines and run.text[0].startswith(messages.HAND_OVER_FAILED):
            found.append(run)
    assert found, "no failure of the location's file operations leads to the message"
    for run in found:
        assert run.text[0].startswith("ERROR: #34horu - Error Domain=")
        assert len(run.text) == 1
        run.assert_engine_untouched()


def test_a_run_that_begins_while_another_takes_the_hand_over_has_access(world):
    world.make_pdf("a.pdf")
    world.make_pdf("b.pdf")
    world.hand_over(world.documents)
    # Wherever the first run is when the hand-over is seen to be gone, it stays there for a while.
    first = subprocess.Popen(
        [tool("strace"), "-f", "-qq", "-o", "/dev/null", "-e", "inject=rename,renameat2:delay_exit=1000000", *world.command("a.pdf")],
        env=world.start_environment(), cwd=world.documents, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
    )  # fmt: skip
    while HAND_OVER in world.read_suite():
        assert first.poll() is None
    run = world.kelv("b.pdf")
    run.assert_clean_end()
    assert run.text == []
    assert first.communicate(timeout=60)[0] == b""
    assert world.names() == ["a 2.pdf", "a.pdf", "b 2.pdf", "b.pdf"]


# The stored bookmark.


def test_without_any_grant_only_the_access_error_is_printed(world):
    world.make_pdf("a.pdf")
    assert_refused(world.kelv("a.pdf", "--verbose", "--output"), messages.NO_ACCESS)
    assert world.names() == ["a.pdf"]


@pytest.mark.parametrize("value", [True, 1, -3, 0.5, "YES", "true", "1", "  y", "+007"])
def test_withdrawn_access_is_refused(granted, value):
    granted.make_pdf("a.pdf")
    granted.write_suite(**{REMOVED: value})
    assert_refused(granted.kelv("a.pdf"), messages.NO_ACCESS)


@pytest.mark.parametrize("value", [False, 0, 0.0, "NO", "", "false", "00", b"YES", ["YES"]])
def test_a_flag_that_is_not_true_withdraws_nothing(granted, value):
    granted.make_pdf("a.pdf")
    granted.write_suite(**{REMOVED: value})
    assert len(granted.kelv("a.pdf").opened) == 1


@pytest.mark.parametrize("value", ["text", 5, True, ["a"]])
def test_a_stored_bookmark_that_is_no_data_is_none(world, value):
    world.write_standard(**{LOCAL: value})
    assert_refused(world.kelv("a.pdf"), messages.NO_ACCESS)


def test_a_stored_bookmark_in_the_shared_suite_does_not_count(world):
    world.write_suite(**{LOCAL: world.bookmark(world.documents, 2048)})
    assert_refused(world.kelv("a.pdf"), messages.NO_ACCESS)


@pytest.mark.parametrize("data", [b"", b"garbage", b"\xff" * 5000])
def test_a_stored_bookmark_that_is_no_bookmark_is_reported(world, data):
    world.write_standard(**{LOCAL: data})
    run = world.kelv("a.pdf")
    run.assert_clean_end()
    assert len(run.text) == 1
    assert run.text[0].startswith(messages.BOOKMARK_UNRESOLVED + "Error Domain=NSCocoaErrorDomain Code=259 ")
    run.assert_engine_untouched()


def test_every_truncation_of_a_bookmark_is_refused_without_harm(world):
    whole = world.bookmark(world.documents, 2048)
    world.make_pdf("a.pdf")
    for length in {0, 1, 2, 7, 8, 9, 16, len(whole) // 4, len(whole) // 2, len(whole) - 2, len(whole) - 1}:
        world.write_standard(**{LOCAL: whole[:length]})
        run = world.kelv("a.pdf")
        run.assert_clean_end()
        assert len(run.opened) == 1 or run.text[0].startswith(messages.BOOKMARK_UNRESOLVED)


def test_a_stored_bookmark_whose_folder_is_gone_is_reported(world):
    world.grant(world.outside)
    world.outside.rmdir()
    run = world.kelv("a.pdf")
    run.assert_clean_end()
    assert len(run.text) == 1
    assert run.text[0].startswith(messages.BOOKMARK_UNRESOLVED + "Error Domain=NSCocoaErrorDomain Code=4 ")
    run.assert_engine_untouched()


def test_a_stored_bookmark_whose_folder_was_replaced_by_another_is_used_by_path_or_reported(world):
    folder = world.documents / "in"
    folder.mkdir()
    world.grant(folder)
    shutil.rmtree(folder)
    folder.mkdir()
    world.make_pdf("in/a.pdf")
    run = world.kelv("in/a.pdf")
    run.assert_clean_end()
    assert len(run.opened) == 1 or run.text[0].startswith(messages.BOOKMARK_UNRESOLVED)


def test_a_location_that_refuses_access_is_reported(granted):
    granted.make_pdf("a.pdf")
    granted.lock(granted.documents)
    run = granted.kelv("a.pdf", ordinary_user=True, cwd=granted.root)
    assert_refused(run, messages.ACCESS_REFUSED)


@pytest.mark.parametrize("way", ["rename", "move", "move deep"])
def test_a_bookmark_survives_a_renamed_or_moved_folder_unchanged(world, way):
    folder = world.root / "somewhere" / "granted"
    world.make_pdf("a.pdf", folder=folder)
    world.grant(folder)
    stored = world.standard_path.read_bytes()
    target = {
        "rename": world.root / "somewhere" / "renamed",
        "move": world.root / "granted",
        "move deep": world.home / "one" / "two" / "three",
    }[way]
    target.parent.mkdir(parents=True, exist_ok=True)
    folder.rename(target)
    run = world.kelv("a.pdf", environment={"PWD": str(target)}, cwd=target)
    run.assert_clean_end()
    assert world.names(target) == ["a 2.pdf", "a.pdf"]
    assert world.standard_path.read_bytes() == stored


def test_a_renamed_parent_is_found_too(world):
    folder = world.root / "parent" / "granted"
    world.make_pdf("a.pdf", folder=folder)
    world.grant(folder)
    folder.parent.rename(world.root / "other parent")
    target = world.root / "other parent" / "granted"
    run = world.kelv("a.pdf", environment={"PWD": str(target)}, cwd=target)
    run.assert_clean_end()
    assert world.names(target) == ["a 2.pdf", "a.pdf"]


def test_the_grant_covers_only_its_folder(granted):
    granted.make_pdf("a.pdf", folder=granted.outside)
    run = granted.kelv(granted.outside / "a.pdf")
    run.assert_clean_end()
    assert run.text[0].startswith(messages.UNREADABLE_INPUT + "Error Domain=NSCocoaErrorDomain Code=257 ")
    assert run.text[1] == messages.UNABLE + "The file “a.pdf” couldn’t be opened because you don’t have permission to view it."
    assert run.text[2:] == [messages.HINT]
    assert run.opened == []


def test_the_hand_over_limits_access_likewise(world):
    world.make_pdf("a.pdf", folder=world.outside)
    world.hand_over(world.documents)
    run = world.kelv(world.outside / "a.pdf")
    run.assert_clean_end()
    assert run.text[0].startswith(messages.UNREADABLE_INPUT + "Error Domain=NSCocoaErrorDomain Code=257 ")
    assert run.text[1:] == [
        messages.UNABLE + "The file “a.pdf” couldn’t be opened because you don’t have permission to view it.",
        messages.HINT,
    ]


def test_a_link_inside_the_grant_leads_nowhere_outside(granted):
    granted.make_pdf("secret.pdf", folder=granted.outside)
    (granted.documents / "a.pdf").symlink_to(granted.outside / "secret.pdf")
    run = granted.kelv("a.pdf")
    run.assert_clean_end()
    assert run.text[0].startswith(messages.UNREADABLE_INPUT)
    assert run.text[2] == messages.HINT
    assert granted.names() == ["a.pdf"]


def test_a_neighbour_whose_name_begins_alike_is_outside(world):
    world.make_pdf("in/a.pdf")
    world.make_pdf("in side/b.pdf")
    world.grant(world.documents / "in")
    run = world.kelv("in side/b.pdf")
    assert run.text[0].startswith(messages.UNREADABLE_INPUT)
    assert world.names(world.documents / "in side") == ["b.pdf"]


def test_dots_do_not_lead_out_of_the_grant(granted):
    granted.make_pdf("a.pdf", folder=granted.outside)
    run = granted.kelv(f"{granted.documents}/../outside/a.pdf")
    assert run.text[0].startswith(messages.UNREADABLE_INPUT)


def test_an_output_file_outside_the_grant_is_a_permission_error_with_the_hint(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", granted.outside / "x.pdf")
    run.assert_clean_end()
    assert run.text[0].startswith(messages.FINISH_FAILED + "Error Domain=NSCocoaErrorDomain Code=513 ")
    assert run.text[1:] == [
        messages.UNABLE + run.text[1].removeprefix(messages.UNABLE),
        messages.HINT,
    ]
    assert "couldn’t be moved because you don’t have permission to access “outside”." in run.text[1]
    assert granted.names(granted.outside) == []


def test_a_profile_outside_the_grant_is_a_permission_error_with_the_hint(granted):
    granted.make_pdf("a.pdf")
    profile = granted.outside / "p.kelvcp"
    profile.write_text("()")
    run = granted.kelv("a.pdf", "--profile", profile)
    run.assert_clean_end()
    assert run.text[0].startswith(f"ERROR: Failed to read profile at {profile}. Error Domain=NSCocoaErrorDomain Code=257 ")
    assert run.text[1:] == [messages.HINT]
    run.assert_engine_untouched()


# The preferences themselves.


DAMAGED = {
    "no property list": b"\x00\x01garbage <<<",
    "half a file": plistlib.dumps({REMOVED: False, "Other": 5})[:60],
    "an array": plistlib.dumps([1, 2]),
}


@pytest.mark.parametrize("content", DAMAGED.values(), ids=DAMAGED.keys())
def test_a_damaged_suite_is_an_abnormal_stop_and_is_never_overwritten(granted, content):
    granted.make_pdf("a.pdf")
    granted.suite_path.write_bytes(content)
    run = granted.kelv("a.pdf")
    run.assert_abnormal_stop()
    run.assert_engine_untouched()
    assert granted.suite_path.read_bytes() == content


@pytest.mark.parametrize("content", DAMAGED.values(), ids=DAMAGED.keys())
def test_damaged_standard_preferences_are_never_overwritten(world, content):
    world.hand_over(world.documents)
    world.make_pdf("a.pdf")
    world.standard_path.write_bytes(content)
    world.kelv("a.pdf")
    assert world.standard_path.read_bytes() == content
    run = world.kelv("a.pdf")
    assert world.standard_path.read_bytes() == content
    assert_refused(run, messages.NO_ACCESS)


def test_a_suite_that_may_not_be_read_is_an_abnormal_stop(granted):
    granted.write_suite(Other=1)
    before = granted.suite_path.read_bytes()
    granted.lock(granted.suite_path)
    granted.kelv("a.pdf", ordinary_user=True).assert_abnormal_stop()
    granted.unlock()
    assert granted.suite_path.read_bytes() == before


def test_keys_of_others_survive_a_hand_over(world):
    others = {"WindowFrame": "10 20", "Profiles": [{"a": 1, "b": 2.5}], "Flag": True, "Data": b"\x00\xff", "Big": 2**62}
    world.write_suite(**others)
    world.write_standard(Own="kept")
    world.hand_over(world.documents)
    world.kelv("a.pdf")
    assert world.read_suite() == others
    assert world.read_standard()["Own"] == "kept"


def test_without_xdg_folders_the_home_folder_is_used(world):
    world.environment.pop("XDG_CONFIG_HOME")
    world.config = world.home / ".config"
    world.make_pdf("a.pdf")
    world.hand_over(world.documents)
    run = world.kelv("a.pdf")
    run.assert_clean_end()
    assert len(run.opened) == 1
    assert LOCAL in world.read_standard()


def test_without_a_home_there_is_no_suite(world):
    world.make_pdf("a.pdf")
    run = world.kelv("a.pdf", environment={"HOME": None, "XDG_CONFIG_HOME": None})
    run.assert_engine_untouched()
    assert run.status != 0 or run.text == [messages.NO_ACCESS]


def test_preferences_are_for_the_user_only(world):
    world.hand_over(world.documents)
    world.make_pdf("a.pdf")
    world.kelv("a.pdf")
    assert stat.S_IMODE(world.standard_path.stat().st_mode) & 0o077 == 0


def test_a_kill_at_any_write_of_the_preferences_leaves_them_whole(world):
    """Kills kelv at each system call that touches the preferences folder; what is left must always be readable and complete."""
    world.make_pdf("a.pdf")
    others = {"Kept": "x" * 3000, ORIGINAL_TOTAL: 5, COMPRESSED_TOTAL: 3}
    calls = "openat,write,fsync,fdatasync,rename,renameat,renameat2,close,ftruncate,fchmod,flock,fcntl"
    killed = 0
    for number in range(1, 400):
        world.suite_path.unlink(missing_ok=True)
        world.standard_path.unlink(missing_ok=True)
        world.write_suite(**others)
        world.write_standard(Own=1)
        world.hand_over(world.documents)
        process = subprocess.run(
            [
                tool("strace"), "-f", "-qq", "-o", "/dev/null", "-e", f"trace={calls}", "-P", world.suite_path,
                "-P", world.standard_path, "-P", world.config / "kelvara",
                "-e", f"inject={calls}:signal=KILL:when={number}", *world.command("a.pdf"),
            ],
            env=world.start_environment(), cwd=world.documents, capture_output=True,
        )  # fmt: skip
        suite = world.read_suite()
        assert suite["Kept"] == others["Kept"]
        assert (suite[ORIGINAL_TOTAL], suite[COMPRESSED_TOTAL]) in [(5, 3), (1005, 503)]
        assert world.read_standard()["Own"] == 1
        if process.returncode == 0:
            break
        killed += 1
        for name in world.documents.glob("a *.pdf"):
            name.unlink()
    assert killed >= 3
    assert process.returncode == 0


def test_a_full_disk_keeps_the_old_preferences(world):
    config = world.root / "small"
    config.mkdir()
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", config], capture_output=True).returncode != 0:
        pytest.skip("no file system can be mounted here")
    try:
        world.config = config
        world.environment["XDG_CONFIG_HOME"] = str(config)
        world.write_suite(Kept="y" * 20000, **{ORIGINAL_TOTAL: 1, COMPRESSED_TOTAL: 1})
        world.grant(world.documents)
        world.make_pdf("a.pdf")
        filler = os.open(config / "filler", os.O_WRONLY | os.O_CREAT)
        with pytest.raises(OSError):
            while os.write(filler, b"z" * 4096):
                pass
        os.close(filler)
        before = world.read_suite()
        run = world.kelv("a.pdf")
        assert run.status == 0
        assert world.read_suite() == before
        assert world.names() == ["a 2.pdf", "a.pdf"]
        os.remove(config / "filler")
        (world.documents / "a 2.pdf").unlink()
        world.kelv("a.pdf").assert_clean_end()
        assert world.read_suite()[ORIGINAL_TOTAL] == 1001
    finally:
        subprocess.run(["umount", config], check=True)
