"""Access is real: an engine that misbehaves reaches nothing outside the grant, on both ways to it."""

import ctypes
import os
import socket
import subprocess

import pytest

from world import BUILD, tool

DENIED = {"EACCES", "EPERM"}


def landlock_version():
    """0 where the kernel has no Landlock."""
    return max(0, ctypes.CDLL(None, use_errno=True).syscall(444, None, 0, 1))


pytestmark = pytest.mark.skipif(landlock_version() == 0, reason="this kernel has no Landlock")


@pytest.fixture(params=["hand-over", "stored bookmark"])
def confined(world, request):
    if request.param == "hand-over":
        world.hand_over(world.documents)
    else:
        world.grant(world.documents)
    world.make_pdf("a.pdf")
    return world


def probe(world, *lines, status=0):
    """The outcome of each line that the misbehaving engine tried, in order."""
    file = world.root / "probes"
    file.write_text("".join(f"{line}\n" for line in lines))
    run = world.kelv("a.pdf", environment={"KELV_PROBES": str(file)})
    assert run.status == status, (run.status, run.stderr)
    outcomes = [call.notes["outcome"] for call in run.calls_of("probe")]
    assert len(outcomes) == len(lines), run.stderr
    return outcomes


def test_files_outside_cannot_be_read_or_listed(confined):
    secret = confined.outside / "secret"
    secret.write_text("secret")
    key = confined.home / ".ssh"
    key.mkdir()
    (key / "id").write_text("key")
    other = confined.config / "other"
    other.mkdir()
    (other / "settings").write_text("x")
    (confined.documents / "way-out").symlink_to(confined.outside)
    lines = [
        f"read {secret}",
        f"read {key}/id",
        f"read {other}/settings",
        f"read {confined.documents}/way-out/secret",
        f"read {confined.documents}/../outside/secret",
        f"read /proc/self/root{secret}",
        f"read /proc/self/cwd/../outside/secret",
        f"list {confined.outside}",
        f"list {confined.home}",
        f"list {confined.root}",
        "list /",
        f"list {os.path.expanduser('~')}",
        f"thread-read {secret}",
        f"old-thread-read {secret}",
    ]
    outcomes = dict(zip(lines, probe(confined, *lines)))
    assert {line: outcome for line, outcome in outcomes.items() if outcome not in DENIED} == {}


def test_nothing_outside_can_be_written_made_or_removed(confined):
    victim = confined.outside / "victim"
    victim.write_text("untouched")
    inside = confined.documents / "inside"
    inside.write_text("x")
    lines = [
        f"write {victim}",
        f"make {confined.outside}/new",
        f"make {confined.home}/.profile",
        f"make {confined.config}/autostart",
        f"remove {victim}",
        f"rename {victim} {confined.documents}/stolen",
        f"rename {inside} {confined.outside}/moved",
        f"link {victim} {confined.documents}/linked",
        f"truncate {victim}",
        "write /etc/passwd",
        "write /usr/bin/env",
    ]
    outcomes = dict(zip(lines, probe(confined, *lines)))
    outcomes = {line: ("EPERM" if outcome in ("EXDEV", "ENOENT") else outcome) for line, outcome in outcomes.items()}
    assert {line: outcome for line, outcome in outcomes.items() if outcome not in DENIED} == {}
    assert victim.read_text() == "untouched"
    assert confined.names(confined.outside) == ["victim"]


def test_what_is_granted_stays_usable(confined):
    (confined.documents / "deep").mkdir()
    (confined.documents / "deep" / "b").write_text("b")
    outcomes = probe(
        confined,
        f"read {confined.documents}/a.pdf",
        f"read {confined.documents}/deep/b",
        f"list {confined.documents}/deep",
        f"make {confined.documents}/deep/new",
        f"make {confined.temporary}/new",
        f"remove {confined.temporary}/new",
    )
    assert outcomes == ["ok"] * 6


