"""grant, revoke and status, and what kelv makes of them."""

import os

import pytest

import messages
from companion import FAILURE, OK, USAGE, kelvara
from world import HAND_OVER, LOCAL, REMOVED


def test_a_grant_lets_kelv_work(world):
    world.make_pdf("a.pdf")
    answer = kelvara(world, "grant", world.documents)
    assert (answer.status, answer.err) == (OK, "")
    assert answer.out == f"kelv may touch {world.documents} and everything in it, and nothing else of yours.\n"
    run = world.kelv("a.pdf")
    assert run.lines == []
    assert world.names() == ["a 2.pdf", "a.pdf"]
    assert HAND_OVER not in world.read_suite()
    assert LOCAL in world.read_standard()


def test_a_grant_holds_for_later_runs(world):
    world.make_pdf("a.pdf")
    kelvara(world, "grant", world.documents)
    world.kelv("a.pdf")
    run = world.kelv("a.pdf")
    run.assert_clean_end()
    assert world.names() == ["a 2.pdf", "a 3.pdf", "a.pdf"]


@pytest.mark.parametrize("typed", [".", "", "./", "../documents", "sub/.."])
def test_a_relative_folder_counts_from_the_working_directory(world, typed):
    (world.documents / "sub").mkdir()
    answer = kelvara(world, "grant", typed)
    assert answer.out == f"kelv may touch {world.documents} and everything in it, and nothing else of yours.\n"


def test_a_wrong_pwd_is_not_believed(world):
    answer = kelvara(world, "grant", ".", environment={"PWD": str(world.outside)})
    assert str(world.documents) in answer.out


def test_a_grant_of_everything(world):
    answer = kelvara(world, "grant", "/")
    assert answer.out == "kelv may touch every file that you may touch yourself.\n"
    world.make_pdf("a.pdf", folder=world.outside)
    world.kelv(world.outside / "a.pdf").assert_clean_end()
    assert world.names(world.outside) == ["a 2.pdf", "a.pdf"]


def test_a_grant_of_one_file(world):
    path = world.make_pdf("a.pdf")
    assert kelvara(world, "grant", path).out == f"kelv may touch {path}, and nothing else of yours.\n"


def test_a_new_grant_takes_the_place_of_the_old_one(world):
    world.make_pdf("a.pdf")
    world.make_pdf("b.pdf", folder=world.outside)
    kelvara(world, "grant", world.documents)
    world.kelv("a.pdf")
    kelvara(world, "grant", world.outside)
    run = world.kelv("a.pdf")
    assert run.opened == []
    assert run.text[-1] == messages.HINT


def test_a_folder_that_is_missing_cannot_be_granted(world):
    answer = kelvara(world, "grant", "nowhere")
    answer.assert_refused(FAILURE, str(world.documents / "nowhere"), "exists")
    assert world.read_suite() == {}


def test_a_grant_clears_a_withdrawal(world):
    world.make_pdf("a.pdf")
    kelvara(world, "grant", world.documents)
    world.kelv("a.pdf")
    kelvara(world, "revoke")
    kelvara(world, "grant", world.documents)
    assert not world.read_suite()[REMOVED]
    assert world.kelv("a.pdf").lines == []
    assert world.kelv("a.pdf").lines == []


def test_after_a_withdrawal_kelv_gives_the_access_message(world):
    world.make_pdf("a.pdf")
    kelvara(world, "grant", world.documents)
    world.kelv("a.pdf")
    answer = kelvara(world, "revoke")
    assert answer.status == OK
    assert answer.out.startswith("kelv may touch none of your files any more.")
    run = world.kelv("a.pdf")
    assert run.text == [messages.NO_ACCESS]
    run.assert_engine_untouched()


def test_a_withdrawal_takes_back_a_grant_that_waits(world):
    kelvara(world, "grant", world.documents)
    kelvara(world, "revoke")
    assert HAND_OVER not in world.read_suite()
    world.make_pdf("a.pdf")
    assert world.kelv("a.pdf").text == [messages.NO_ACCESS]


def status(world):
    answer = kelvara(world, "status", "--json").json
    plain = kelvara(world, "status")
    assert plain.status == OK
    assert plain.lines[0] == answer["sentence"]
    assert "kelvara " in plain.lines[1]
    return answer


def test_status_before_any_grant(world):
    assert status(world) == {
        "state": "none",
        "location": None,
        "moved": False,
        "sentence": "kelv may touch none of your files: nothing has been granted yet.",
    }


def test_status_of_a_grant_that_waits(world):
    kelvara(world, "grant", world.documents)
    found = status(world)
    assert (found["state"], found["location"]) == ("pending", str(world.documents))
    assert found["sentence"].endswith(" This begins with its next run.")


def test_status_of_a_grant_in_use(world):
    kelvara(world, "grant", world.documents)
    world.kelv("--none")
    found = status(world)
    assert (found["state"], found["location"], found["moved"]) == ("granted", str(world.documents), False)
    assert found["sentence"] == f"kelv may touch {world.documents} and everything in it, and nothing else of yours."


def test_status_after_the_folder_was_moved(world):
    folder = world.documents / "mine"
    folder.mkdir()
    kelvara(world, "grant", folder)
    world.kelv("--none")
    folder.rename(world.documents / "renamed")
    found = status(world)
    assert (found["state"], found["location"], found["moved"]) == ("granted", str(world.documents / "renamed"), True)


@pytest.mark.parametrize("used", [False, True])
def test_status_after_the_folder_is_gone(world, used):
    folder = world.documents / "mine"
    folder.mkdir()
    kelvara(world, "grant", folder)
    if used:
        world.kelv("--none")
    folder.rmdir()
    found = status(world)
    assert (found["state"], found["location"]) == ("lost", None)
    assert found["sentence"].startswith("kelv may touch none of your files: ")


def test_status_after_a_withdrawal(world):
    kelvara(world, "grant", world.documents)
    world.kelv("--none")
    kelvara(world, "revoke")
    assert status(world)["state"] == "revoked"


def test_other_keys_of_the_suite_are_kept(world):
    world.write_suite(Other="kept", StatisticsOriginalFileSizeTotal=7)
    kelvara(world, "grant", world.documents)
    kelvara(world, "revoke")
    suite = world.read_suite()
    assert (suite["Other"], suite["StatisticsOriginalFileSizeTotal"]) == ("kept", 7)


@pytest.mark.parametrize("command", [["grant", "."], ["revoke"], ["status"], ["stats"]])
def test_damaged_preferences_are_named_and_kept(world, command):
    world.suite_path.parent.mkdir(parents=True)
    world.suite_path.write_bytes(b"<plist><dict><key>torn")
    kelvara(world, *command).assert_refused(FAILURE, "group.kelvara.plist")
    assert world.suite_path.read_bytes() == b"<plist><dict><key>torn"


def test_names_are_bytes(world):
    folder = os.fsencode(world.documents) + b"/ \xff%\n"
    os.mkdir(folder)
    assert kelvara(world, "grant", folder.decode("utf-8", "surrogateescape")).status == OK
    world.make_pdf("a.pdf", folder=os.fsdecode(folder))
    world.kelv(folder + b"/a.pdf").assert_clean_end()
    assert len(os.listdir(folder)) == 2


@pytest.mark.parametrize("arguments", [["grant"], ["grant", "a", "b"], ["revoke", "x"], ["status", "x"], ["grant", "--json", "."]])
def test_wrong_calls_are_explained(world, arguments):
    kelvara(world, *arguments).assert_refused(USAGE, "Usage: kelvara " + arguments[0])
