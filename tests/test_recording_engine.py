"""The recording engine itself: what it writes down is what was called."""

import ctypes
import os
import subprocess
import sys

from world import RECORDING_ENGINE, read_record

LIBRARY = RECORDING_ENGINE / "libPdfOptimizeAPI.so"

PROGRAM = """
import ctypes, sys
engine = ctypes.CDLL(sys.argv[1])
engine.PdfOptimizeCreateObject.restype = ctypes.c_void_p
engine.PdfOptimizeGetErrorMessageA.restype = ctypes.c_char_p
engine.PdfOptimizeGetInfoEntryA.restype = ctypes.c_char_p
engine.PdfOptimizeInitialize()
handle = ctypes.c_void_p(engine.PdfOptimizeCreateObject())
print(engine.PdfOptimizeOpenA(handle, sys.argv[2].encode(), b"pass\\xffword"))
print(engine.PdfOptimizeGetErrorMessageA(handle))
print(engine.PdfOptimizeGetInfoEntryA(handle, b"Title"))
engine.PdfOptimizeSetResolutionDPI(handle, ctypes.c_float(0.1))
engine.PdfOptimizeSetStrip(handle, ctypes.c_uint(0xFFFFFFFF))
engine.PdfOptimizeSetImageQuality(handle, -5)
print(engine.PdfOptimizeSaveAsA(handle, sys.argv[3].encode(), b"", b"", ctypes.c_uint(0xFFFFFFFF)))
engine.PdfOptimizeClose(handle)
engine.PdfOptimizeDestroyObject(handle)
"""


def test_every_call_is_recorded_with_its_types(world):
    source = world.make_pdf("a.pdf")
    target = world.documents / "result.pdf"
    world.engine(open=0, open_message=b"a\xff%\n", info={"Title": "T"}, output=300)
    printed = subprocess.run(
        [sys.executable, "-c", PROGRAM, LIBRARY, source, target],
        env={**os.environ, **world.start_environment()},
        capture_output=True,
        check=True,
    ).stdout.decode()
    assert printed == "0\nb'a\\xff%\\n'\nb'T'\n1\n"
    calls = read_record(world.record_path)
    assert [(call.name, call.handle, call.arguments) for call in calls] == [
        ("Initialize", 0, []),
        ("CreateObject", 1, []),
        ("OpenA", 1, [("text", os.fsencode(source)), ("text", b"pass\xffword")]),
        ("GetErrorMessageA", 1, []),
        ("GetInfoEntryA", 1, [("text", b"Title")]),
        ("SetResolutionDPI", 1, [("float", 0.1)]),
        ("SetStrip", 1, [("unsigned", 0xFFFFFFFF)]),
        ("SetImageQuality", 1, [("int", -5)]),
        (
            "SaveAsA",
            1,
            [("text", os.fsencode(target)), ("text", b""), ("text", b""), ("unsigned", 0xFFFFFFFF)],
        ),
        ("Close", 1, []),
        ("DestroyObject", 1, []),
    ]
    assert target.stat().st_size == 300


def test_the_library_has_every_function_of_the_interface():
    header = (LIBRARY.parent.parent.parent.parent / "kelv" / "engine" / "PdfOptimizeAPI.h")
    if not header.exists():
        header = os.path.join(os.path.dirname(__file__), "..", "kelv", "engine", "PdfOptimizeAPI.h")
    import re

    text = open(header, encoding="utf-8").read()
    names = set(re.findall(r"\b(PdfOptimize\w+)\s*\(", text))
    assert len(names) == 44, sorted(names)
    engine = ctypes.CDLL(str(LIBRARY))
    assert [name for name in sorted(names) if not hasattr(engine, name)] == []
