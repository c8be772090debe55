"""An installed kelv finds its engine, and lets another one be put in its place."""

import configparser
import gzip
import os
import shutil
import subprocess
from pathlib import Path

import pytest

from world import BUILD, RECORDING_ENGINE, SANITIZED


@pytest.fixture
def installed(granted):
    prefix = granted.root / "prefix"
    done = subprocess.run(["cmake", "--install", BUILD, "--prefix", prefix], capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
    return prefix


def run_installed(world, prefix, **environment):
    world.make_pdf("a.pdf")
    values = world.start_environment(environment, recording=False)
    return subprocess.run([prefix / "bin" / "kelv", "a.pdf"], env=values, cwd=world.documents, capture_output=True)


def test_the_installed_programs_run_from_anywhere(granted, installed):
    moved = granted.root / "elsewhere"
    installed.rename(moved)
    process = run_installed(granted, moved)
    assert process.returncode == 0, process.stderr
    # The real engine looked at the file and found no PDF in it.
    assert process.stdout.startswith(b"ERROR: # sdfgWWe :) - error: ")
    companion = subprocess.run(
        [moved / "bin" / "kelvara", "--help"], env=granted.start_environment(recording=False), capture_output=True
    )
    assert companion.returncode == 0


def test_another_engine_in_front_is_used(granted, installed):
    process = run_installed(granted, installed, LD_LIBRARY_PATH=str(RECORDING_ENGINE))
    assert process.returncode == 0, process.stderr
    assert granted.names() == ["a 2.pdf", "a.pdf"]


@pytest.mark.skipif(SANITIZED, reason="the recording engine in its place is built without the sanitizer's run-time")
def test_another_engine_in_its_place_is_used(granted, installed):
    [engine] = list(installed.rglob("libPdfOptimizeAPI.so"))
    engine.unlink()
    shutil.copy(RECORDING_ENGINE / "libPdfOptimizeAPI.so", engine)
    process = run_installed(granted, installed)
    assert process.returncode == 0, process.stderr
    assert granted.names() == ["a 2.pdf", "a.pdf"]


def test_an_engine_that_is_missing_is_an_abnormal_stop(granted, installed):
    if SANITIZED:
        pytest.skip("linked in the plain way under the sanitizers")
    [engine] = list(installed.rglob("libPdfOptimizeAPI.so"))
    engine.unlink()
    process = run_installed(granted, installed)
    assert process.returncode == -6
    assert process.stdout == b""
    assert b"libPdfOptimizeAPI.so" in process.stderr
    assert granted.names() == ["a.pdf"]


# The part of kelvara that looks into documents is loaded by the commands that do.


def companion(world, prefix, *arguments, **environment):
    values = world.start_environment(environment, recording=False)
    return subprocess.run([prefix / "bin" / "kelvara", *arguments], env=values, cwd=world.documents, capture_output=True, text=True)


def test_the_installed_companion_looks_into_documents(granted, installed):
    moved = granted.root / "elsewhere"
    installed.rename(moved)
    audit = companion(granted, moved, "audit", SAMPLE)
    assert (audit.returncode, audit.stderr) == (0, "")
    compare = companion(granted, moved, "compare", SAMPLE, SAMPLE)
    assert (compare.returncode, compare.stderr) == (0, "")


@pytest.mark.skipif(SANITIZED, reason="linked in the plain way under the sanitizers")
def test_the_companion_grants_without_the_engines_libraries(granted, installed):
    grant = companion(granted, installed, "grant", granted.documents, LD_DEBUG="files")
    assert grant.returncode == 0 and "libstdc++" in grant.stderr and "libqpdf" not in grant.stderr
    assert "libqpdf" in companion(granted, installed, "audit", SAMPLE, LD_DEBUG="files").stderr


@pytest.mark.skipif(SANITIZED, reason="linked in the plain way under the sanitizers")
def test_a_part_of_the_companion_that_is_missing_is_an_error(granted, installed):
    [part] = installed.rglob("kelvara_documents.so")
    engine = part.parent.parent / "libPdfOptimizeAPI.so"
    for spoil in (part.unlink, lambda: shutil.copy(engine, part)):
        spoil()
        for status, arguments in ((1, ["audit", SAMPLE]), (2, ["compare", SAMPLE, SAMPLE])):
            run = companion(granted, installed, *arguments)
            assert (run.returncode, run.stdout) == (status, "")
            assert "kelvara_documents.so" in run.stderr and "Install kelvara again." in run.stderr
        assert companion(granted, installed, "status").returncode == 0


# The engine for other programs.

USER = Path(__file__).resolve().parent / "engine_user"
SAMPLE = Path(__file__).resolve().parent.parent / "samples" / "charts.pdf"


def succeed(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, **options)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def assert_works(world, program, **environment):
    result = world.documents / "result.pdf"
    succeed(program, SAMPLE, result, env={**os.environ, **environment})
    assert result.stat().st_size < SAMPLE.stat().st_size
    succeed("qpdf", "--check", result)
    refused = subprocess.run([program, program, result], env={**os.environ, **environment}, capture_output=True, text=True)
    assert refused.returncode == 1 and refused.stderr.strip() == "The file is not a PDF"


@pytest.mark.skipif(SANITIZED, reason="the program is built without the sanitizer's run-time")
def test_a_program_outside_the_tree_is_built_with_cmake(granted, installed):
    moved = granted.root / "elsewhere"
    installed.rename(moved)
    source = shutil.copytree(USER, granted.root / "user")
    succeed("cmake", "-G", "Ninja", "-S", source, "-B", granted.root / "made", f"-DCMAKE_PREFIX_PATH={moved}")
    succeed("cmake", "--build", granted.root / "made")
    assert_works(granted, granted.root / "made" / "engine_user")


@pytest.mark.skipif(SANITIZED, reason="the program is built without the sanitizer's run-time")
def test_a_program_outside_the_tree_is_built_with_pkg_config(granted, installed):
    moved = granted.root / "elsewhere"
    installed.rename(moved)
    [description] = moved.rglob("PdfOptimizeAPI.pc")
    environment = {**os.environ, "PKG_CONFIG_PATH": str(description.parent)}
    assert succeed("pkg-config", "--modversion", "PdfOptimizeAPI", env=environment).startswith("0.")
    flags = succeed("pkg-config", "--cflags", "--libs", "PdfOptimizeAPI", env=environment).split()
    program = granted.root / "engine_user"
    succeed("cc", "-std=c99", "-Wall", "-Wextra", "-pedantic", "-Werror", USER / "engine_user.c", "-o", program, *flags)
    [library] = moved.rglob("libPdfOptimizeAPI.so")
    assert_works(granted, program, LD_LIBRARY_PATH=str(library.parent))


# What stands beside the programs.


def test_manuals_are_readable_without_complaint(installed):
    pages = sorted((installed / "share" / "man" / "man1").iterdir())
    assert [page.name for page in pages] == ["kelv-compress-pdf.1.gz", "kelv-many.1.gz", "kelv.1.gz", "kelvara.1.gz"]
    for page in pages:
        roff = gzip.decompress(page.read_bytes())
        shown = subprocess.run(["groff", "-man", "-Tutf8", "-ww"], input=roff, capture_output=True)
        assert shown.returncode == 0 and shown.stderr == b"", shown.stderr
        assert shown.stdout.startswith(page.name.removesuffix(".1.gz").upper().encode() + b"(1)")


def test_bash_completes_the_installed_programs(installed):
    for program, word in (("kelv", "--subf"), ("kelvara", "gra")):
        script = (
            f'source "{installed}/share/bash-completion/completions/{program}"; COMP_WORDS=({program} {word}); COMP_CWORD=1; '
            f'compopt() {{ :; }}; _{program} 2>/dev/null; printf "%s\\n" "${{COMPREPLY[@]}}"'
        )
        assert succeed("bash", "-c", script).split()[:1] == [{"--subf": "--subfolders", "gra": "grant"}[word]]


def test_the_desktop_files_are_valid(installed):
    succeed("desktop-file-validate", installed / "share" / "applications" / "kelv-compress-pdf.desktop")
    menu = installed / "share" / "kio" / "servicemenus" / "kelv-compress-pdf.desktop"
    complaints = subprocess.run(["desktop-file-validate", menu], capture_output=True, text=True).stdout.splitlines()
    # KDE's own type of entry, which the validator knows but does not grant these keys.
    assert all('but the type is "Service" while this key is only valid for type "Application"' in line for line in complaints)
    actions = configparser.ConfigParser(interpolation=None, delimiters="=")
    actions.optionxform = str
    actions.read(menu)
    assert actions["Desktop Entry"]["MimeType"] == "application/pdf;"
    assert actions["Desktop Action " + actions["Desktop Entry"]["Actions"].strip(";")]["Exec"] == "kelv-compress-pdf %F"
