"""The Debian packages: what they hold, what they need, and what lintian says."""

import re
import shutil
import subprocess

import pytest

from world import BUILD, SANITIZED

pytestmark = pytest.mark.skipif(SANITIZED, reason="packages are made of the release build")


def output(*command):
    done = subprocess.run(command, capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


@pytest.fixture(scope="module")
def packages(tmp_path_factory):
    folder = tmp_path_factory.mktemp("packages")
    done = subprocess.run(["cpack", "-B", folder], cwd=BUILD, capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
    found = {path.name.split("_")[0]: path for path in folder.glob("*.deb")}
    assert sorted(found) == ["kelv", "kelv-dev"]
    return found


def contents(package):
    """Path: (mode, owner) of everything in the package."""
    entries = {}
    for line in output("dpkg-deb", "-c", package).splitlines():
        mode, owner, _, _, _, path = line.split(None, 5)
        entries[path.removeprefix(".").split(" -> ")[0]] = (mode, owner)
    return entries


def test_the_package_holds_the_programs_and_what_belongs_to_them(packages):
    files = contents(packages["kelv"])
    expected = [
        "/usr/bin/kelv", "/usr/bin/kelvara", "/usr/bin/kelv-many", "/usr/bin/kelv-compress-pdf",
        "/usr/share/man/man1/kelv.1.gz", "/usr/share/man/man1/kelvara.1.gz",
        "/usr/share/bash-completion/completions/kelv", "/usr/share/fish/vendor_completions.d/kelvara.fish", "/usr/share/zsh/vendor-completions/_kelv",
        "/usr/share/applications/kelv-compress-pdf.desktop", "/usr/share/kio/servicemenus/kelv-compress-pdf.desktop",
        "/usr/share/doc/kelv/copyright", "/usr/share/doc/kelv/changelog.gz",
    ]  # fmt: skip
    assert set(expected) <= set(files)
    assert len([path for path in files if path.endswith("/libPdfOptimizeAPI.so")]) == 1
    assert len([path for path in files if path.endswith("/kelvara/kelvara_documents.so")]) == 1
    assert not [path for path in files if path.endswith((".h", ".cmake", ".pc", ".a"))]
    assert {owner for _, owner in files.values()} == {"root/root"}
    assert not [path for path, (mode, _) in files.items() if mode[5] == "w" or mode[8] == "w"]


def test_the_development_package_holds_the_header_and_its_descriptions(packages):
    files = contents(packages["kelv-dev"])
    for ending in ("/PdfOptimizeAPI.h", "/PdfOptimizeAPIConfig.cmake", "/PdfOptimizeAPI.pc", "/doc/kelv-dev/copyright"):
        assert len([path for path in files if path.endswith(ending)]) == 1, ending


def test_the_fields_name_what_is_needed(packages):
    fields = dict(re.findall(r"^([A-Z][\w-]+): (.*)$", output("dpkg-deb", "-f", packages["kelv"]), re.M))
    needed = {entry.split()[0] for entry in fields["Depends"].split(", ")}
    # The engine is loaded at run time; what it needs itself is found all the same.
    assert {"libc6", "libstdc++6", "libqpdf29", "libicu72", "libglib2.0-0"} <= needed
    assert not [name for name in needed if name.endswith("-dev")]
    assert fields["Recommends"] == "poppler-utils"
    assert fields["Section"] == "utils" and fields["Description"]
    fields = dict(re.findall(r"^([A-Z][\w-]+): (.*)$", output("dpkg-deb", "-f", packages["kelv-dev"]), re.M))
    assert fields["Depends"] == f"kelv (= {fields['Version']})"


@pytest.mark.skipif(not shutil.which("lintian"), reason="lintian is not installed; packaging/try-deb runs it in a clean system")
def test_lintian_has_no_errors(packages):
    done = subprocess.run(["lintian", "--fail-on", "error", "--allow-root", *packages.values()], capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
