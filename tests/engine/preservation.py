#!/usr/bin/env python3
"""What a reader uses of a PDF, counted before and after: preservation.py BEFORE AFTER [BEFORE AFTER ...]

Counts come from pikepdf and from poppler's pdftotext. Prints one table row per pair and kind that differs (--all: per
kind) and exits 1 on a difference, 2 when a file cannot be read.
"""
import argparse
import subprocess
import sys

import pikepdf

MAX_DEPTH = 200


def name_tree(node, found, depth=0):
    """Adds the keys of a name tree (ISO 32000-1, 7.9.6)."""
    if depth > MAX_DEPTH or not isinstance(node, pikepdf.Dictionary):
        return
    names = node.get("/Names", [])
    found.extend(bytes(names[i]) for i in range(0, len(names) - 1, 2))
    for kid in node.get("/Kids", []):
        name_tree(kid, found, depth + 1)


def outlines(pdf):
    titles, seen = [], set()

    def walk(item, depth):
        while item is not None and item.objgen not in seen and depth < MAX_DEPTH:
            seen.add(item.objgen)
            titles.append((depth, str(item.get("/Title", "")), "/Dest" in item or "/A" in item))
            if "/First" in item:
                walk(item.First, depth + 1)
            item = item.get("/Next")

    root = pdf.Root.get("/Outlines")
    if root is not None and "/First" in root:
        walk(root.First, 0)
    return titles


def fields(pdf):
    values = []

    def walk(field, prefix, inherited, depth):
        if depth > MAX_DEPTH:
            return
        name = prefix + ("." if prefix and "/T" in field else "") + str(field.get("/T", ""))
        kind = field.get("/FT", inherited)
        children = [kid for kid in field.get("/Kids", []) if "/T" in kid]
        if not children:
            value = field.get("/V")
            values.append((name, str(kind), None if value is None else repr(plain(value))))
        for kid in children:
            walk(kid, name, kind, depth + 1)

    for field in pdf.Root.get("/AcroForm", {}).get("/Fields", []):
        walk(field, "", None, 0)
    return sorted(values, key=repr)


def plain(value, depth=0):
    """A value by its content alone: pages and what leads back to them are named, not followed."""
    if depth > 12:
        return "..."
    if isinstance(value, pikepdf.Array):
        return [plain(item, depth + 1) for item in value]
    if isinstance(value, pikepdf.Stream):
        return value.read_bytes()
    if isinstance(value, pikepdf.Dictionary):
        if value.get("/Type") in ("/Page", "/Pages", "/StructElem", "/Catalog"):
            return str(value.Type)
        return {key: plain(item, depth + 1) for key, item in value.items() if key not in ("/Parent", "/P", "/Prev", "/Next")}
    return str(value)


def articles(pdf):
    """For each thread its title, and how many beads it has."""
    found = []
    for thread in pdf.Root.get("/Threads", []):
        bead, seen = thread.get("/F"), set()
        while bead is not None and bead.objgen not in seen and len(seen) < 100000:
            seen.add(bead.objgen)
            bead = bead.get("/N")
        found.append((plain(thread.get("/I", {})), len(seen)))
    return found


def scripts_of(pdf):
    """JavaScript by name, at the document's events and at those of fields and annotations."""
    def text_of(action):
        script = action.get("/JS") if isinstance(action, pikepdf.Dictionary) else None
        if script is None:
            return None
        return script.read_bytes() if isinstance(script, pikepdf.Stream) else bytes(script)

    found = []
    for item in pdf.objects:
        if isinstance(item, pikepdf.Dictionary) and not isinstance(item, pikepdf.Stream):
            places = [item] + [item[key] for key in ("/A", "/AA", "/OpenAction") if isinstance(item.get(key), pikepdf.Dictionary)
                               and not item[key].is_indirect]
            for place in places:
                for value in [place] + [entry for _, entry in place.items() if isinstance(entry, pikepdf.Dictionary) and
                                        not entry.is_indirect]:
                    script = text_of(value)
                    if script is not None:
                        found.append(script)
    return sorted(set(found))


def annotations(pdf):
    """Subtypes, and for links where they lead, page by page."""
    all_of_them, links = [], []
    for index, page in enumerate(pdf.pages):
        for annotation in page.get("/Annots", []):
            subtype = str(annotation.get("/Subtype", ""))
            all_of_them.append((index, subtype, str(annotation.get("/Contents", "")), "/AP" in annotation))
            if subtype == "/Link":
                action = annotation.get("/A", {})
                uri = action.get("/URI")
                target = str(uri) if uri is not None else str(action.get("/S", "")) or "destination"
                links.append((index, [round(float(x), 2) for x in annotation.get("/Rect", [])], target))
    return all_of_them, links


