"""The arrows between the rooms: what each one may include."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
INCLUDE = re.compile(r'^\s*#\s*include\s+(["<])([^">]+)[">]', re.M)

# Every header of the C++20 standard library: names without a dot, no folder.
STANDARD = re.compile(r"^[a-z_]+$")
C_STANDARD = {"float.h", "limits.h", "math.h", "stddef.h", "stdint.h", "stdio.h", "stdlib.h", "string.h"}
# Test files may use the test framework.
TEST_FRAMEWORK = re.compile(r"^(gtest|gmock)/")

ENGINE_HEADER = "kelv/engine/PdfOptimizeAPI.h"


def includes(room):
    """(file, style, included name) of every include below a room."""
    for path in sorted((ROOT / room).rglob("*")):
        if path.suffix in (".h", ".cpp", ".c"):
            for style, name in INCLUDE.findall(path.read_text("utf-8")):
                yield path, style, name


def wrong(room, allowed):
    return [
        f"{path.relative_to(ROOT)}: {name}"
        for path, style, name in includes(room)
        if not allowed(path, style, name) and not (is_test(path) and TEST_FRAMEWORK.match(name))
    ]


def is_test(path):
    return path.stem.endswith("_test") or "testing" in path.parts or "fuzz" in path.parts


def is_standard(name):
    return bool(STANDARD.match(name)) or name in C_STANDARD


def is_platform_header(name):
    return bool(re.match(r"^platform/[^/]+\.h$", name))


def test_the_tool_includes_only_the_standard_library_the_platform_and_itself():
    def allowed(path, style, name):
        if style == "<":
            return is_standard(name)
        return is_platform_header(name) or name.startswith("kelv/") or (is_test(path) and name.startswith("platform/testing/"))

    assert wrong("kelv", allowed) == []


def test_the_engine_knows_nothing_of_the_tool_or_the_platform():
    def allowed(path, style, name):
        if style == "<":
            return True
        return name.startswith("optimizer/") or name == ENGINE_HEADER

    assert wrong("optimizer", allowed) == []
    assert [
        f"{path.relative_to(ROOT)}: {name}"
        for path, _, name in includes("optimizer")
        if name.startswith(("kelv/", "platform/", "kelvara/")) and name != ENGINE_HEADER
    ] == []


def test_platform_headers_hold_no_system_type():
    for path in sorted((ROOT / "platform").glob("*.h")):
        for style, name in INCLUDE.findall(path.read_text("utf-8")):
            assert is_standard(name) if style == "<" else is_platform_header(name), f"{path.name}: {name}"


def test_the_platform_does_not_know_who_uses_it():
    def allowed(path, style, name):
        return style == "<" or name.startswith("platform/")

    assert wrong("platform", allowed) == []


def test_the_companion_uses_shared_state_profiles_platform_and_the_engines_own_headers():
    def allowed(path, style, name):
        if style == "<":
            return True
        return name.startswith(("kelvara/", "kelv/shared/", "kelv/profile/", "optimizer/")) or is_platform_header(name)

    assert wrong("kelvara", allowed) == []


def test_there_is_something_to_check():
    assert len(list(includes("kelv"))) > 50
    assert len(list(includes("optimizer"))) > 50