def test_no_connection_can_be_made(confined):
    server = socket.socket()
    server.bind(("127.0.0.1", 0))
    server.listen()
    server.settimeout(0.2)
    unix = socket.socket(socket.AF_UNIX)
    unix_path = confined.documents / "socket"
    unix.bind(str(unix_path))
    unix.listen()
    outcomes = probe(confined, f"connect {server.getsockname()[1]}", f"connect-unix {unix_path}")
    assert set(outcomes) <= DENIED | {"EAFNOSUPPORT"}
    with pytest.raises(TimeoutError):
        server.accept()


def test_no_program_can_be_started(confined):
    mark = confined.documents / "mark"
    script = confined.documents / "script"
    script.write_text(f"#!/bin/sh\ntouch {mark}\n")
    script.chmod(0o755)
    outcomes = probe(confined, "execute /bin/true", "execute /usr/bin/env", f"execute {script}")
    assert set(outcomes) <= DENIED
    assert not mark.exists()


def test_other_processes_cannot_be_traced(confined):
    assert probe(confined, "trace x")[0] in DENIED


def test_the_limits_are_in_force_before_the_first_pdf_or_profile_byte_is_read(confined):
    profile = confined.documents / "p.kelvcp"
    profile.write_text("()")
    trace = confined.root / "trace"
    process = subprocess.run(
        [tool("strace"), "-f", "-qq", "-y", "-o", trace, "-e", "trace=landlock_restrict_self,seccomp,prctl,openat,open",
         *confined.command("a.pdf", "p.kelvcp")],
        env=confined.start_environment(), cwd=confined.documents, capture_output=True,
    )  # fmt: skip
    assert process.returncode == 0
    lines = trace.read_text(errors="replace").splitlines()
    landlock = next(i for i, line in enumerate(lines) if "landlock_restrict_self" in line)
    seccomp = next(i for i, line in enumerate(lines) if "seccomp(SECCOMP_SET_MODE_FILTER" in line or "PR_SET_SECCOMP" in line)
    reads = [i for i, line in enumerate(lines) if ("a.pdf" in line or "p.kelvcp" in line) and "open" in line]
    assert reads and landlock < min(reads) and seccomp < min(reads)


def test_without_landlock_one_log_line_says_so_and_our_own_check_holds(confined):
    confined.make_pdf("b.pdf", folder=confined.outside)
    trace = [
        tool("strace"), "-f", "-qq", "-o", "/dev/null",
        "-e", "inject=landlock_create_ruleset:error=ENOSYS",
    ]  # fmt: skip
    run = confined.kelv("a.pdf", before=trace)
    run.assert_clean_end()
    assert len(run.opened) == 1
    said = [line for line in run.log if b"Landlock" in line or b"landlock" in line]
    assert len(said) == 1
    run = confined.kelv(confined.outside / "b.pdf", before=trace)
    assert run.text[0].startswith("ERROR: 3fiuhI§22 - Error Domain=NSCocoaErrorDomain Code=257 ")
    assert run.opened == []


def test_without_seccomp_one_log_line_says_so(confined):
    run = confined.kelv(
        "a.pdf",
        before=[
            tool("strace"), "-f", "-qq", "-o", "/dev/null",
            "-e", "inject=seccomp,prctl:error=EINVAL",
        ],
    )  # fmt: skip
    run.assert_clean_end()
    assert len(run.opened) == 1
    assert [line for line in run.log if b"seccomp" in line or b"system call" in line]


def test_an_ordinary_run_logs_no_complaint_about_its_limits(confined):
    run = confined.kelv("a.pdf")
    assert run.log == [b"4 batchCompress", b"5 batchCompress", b"6 batchCompress", b"7 batchCompress"]


def test_the_real_engine_works_inside_the_limits(confined):
    sample = next((BUILD.parent / "samples").glob("*.pdf"), None)
    if sample is None:
        sample = next(iter(sorted((BUILD.parent / "samples").rglob("*.pdf"))))
    (confined.documents / "a.pdf").write_bytes(sample.read_bytes())
    run = confined.kelv("a.pdf", "--verbose", recording=False)
    run.assert_clean_end()
    assert run.text[-1] == "Finished compressing all files. Terminating..."
