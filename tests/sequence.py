"""The engine calls that one file leads to, in order, as (name, (type, value)...)."""

MINIMAL = {"imageQuality": 0.5, "imageResolution": 150}

RESOLUTIONS = [
    "SetBitonalResolutionDPI",
    "SetBitonalThresholdDPI",
    "SetMonochromeResolutionDPI",
    "SetMonochromeThresholdDPI",
    "SetColorResolutionDPI",
    "SetColorThresholdDPI",
    "SetResolutionDPI",
    "SetThresholdDPI",
]

# Setting, key, default.
SWITCHES = [
    ("SetClipImages", "clipImages", 1),
    ("SetReduceColorComplexity", "reduceColorComplexity", 1),
    ("SetForceRecompression", "forceRecompression", 0),
    ("SetConvertToCFF", "convertToCFF", 1),
    ("SetMergeEmbeddedFonts", "mergeEmbeddedFonts", 1),
    ("SetRemoveStandardFonts", "removeStandardFonts", 0),
    ("SetSubsetFonts", "subsetFonts", 1),
    ("SetOptimizeResources", "optimizeResources", 1),
    ("SetRemoveRedundantObjects", "removeRedundantObjects", 1),
]

FIXED = [
    ("SetBitonalCompressions", ("int", 0x440)),
    ("SetContinuousCompressions", ("int", 0x502)),
    ("SetIndexedCompressions", ("int", 4)),
    ("SetForceCompressionTypes", ("int", 0)),
    ("SetDitheringMode", ("int", 0)),
    ("SetMrcLayerCompression", ("int", 8)),
    ("SetMrcLayerResolutionDPI", ("float", 70.0)),
    ("SetMrcMaskCompression", ("int", 6)),
    ("SetMrcLayerQuality", ("int", 10)),
    ("SetMrcRecognizePictures", ("int", 1)),
    ("SetMrcPictCompression", ("int", 1)),
    ("SetAutoLinearize", ("int", 1)),
]

STRIP_BITS = {
    "stripThreads": 0x1,
    "stripMetadata": 0x2,
    "stripPieceInfo": 0x4,
    "stripDocumentStructureTree": 0x8,
    "stripThumbnails": 0x10,
    "stripSpiderInfo": 0x20,
    "stripAlternateImages": 0x40,
    "stripAndFlattenFormFields": 0x80,
    "stripAndFlattenLinkAnnotations": 0x100,
    "stripAndFlattenAnnotationsExceptFormFieldsAndLinks": 0x200,
    "stripTheDocumentOutputIntents": 0x400,
}

PRODUCER = ("SetInfoEntryA", ("text", b"Producer"), ("text", b"Kelvara 4"))


def info(name, value):
    return ("SetInfoEntryA", ("text", name.encode()), ("text", value if isinstance(value, bytes) else value.encode()))


def sequence(
    path,
    *,
    profile=True,
    quality=50,
    resolution=150.0,
    color_conversion=0,
    switches=None,
    entries=(PRODUCER,),
    strip=0x44,
    remove_images=False,
    output=None,
):
    """What the engine must be asked for one file that is opened and saved. output None: any path."""
    calls = [("CreateObject",), ("OpenA", ("text", bytes(path)), ("text", b""))]
    if not profile:
        calls.append(("SetProfile", ("int", 3)))
    else:
        calls.append(("SetProfile", ("int", 1)))
        calls.append(("SetColorConversion", ("unsigned", color_conversion)))
        calls += [(name, ("float", resolution)) for name in RESOLUTIONS]
        calls.append(("SetImageQuality", ("int", quality)))
        calls += [(name, ("int", (switches or {}).get(key, default))) for name, key, default in SWITCHES]
        calls += FIXED
        calls += entries
        calls.append(("SetStrip", ("unsigned", strip)))
        if remove_images:
            calls.append(("SetRemoveImages", ("int", 1)))
    calls.append(("SaveAsA", ("text", output), ("text", b""), ("text", b""), ("unsigned", 0xFFFFFFFF)))
    calls += [("Close",), ("DestroyObject",)]
    return calls


def made(run, handle=None):
    """The calls of a run in the same form, without Initialize; the output path is taken out."""
    found = []
    for call in run.calls:
        if call.name == "Initialize" or (handle is not None and call.handle != handle):
            continue
        arguments = list(call.arguments)
        if call.name == "SaveAsA":
            arguments[0] = ("text", None)
        found.append((call.name, *arguments))
    return found


def setting(run, name):
    """The value of a setting that must have been made exactly once."""
    calls = run.calls_of(name)
    assert len(calls) == 1, run.names
    assert len(calls[0].values) == 1
    return calls[0].values[0]
