"""The engine's C interface for tests, without kelv in between."""
import ctypes
import os
import pathlib

BUILD = pathlib.Path(os.environ.get('KELV_BUILD', pathlib.Path(__file__).resolve().parents[2] / 'build'))
FLOATS = {'BitonalResolutionDPI', 'BitonalThresholdDPI', 'MonochromeResolutionDPI', 'MonochromeThresholdDPI',
          'ColorResolutionDPI', 'ColorThresholdDPI', 'ResolutionDPI', 'ThresholdDPI', 'MrcLayerResolutionDPI'}


def _library():
    library = ctypes.CDLL(str(BUILD / 'lib' / 'libPdfOptimizeAPI.so'))
    library.PdfOptimizeCreateObject.restype = ctypes.c_void_p
    library.PdfOptimizeGetErrorMessageA.restype = ctypes.c_char_p
    for name in ('DestroyObject', 'Close', 'GetErrorMessageA'):
        getattr(library, 'PdfOptimize' + name).argtypes = [ctypes.c_void_p]
    library.PdfOptimizeOpenA.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_char_p]
    library.PdfOptimizeSaveAsA.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_uint]
    return library


def optimize(source, target, profile, **settings):
    """Runs the engine; settings are named as in the C interface, without PdfOptimizeSet."""
    library = _library()
    library.PdfOptimizeInitialize()
    handle = library.PdfOptimizeCreateObject()
    try:
        def check(result):
            if not result:
                raise RuntimeError((library.PdfOptimizeGetErrorMessageA(handle) or b'failed').decode())
        check(library.PdfOptimizeOpenA(handle, str(source).encode(), b''))
        library.PdfOptimizeSetProfile(ctypes.c_void_p(handle), ctypes.c_int(profile))
        for name, value in settings.items():
            value = ctypes.c_float(value) if name in FLOATS else ctypes.c_int(value)
            getattr(library, 'PdfOptimizeSet' + name)(ctypes.c_void_p(handle), value)
        check(library.PdfOptimizeSaveAsA(handle, str(target).encode(), b'', b'', 0xFFFFFFFF))
    finally:
        library.PdfOptimizeClose(handle)
        library.PdfOptimizeDestroyObject(handle)
        library.PdfOptimizeUnInitialize()
