"""Entry, options and usage text."""

import subprocess
import time

import pytest

import messages
from profiles import write_profile
from world import KELV

NO_INPUT = (messages.NO_INPUT + "\n" + messages.USAGE + "\n").encode()


def test_the_usage_text_has_27_lines():
    assert len(messages.USAGE_LINES) == 27
    assert len("\n".join(messages.USAGE_LINES)) == 1432


@pytest.mark.parametrize("arguments", [["--help"], ["-help"], ["a.pdf", "--help"], ["-help", "a.pdf"], ["x", "--output", "--help"]])
def test_help_prints_only_the_usage_text(granted, arguments):
    granted.make_pdf("a.pdf")
    run = granted.kelv(*arguments)
    run.assert_clean_end()
    assert run.stdout.decode() == "\n".join(messages.USAGE_LINES) + "\n"
    assert run.stderr == b""
    run.assert_engine_untouched()
    assert granted.names() == ["a.pdf"]


def test_help_reads_no_preferences(world):
    world.hand_over(world.documents)
    before = world.suite_path.read_bytes()
    run = world.kelv("--help")
    run.assert_clean_end()
    assert world.suite_path.read_bytes() == before
    assert not world.standard_path.exists()


@pytest.mark.parametrize("argument", ["--HELP", "--help=1", "-Help", "help", "--help ", "-h"])
def test_help_is_only_the_exact_word(granted, argument):
    run = granted.kelv("--verbose", argument)
    assert run.stdout == NO_INPUT


def test_no_arguments_with_access_print_the_error_and_the_usage_text(granted):
    run = granted.kelv()
    run.assert_clean_end()
    assert run.stdout == NO_INPUT
    run.assert_engine_untouched()


def test_no_arguments_without_access_print_only_the_access_error(world):
    run = world.kelv()
    run.assert_clean_end()
    assert run.text == [messages.NO_ACCESS]
    run.assert_engine_untouched()


@pytest.mark.parametrize("option", ["--verbose", "--subfolders", "--replace", "--output", "x.kelvcp"])
def test_an_option_before_the_first_path_leaves_no_input(granted, option):
    granted.make_pdf("a.pdf")
    run = granted.kelv(option, "a.pdf")
    run.assert_clean_end()
    assert run.stdout == NO_INPUT
    run.assert_engine_untouched()


