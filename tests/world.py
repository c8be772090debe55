"""A private world for one run of kelv: where it lives, what it may touch, what it printed and what it asked of the engine."""

import json
import os
import plistlib
import re
import shutil
import subprocess
from dataclasses import dataclass, field
from pathlib import Path
from urllib.parse import quote_from_bytes

BUILD = Path(os.environ.get("KELV_BUILD", Path(__file__).resolve().parent.parent / "build"))
KELV = BUILD / "bin" / "kelv"
KELVARA = BUILD / "bin" / "kelvara"
RECORDING_ENGINE = BUILD / "tests" / "engine"
BOOKMARK = BUILD / "tests" / "support" / "bookmark"
FIXED_CLOCK = BUILD / "tests" / "support" / "libfixed_clock.so"
SANITIZED = bool(os.environ.get("KELV_SANITIZE"))

HAND_OVER = "SharedURLDataFromMainApp"
REMOVED = "UserHasRemovedAccess"
LOCAL = "LocalGrantAccessBookmarkData"
ORIGINAL_TOTAL = "StatisticsOriginalFileSizeTotal"
COMPRESSED_TOTAL = "StatisticsCompressedFileSizeTotal"

LOG_LINE = re.compile(rb"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} kelv\[\d+:[0-9a-f]+\] (.*)$")


@dataclass
class Call:
    """One call into the engine: its name, the handle's number (0: none) and the arguments as (type, value)."""

    name: str
    handle: int
    arguments: list
    thread: int
    time: int  # nanoseconds, monotonic
    notes: dict = field(default_factory=dict)

    @property
    def values(self):
        return [value for _, value in self.arguments]


def engine_text(text):
    """The bytes of a text in the record."""
    return None if text is None else text.encode("latin-1")


def read_record(path):
    calls = []
    for line in Path(path).read_text("ascii").splitlines():
        entry = json.loads(line)
        arguments = []
        for kind, value in entry["arguments"]:
            if kind == "float":
                value = float(value)
            elif kind == "text":
                value = engine_text(value)
            arguments.append((kind, value))
        name = entry["call"].removeprefix("PdfOptimize")
        calls.append(Call(name, int(entry.get("handle", 0)), arguments, entry["thread"], entry["time"], entry))
    return calls


class Run:
    """What one run of kelv left behind."""

    def __init__(self, process, calls):
        self.status = process.returncode
        self.stdout = process.stdout
        self.stderr = process.stderr
        self.calls = calls

    @property
    def lines(self):
        """Standard output as a list of lines without their line breaks; every line must be ended."""
        assert self.stdout == b"" or self.stdout.endswith(b"\n"), self.stdout
        return self.stdout.split(b"\n")[:-1]

    @property
    def text(self):
        return [line.decode() for line in self.lines]

    @property
    def log(self):
        """The texts of the log lines, as echoed to standard error."""
        return [match[1] for match in map(LOG_LINE.match, self.stderr.split(b"\n")) if match]

    @property
    def names(self):
        """The names of the engine calls, in order."""
        return [call.name for call in self.calls]

    def calls_of(self, *names):
        return [call for call in self.calls if call.name in names]

    @property
    def opened(self):
        """The input paths that the engine was asked to open, in order."""
        return [call.values[0] for call in self.calls_of("OpenA")]

    def assert_clean_end(self):
        assert self.status == 0, (self.status, self.stdout, self.stderr)

    def assert_engine_untouched(self):
        assert self.names == []

    def assert_abnormal_stop(self, stdout=b""):
        """Stopped by a signal (or with a status of its own), nothing on standard output but what came before."""
        assert self.status != 0, (self.stdout, self.stderr)
        assert self.status in (-6, 134), (self.status, self.stderr)
        assert self.stdout == stdout
        assert self.stderr.strip() != b""