def tags(pdf):
    """Structure types in reading order, with their alternative texts."""
    found, seen = [], set()
    root = pdf.Root.get("/StructTreeRoot")
    stack = [] if root is None else [root]
    while stack:
        node = stack.pop()
        if isinstance(node, pikepdf.Array):
            stack.extend(reversed([kid for kid in node]))
            continue
        if not isinstance(node, pikepdf.Dictionary) or (node.is_indirect and node.objgen in seen):
            continue
        if node.is_indirect:
            seen.add(node.objgen)
        if "/S" in node:
            found.append((str(node.S), str(node.get("/Alt", "")), str(node.get("/ActualText", ""))))
        if "/K" in node:
            stack.append(node.K)
    return found


def number_tree(node, found, depth=0):
    if depth > MAX_DEPTH or not isinstance(node, pikepdf.Dictionary):
        return
    nums = node.get("/Nums", [])
    for i in range(0, len(nums) - 1, 2):
        label = nums[i + 1]
        found.append((int(nums[i]), str(label.get("/S", "")), str(label.get("/P", "")), int(label.get("/St", 1))))
    for kid in node.get("/Kids", []):
        number_tree(kid, found, depth + 1)


def text(path, password):
    result = subprocess.run(["pdftotext", "-enc", "UTF-8", "-upw", password, path, "-"], capture_output=True,
                            check=False)
    if result.returncode != 0:
        raise RuntimeError(f"pdftotext: {result.stderr.decode(errors='replace').strip()}")
    return result.stdout


def inventory(path, password=""):
    """Kind -> list of what is there. Equal lists mean that a reader finds the same."""
    with pikepdf.open(path, password=password) as pdf:
        root = pdf.Root
        names = root.get("/Names", {})
        destinations, attachments, scripts, labels = [], [], [], []
        name_tree(names.get("/Dests"), destinations)
        destinations += [str(key).encode() for key in root.get("/Dests", {}).keys()]
        name_tree(names.get("/JavaScript"), scripts)
        number_tree(root.get("/PageLabels"), labels)
        for name, spec in pdf.attachments.items():
            attachments.append((name, spec.get_file().read_bytes()))
        everything, links = annotations(pdf)
        groups = [str(group.get("/Name", "")) for group in root.get("/OCProperties", {}).get("/OCGs", [])]
        metadata = root.get("/Metadata")
        information = {str(key): str(value) for key, value in (pdf.docinfo or {}).items()
                       if key not in ("/ModDate", "/Producer")}
        return {
            "pages": [[round(float(x), 2) for x in page.mediabox] for page in pdf.pages],
            "text": text(path, password).split(b"\f"),
            "links": links,
            "outlines": outlines(pdf),
            "destinations": sorted(destinations),
            "fields": fields(pdf),
            "annotations": everything,
            "tags": tags(pdf),
            "attachments": sorted(attachments),
            "page labels": labels,
            "optional content": groups,
            "scripts": sorted(scripts),
            "script texts": scripts_of(pdf),
            "articles": articles(pdf),
            "viewer preferences": sorted(plain(root.get("/ViewerPreferences", pikepdf.Dictionary())).items()),
            "page mode": [str(root.get(key)) for key in ("/PageMode", "/PageLayout") if key in root],
            "XFA": [] if "/XFA" not in root.get("/AcroForm", {}) else [plain(root.AcroForm.XFA)],
            "portfolio": [] if "/Collection" not in root else [plain(root.Collection)],
            "output intents": [plain(intent) for intent in root.get("/OutputIntents", [])],
            "metadata": [] if metadata is None else ["XMP"],
            "information": sorted(information.items()),
            "language": [str(root.Lang)] if "/Lang" in root else [],
        }


def compare(before, after, password="", every=False):
    """Table rows (kind, count before, count after, verdict)."""
    old, new = inventory(before, password), inventory(after)
    rows = []
    for kind, items in old.items():
        same = items == new[kind]
        if every or not same:
            rows.append((kind, len(items), len(new[kind]), "equal" if same else "DIFFERENT"))
    return rows


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="+", metavar="FILE")
    parser.add_argument("--all", action="store_true", help="also print what is equal")
    parser.add_argument("--password", default="", help="of the files before")
    options = parser.parse_args()
    if len(options.files) % 2:
        parser.error("files come in pairs")
    status = 0
    print(f"{'file':40} {'kind':18} {'before':>8} {'after':>8}")
    for before, after in zip(options.files[::2], options.files[1::2]):
        try:
            rows = compare(before, after, options.password, options.all)
        except (pikepdf.PdfError, RuntimeError, OSError) as problem:
            print(f"{before[-40:]:40} cannot be read: {problem}")
            status = 2
            continue
        for kind, old, new, verdict in rows:
            print(f"{before[-40:]:40} {kind:18} {old:8} {new:8} {verdict}")
            if verdict != "equal":
                status = max(status, 1)
    return status


if __name__ == "__main__":
    sys.exit(main())