def test_files_before_a_folder_leave_the_folder_out(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("folder/b.pdf")
    run = granted.kelv("a.pdf", "folder")
    assert run.opened == [bytes(granted.documents / "a.pdf")]


def test_a_folder_before_files_leaves_the_files_out(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("folder/b.pdf")
    run = granted.kelv("folder", "a.pdf")
    assert run.opened == [bytes(granted.documents / "folder" / "b.pdf")]


def test_the_profile_option_after_a_folder_is_one_more_folder(granted):
    granted.make_pdf("folder/b.pdf")
    write_profile(granted, {})
    run = granted.kelv("folder", "--profile", "p.kelvcp")
    run.assert_clean_end()
    assert run.opened == [bytes(granted.documents / "folder" / "b.pdf")]
    errors = [line for line in run.log if line.startswith(b"ERROR #khz45Iq39- ")]
    assert len(errors) == 1
    assert errors[0].startswith(f"ERROR #khz45Iq39- file://{granted.documents}/--profile".encode())


def test_a_folder_really_named_like_the_profile_option_is_searched(granted):
    granted.make_pdf("--profile/b.pdf")
    (granted.documents / "folder").mkdir()
    run = granted.kelv("folder", "--profile", "--verbose")
    assert run.opened == [bytes(granted.documents / "--profile" / "b.pdf")]


def test_short_verbose_sets_the_flag_but_does_not_stop_the_folder_scan(granted):
    granted.make_pdf("folder/b.pdf")
    run = granted.kelv("folder", "-verbose")
    assert run.text[0] == messages.folder_count(1)
    assert len([line for line in run.log if b"#khz45Iq39-" in line]) == 1
    run = granted.kelv("folder", "--verbose")
    assert run.text[0] == messages.folder_count(2)
    assert [line for line in run.log if b"#khz45Iq39-" in line] == []


def test_a_folder_named_like_short_verbose_is_searched(granted):
    granted.make_pdf("-verbose/b.pdf")
    run = granted.kelv("-verbose")
    assert run.text[0] == messages.folder_count(1)
    assert run.opened == [bytes(granted.documents / "-verbose" / "b.pdf")]


def test_verbose_may_stand_anywhere_and_repeatedly(granted):
    granted.make_pdf("a.pdf")
    once = granted.kelv("a.pdf", "--verbose")
    (granted.documents / "a 2.pdf").unlink()
    often = granted.kelv("a.pdf", "-verbose", "--replaced", "--verbose", "--verbose")
    assert once.stdout == often.stdout
    assert messages.FINISHED in once.text


@pytest.mark.parametrize("argument", ["--Verbose", "--verbose=1", "verbose", "-v"])
def test_verbose_is_only_the_exact_word(granted, argument):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", argument)
    assert run.lines == []
    assert len(run.opened) == 1


@pytest.mark.parametrize("unknown", ["--unknown", "--profile", "-x", "--subfolder"])
def test_an_unknown_argument_ends_the_run_of_inputs(granted, unknown):
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    run = granted.kelv("a.pdf", unknown, "b.pdf")
    run.assert_clean_end()
    assert run.lines == []
    assert run.opened == [bytes(granted.documents / "a.pdf")]


def test_arguments_after_an_option_are_never_inputs(granted):
    for name in "abc":
        granted.make_pdf(f"{name}.pdf")
    run = granted.kelv("a.pdf", "b.pdf", "--replaceable", "c.pdf")
    assert run.opened == [bytes(granted.documents / "a.pdf"), bytes(granted.documents / "b.pdf")]


@pytest.mark.parametrize("argument", ["x--replace.pdf", "--outputs.pdf", "a--verbose.pdf", "s--subfoldersx.pdf", "a.kelvcp.pdf"])
def test_stop_words_are_found_inside_an_argument(granted, argument):
    granted.make_pdf("a.pdf")
    granted.make_pdf(argument)
    run = granted.kelv("a.pdf", argument)
    if argument == "a.kelvcp.pdf":
        assert run.text[0].startswith(messages.PROFILE_UNREADABLE)
        run.assert_engine_untouched()
    else:
        assert run.opened == [bytes(granted.documents / "a.pdf")]


def test_stop_words_are_case_sensitive(granted):
    granted.make_pdf("--REPLACE.pdf")
    run = granted.kelv("--REPLACE.pdf")
    assert run.opened == [bytes(granted.documents / "--REPLACE.pdf")]


# PWD.


def test_an_environment_without_pwd_is_an_abnormal_stop(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", environment={"PWD": None})
    run.assert_abnormal_stop()
    run.assert_engine_untouched()
    assert granted.names() == ["a.pdf"]


def test_even_help_needs_pwd(granted):
    granted.kelv("--help", environment={"PWD": None}).assert_abnormal_stop()


def test_an_empty_environment_is_an_abnormal_stop(granted):
    process = subprocess.run([KELV, "--help"], env={}, capture_output=True)
    assert process.returncode == -6
    assert process.stdout == b""
    assert process.stderr.strip() != b""


def test_no_argument_list_at_all_is_an_abnormal_stop(granted):
    # The kernel makes an empty list into one empty argument; either way nothing may be compressed.
    script = (
        "import ctypes, os, sys\n"
        "libc = ctypes.CDLL(None)\n"
        "arguments = (ctypes.c_char_p * 1)(None)\n"
        "values = [f'{k}={v}'.encode() for k, v in os.environ.items()]\n"
        "environment = (ctypes.c_char_p * (len(values) + 1))(*values, None)\n"
        "libc.execve(sys.argv[1].encode(), arguments, environment)\n"
    )
    process = subprocess.run(
        ["/usr/bin/python3", "-c", script, str(KELV)], env=granted.start_environment(), capture_output=True, cwd=granted.documents
    )
    assert process.returncode == -6 or process.stdout == NO_INPUT


def test_the_base_is_pwd_and_not_the_working_directory(granted):
    granted.make_pdf("elsewhere/a.pdf")
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", environment={"PWD": str(granted.documents / "elsewhere")}, cwd=granted.documents)
    assert run.opened == [bytes(granted.documents / "elsewhere" / "a.pdf")]


def test_a_slash_at_the_end_of_pwd_makes_no_difference(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", environment={"PWD": f"{granted.documents}/"})
    assert run.opened == [bytes(granted.documents / "a.pdf")]


def test_pwd_may_be_a_symbolic_link(granted):
    granted.make_pdf("real/a.pdf")
    link = granted.documents / "link"
    link.symlink_to("real")
    run = granted.kelv("a.pdf", environment={"PWD": str(link)})
    run.assert_clean_end()
    assert run.opened == [bytes(link / "a.pdf")]
    assert granted.names(granted.documents / "real") == ["a 2.pdf", "a.pdf"]


@pytest.mark.parametrize("argument", ["--help", "--verbose"])
def test_a_start_takes_a_few_milliseconds(granted, argument):
    times = []
    for _ in range(10):
        begin = time.monotonic()
        granted.kelv(argument)
        times.append(time.monotonic() - begin)
    assert min(times) < 0.25


def test_usage_goes_to_a_closed_pipe_without_harm(granted):
    process = subprocess.Popen(
        granted.command("--help"), env=granted.start_environment(), stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=granted.documents
    )
    process.stdout.close()
    process.stderr.close()
    assert process.wait(20) in (0, -13)