class World:
    def __init__(self, root):
        root.chmod(0o755)
        self.root = root
        self.home = root / "home"
        self.config = root / "config"
        self.data = root / "data"
        self.temporary = root / "temporary"
        self.documents = root / "documents"
        self.outside = root / "outside"
        for folder in (self.home, self.config, self.data, self.temporary, self.documents, self.outside):
            folder.mkdir()
        self.script_path = root / "engine-script"
        self.record_path = root / "engine-record"
        self.environment = {
            "HOME": str(self.home),
            "XDG_CONFIG_HOME": str(self.config),
            "XDG_DATA_HOME": str(self.data),
            "TMPDIR": str(self.temporary),
            "PATH": "/usr/bin:/bin",
            "PWD": str(self.documents),
            "LANG": "C.UTF-8",
            "TZ": "UTC",
        }
        for name in ("ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"):
            if name in os.environ:
                self.environment[name] = os.environ[name]
        self.coverage_mount = None
        if "KELV_COVERAGE" in os.environ:
            self._collect_coverage(Path(os.environ["KELV_COVERAGE"]))
        self.locked = []
        self.working_directory = self.documents
        self.script = []

    def _collect_coverage(self, build):
        """Brings the coverage build into a place where kelv may write, so that its counters reach it."""
        self.coverage_mount = self.config / "kelvara" / "coverage"
        self.coverage_mount.mkdir(parents=True)
        subprocess.run(["mount", "--bind", build, self.coverage_mount], check=True)
        self.environment["GCOV_PREFIX"] = str(self.coverage_mount)
        self.environment["GCOV_PREFIX_STRIP"] = str(len(build.resolve().parts) - 1)

    def close(self):
        self.unlock()
        if self.coverage_mount:
            subprocess.run(["umount", self.coverage_mount], check=True)

    # Files.

    def make_pdf(self, name, size=1000, folder=None):
        """A file of `size` bytes under the granted folder. The recording engine makes it half as large."""
        path = Path(os.fsdecode(os.path.join(os.fsencode(folder or self.documents), os.fsencode(name))))
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes((b"%PDF-1.4 original\n" + b"o" * size)[:size])
        return path

    def lock(self, path, mode=0):
        """Takes permissions away until the test ends."""
        self.locked.append((path, path.stat().st_mode & 0o7777))
        path.chmod(mode)

    def unlock(self):
        for path, mode in reversed(self.locked):
            if path.exists():
                path.chmod(mode)
        self.locked = []

    # The preferences that kelv shares with the companion.

    def plist_path(self, domain):
        return self.config / "kelvara" / f"{domain}.plist"

    @property
    def suite_path(self):
        return self.plist_path("group.kelvara")

    @property
    def standard_path(self):
        return self.plist_path("kelv")

    def read_suite(self):
        return plistlib.loads(self.suite_path.read_bytes()) if self.suite_path.exists() else {}

    def read_standard(self):
        return plistlib.loads(self.standard_path.read_bytes()) if self.standard_path.exists() else {}

    def write_suite(self, **values):
        self._write(self.suite_path, {**self.read_suite(), **values})

    def write_standard(self, **values):
        self._write(self.standard_path, {**self.read_standard(), **values})

    @staticmethod
    def _write(path, values):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(plistlib.dumps(values))

    def bookmark(self, path, options=0):
        return subprocess.run([BOOKMARK, path, str(options)], env=self.environment, check=True, capture_output=True).stdout

    def hand_over(self, path):
        """What the companion does once: hands a folder over."""
        self.write_suite(**{HAND_OVER: self.bookmark(path)})

    def grant(self, path):
        """The state after an earlier hand-over: kelv has its own bookmark."""
        self.write_standard(**{LOCAL: self.bookmark(path, 2048)})

    # The engine's behaviour.

    def engine(self, input=None, **behaviour):
        """Scripts the recording engine; `input` limits the rest to inputs whose path contains it. Info entries: info={…}."""
        if input is not None:
            self.script.append((b"input", os.fsencode(input)))
        for name, value in behaviour.items():
            name = name.replace("_", "-").encode()
            if name == b"info":
                self.script += [(b"info " + key.encode(), self._bytes(text)) for key, text in value.items()]
            else:
                self.script.append((name, self._bytes(value)))

    @staticmethod
    def _bytes(value):
        return value if isinstance(value, bytes) else str(value).encode()

    # Running.

    def command(self, *arguments, program=KELV):
        return [os.fsencode(program), *(os.fsencode(argument) for argument in arguments)]

    def start_environment(self, environment=None, clock=None, recording=True):
        """The environment of a run; values of None are taken out."""
        values = dict(self.environment)
        if recording:
            self.script_path.write_bytes(
                b"".join(name + b"\t" + quote_from_bytes(value, safe=b"/ ").encode() + b"\n" for name, value in self.script)
            )
            values["LD_LIBRARY_PATH"] = str(RECORDING_ENGINE)
            values["KELV_RECORD"] = str(self.record_path)
            values["KELV_SCRIPT"] = str(self.script_path)
        if clock is not None:
            values["LD_PRELOAD"] = str(FIXED_CLOCK)
            values["KELV_TEST_CLOCK"] = repr(clock)
        for name, value in (environment or {}).items():
            if value is None:
                values.pop(name, None)
            else:
                values[name] = value
        return values

    def kelv(
        self,
        *arguments,
        environment=None,
        clock=None,
        recording=True,
        ordinary_user=False,
        cwd=None,
        timeout=60,
        before=(),
        **options,
    ):
        """Runs kelv to its end. ordinary_user: file permissions hold even when the tests run as root."""
        self.record_path.unlink(missing_ok=True)
        command = [*before, *self.command(*arguments)]
        if ordinary_user and os.geteuid() == 0:
            command = ["setpriv", "--bounding-set=-dac_override,-dac_read_search,-fowner", "--", *command]
        process = subprocess.run(
            command,
            env=self.start_environment(environment, clock, recording),
            cwd=cwd or self.working_directory,
            capture_output=True,
            stdin=subprocess.DEVNULL,
            timeout=timeout,
            **options,
        )
        calls = read_record(self.record_path) if self.record_path.exists() else []
        # The engine is loaded when there is work; a run that ended well and did not only explain itself had some.
        if recording and process.returncode == 0 and not {"--help", "-help"} & set(map(str, arguments)):
            assert self.record_path.exists(), ("the recording engine was not loaded", process.stderr)
        return Run(process, calls)

    # What is left afterwards.

    def names(self, folder=None):
        """The names in the documents folder (or another), sorted."""
        return sorted(entry.name for entry in (folder or self.documents).iterdir())

    def temporary_files(self):
        return sorted(self.temporary.iterdir())

    def trashed(self):
        """The names in the user's Trash with the original path of each."""
        found = {}
        info = self.data / "Trash" / "info"
        for entry in sorted(info.iterdir()) if info.exists() else []:
            path = re.search(r"^Path=(.*)$", entry.read_text(), re.M)[1]
            found[entry.name.removesuffix(".trashinfo")] = path
        return found


def is_whole_result(path):
    """Whether the file is what the recording engine writes, complete."""
    content = Path(path).read_bytes()
    return content.startswith(b"%PDF-1.7 recorded\n") and content.endswith(b"\n%%EOF whole\n")


def is_whole_original(path):
    content = Path(path).read_bytes()
    return content.startswith(b"%PDF-1.4 original\n") and content.rstrip(b"o") == b"%PDF-1.4 original\n"


def on_other_file_system(world):
    """A folder on a file system other than the world's, or None where the machine has none."""
    for candidate in ("/dev/shm", "/run", "/var/tmp"):
        if os.path.isdir(candidate) and os.access(candidate, os.W_OK):
            if os.stat(candidate).st_dev != os.stat(world.root).st_dev:
                return Path(candidate)
    return None


def tool(name):
    found = shutil.which(name)
    assert found, f"{name} is missing: scripts/install-packages installs it"
    return found
