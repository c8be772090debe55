"""Where the results go, and when nothing is compressed at all."""

import os

import pytest

import messages
from profiles import write_profile


def saved_sizes(folder):
    return {entry.name: entry.stat().st_size for entry in folder.iterdir()}


def assert_refused(run, world, *lines):
    """Nothing is compressed and the engine is not initialised."""
    run.assert_clean_end()
    assert run.text == list(lines)
    run.assert_engine_untouched()
    assert world.temporary_files() == []


def test_without_output_the_result_stands_beside_the_original(granted):
    granted.make_pdf("sub/a.pdf")
    granted.kelv("sub/a.pdf").assert_clean_end()
    assert saved_sizes(granted.documents / "sub") == {"a.pdf": 1000, "a 2.pdf": 500}


def test_an_output_folder_is_made_with_its_parents(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("b.pdf")
    run = granted.kelv("a.pdf", "b.pdf", "--output", "deep/er/out")
    run.assert_clean_end()
    assert run.lines == []
    assert saved_sizes(granted.documents / "deep" / "er" / "out") == {"a.pdf": 500, "b.pdf": 500}
    assert granted.names() == ["a.pdf", "b.pdf", "deep"]


def test_an_existing_output_folder_is_no_error(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("out/old.pdf", 77)
    granted.kelv("a.pdf", "--output", "out").assert_clean_end()
    assert saved_sizes(granted.documents / "out") == {"a.pdf": 500, "old.pdf": 77}


@pytest.mark.parametrize("typed", ["out/", "out//", "./out", "{documents}/out", "{documents}/out/"])
def test_an_output_folder_may_be_typed_in_any_form(granted, typed):
    granted.make_pdf("a.pdf")
    granted.kelv("a.pdf", "--output", typed.format(documents=granted.documents)).assert_clean_end()
    assert saved_sizes(granted.documents / "out") == {"a.pdf": 500}


def test_an_output_folder_is_relative_to_the_working_directory(granted):
    granted.make_pdf("base/a.pdf")
    (granted.documents / "here").mkdir()
    run = granted.kelv(
        "a.pdf", "--output", "out", environment={"PWD": str(granted.documents / "base")}, cwd=granted.documents / "here"
    )
    run.assert_clean_end()
    assert saved_sizes(granted.documents / "here" / "out") == {"a.pdf": 500}
    assert not (granted.documents / "base" / "out").exists()


def test_an_output_folder_cannot_be_a_file(granted):
    granted.make_pdf("a.pdf")
    granted.make_pdf("out")
    run = granted.kelv("a.pdf", "--output", "out")
    assert_refused(
        run,
        granted,
        "ERROR: Unable to create output directory " + run.text[0].removeprefix("ERROR: Unable to create output directory "),
    )
    assert "Error Domain=NSCocoaErrorDomain Code=516 " in run.text[0]
    assert "The file “out” couldn’t be saved in the folder “" in run.text[0]
    assert "” because a file with the same name already exists." in run.text[0]


def test_an_output_folder_outside_the_grant_is_a_permission_error(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", granted.outside / "out")
    run.assert_clean_end()
    assert len(run.text) == 2
    assert run.text[1] == messages.HINT
    assert run.text[0].startswith(messages.NO_OUTPUT_FOLDER + "Error Domain=NSCocoaErrorDomain Code=513 ")
    assert "You don’t have permission to save the file “out” in the folder “outside”." in run.text[0]
    run.assert_engine_untouched()
    assert granted.names(granted.outside) == []


def test_an_output_folder_that_may_not_be_written_is_a_permission_error(granted):
    granted.make_pdf("a.pdf")
    (granted.documents / "locked").mkdir()
    granted.lock(granted.documents / "locked", 0o555)
    run = granted.kelv("a.pdf", "--output", "locked/out", ordinary_user=True)
    run.assert_clean_end()
    assert run.text[0].startswith(messages.NO_OUTPUT_FOLDER + "Error Domain=NSCocoaErrorDomain Code=513 ")
    run.assert_engine_untouched()


def test_an_empty_output_value_cannot_be_created(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "")
    run.assert_clean_end()
    assert len(run.text) == 1
    assert run.text[0].startswith(messages.NO_OUTPUT_FOLDER)
    run.assert_engine_untouched()


def test_output_files_belong_to_the_inputs_in_order(granted):
    granted.make_pdf("a.pdf", 1000)
    granted.make_pdf("b.pdf", 2000)
    run = granted.kelv("a.pdf", "b.pdf", "--output", "y.pdf", "x.pdf")
    run.assert_clean_end()
    assert saved_sizes(granted.documents) == {"a.pdf": 1000, "b.pdf": 2000, "y.pdf": 500, "x.pdf": 1000}


@pytest.mark.parametrize(
    "inputs, outputs",
    [(["a.pdf", "b.pdf", "c.pdf"], ["x.pdf", "y.pdf"]), (["a.pdf"], ["x.pdf", "y.pdf"]), (["a.pdf", "b.pdf"], ["x.pdf"])],
)
def test_a_different_number_of_output_files_is_refused(granted, inputs, outputs):
    for name in "abc":
        granted.make_pdf(f"{name}.pdf")
    run = granted.kelv(*inputs, "--output", *outputs)
    assert_refused(run, granted, "ERROR: Please make sure there are as many output paths as input paths")
    assert granted.names() == ["a.pdf", "b.pdf", "c.pdf"]


def test_output_files_also_count_for_the_files_of_a_folder(granted):
    granted.make_pdf("in/a.pdf")
    granted.make_pdf("in/b.pdf")
    run = granted.kelv("in", "--output", "x.pdf")
    assert_refused(run, granted, "ERROR: Please make sure there are as many output paths as input paths")
    run = granted.kelv("in", "--output", "x.pdf", "y.pdf")
    run.assert_clean_end()
    assert granted.names() == ["in", "x.pdf", "y.pdf"]


def test_output_files_end_at_the_first_argument_that_names_none(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "x.pdf", "--verbose", "y.pdf")
    run.assert_clean_end()
    assert granted.names() == ["a.pdf", "x.pdf"]


def test_a_profile_ends_the_output_files(granted):
    granted.make_pdf("a.pdf")
    write_profile(granted, {})
    run = granted.kelv("a.pdf", "--output", "x.pdf", "p.kelvcp", "y.pdf")
    run.assert_clean_end()
    assert granted.names() == ["a.pdf", "p.kelvcp", "x.pdf"]


def test_an_output_file_is_relative_to_pwd(granted):
    granted.make_pdf("base/a.pdf")
    (granted.documents / "base" / "sub").mkdir()
    run = granted.kelv(
        "a.pdf", "--output", "sub/x.pdf", environment={"PWD": str(granted.documents / "base")}, cwd=granted.documents
    )
    run.assert_clean_end()
    assert saved_sizes(granted.documents / "base" / "sub") == {"x.pdf": 500}


def test_the_folder_of_an_output_file_is_not_made(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "sub/x.pdf")
    run.assert_clean_end()
    assert run.text[0].startswith(messages.FINISH_FAILED)
    assert granted.names() == ["a.pdf"]


def test_an_upper_case_extension_makes_the_output_a_folder(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "Report.PDF")
    run.assert_clean_end()
    assert saved_sizes(granted.documents / "Report.PDF") == {"a.pdf": 500}


def test_an_output_value_with_the_profile_text_is_a_folder_and_the_profile(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "x.kelvcp")
    run.assert_clean_end()
    assert (granted.documents / "x.kelvcp").is_dir()
    assert len(run.text) == 1
    assert run.text[0].startswith("ERROR: Failed to read profile at x.kelvcp. Error Domain=NSCocoaErrorDomain Code=256 ")
    run.assert_engine_untouched()


def test_an_output_value_with_both_texts_is_a_folder(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "x.pdf.kelvcp")
    assert (granted.documents / "x.pdf.kelvcp").is_dir()
    run.assert_engine_untouched()


def test_only_the_first_output_option_counts(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "one", "--output", "two")
    run.assert_clean_end()
    assert granted.names() == ["a.pdf", "one"]


def test_the_value_of_output_may_look_like_an_option(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output", "--verbose")
    run.assert_clean_end()
    assert saved_sizes(granted.documents / "--verbose") == {"a.pdf": 500}
    assert messages.FINISHED in run.text


def test_output_must_be_a_whole_argument(granted):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", "--output=out")
    run.assert_clean_end()
    assert granted.names() == ["a 2.pdf", "a.pdf"]


@pytest.mark.parametrize("options", [["--output"], ["--verbose", "--output"], ["--replace", "--output"]])
def test_a_trailing_output_option_is_an_abnormal_stop(granted, options):
    granted.make_pdf("a.pdf")
    run = granted.kelv("a.pdf", *options)
    run.assert_abnormal_stop()
    run.assert_engine_untouched()
    assert granted.names() == ["a.pdf"]


def test_a_message_before_an_abnormal_stop_is_not_lost(granted):
    granted.make_pdf("in/a.pdf")
    run = granted.kelv("in", "--verbose", "--output")
    run.assert_abnormal_stop(stdout=(messages.folder_count(1) + "\n").encode())


def test_output_without_input_is_the_missing_input(granted):
    run = granted.kelv("--output")
    run.assert_clean_end()
    assert run.text[0] == messages.NO_INPUT


def test_replace_must_be_a_whole_argument(granted):
    granted.make_pdf("a.pdf")
    granted.kelv("a.pdf", "--replaced").assert_clean_end()
    assert granted.names() == ["a 2.pdf", "a.pdf"]


def test_replace_may_stand_anywhere(granted):
    granted.make_pdf("a.pdf")
    granted.kelv("a.pdf", "--output", "out", "--replace").assert_clean_end()
    assert granted.names() == ["a.pdf", "out"]
    granted.kelv("a.pdf", "--replace", "--output", "out", "--replace").assert_clean_end()
    assert granted.names(granted.documents / "out") == ["a.pdf"]
    assert [os.path.basename(path) for path in granted.trashed().values()] == ["a.pdf"]


def test_two_inputs_of_one_name_get_numbered_names_in_the_output_folder(granted):
    granted.make_pdf("one/a.pdf", 1000)
    granted.make_pdf("two/a.pdf", 3000)
    granted.kelv("one/a.pdf", "two/a.pdf", "--output", "out").assert_clean_end()
    assert saved_sizes(granted.documents / "out") == {"a.pdf": 500, "a 2.pdf": 1500}
