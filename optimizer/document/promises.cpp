#include "optimizer/document/promises.h"

#include <cstdlib>
#include <set>
#include <string>

#include "optimizer/base/limits.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/document/text.h"
#include "optimizer/document/xmp.h"

namespace optimizer {
namespace {

std::optional<Xmp> metadataOf(Document& document) {
  QPDFObjectHandle stream = document.pdf().getRoot().getKey("/Metadata");
  if (!stream.isStream()) return std::nullopt;
  const Result<Bytes> bytes = decodedStreamData(stream);
  if (!bytes.ok()) return std::nullopt;
  return Xmp::parse(*bytes);
}

bool hasSignature(QPDFObjectHandle field, bool inheritsSig, std::set<QPDFObjGen>& seen, int depth) {
  if (!field.isDictionary() || depth > limits::kNesting) return false;
  if (field.isIndirect() && !seen.insert(field.getObjGen()).second) return false;
  const bool isSig = field.hasKey("/FT") ? field.getKey("/FT").isNameAndEquals("/Sig") : inheritsSig;
  if (isSig && field.getKey("/V").isDictionary()) return true;
  QPDFObjectHandle kids = field.getKey("/Kids");
  if (!kids.isArray()) return false;
  for (const QPDFObjectHandle& kid : kids.getArrayAsVector()) {
    if (hasSignature(kid, isSig, seen, depth + 1)) return true;
  }
  return false;
}

struct InfoProperty {
  const char* entry;
  std::string_view space;
  const char* name;
  Xmp::Form form;
  bool date;
};

constexpr InfoProperty kInfoProperties[] = {
    {"Title", xmp::kDublinCore, "title", Xmp::Form::languageAlternative, false},
    {"Author", xmp::kDublinCore, "creator", Xmp::Form::sequence, false},
    {"Subject", xmp::kDublinCore, "description", Xmp::Form::languageAlternative, false},
    {"Keywords", xmp::kPdf, "Keywords", Xmp::Form::text, false},
    {"Creator", xmp::kBasic, "CreatorTool", Xmp::Form::text, false},
    {"Producer", xmp::kPdf, "Producer", Xmp::Form::text, false},
    {"CreationDate", xmp::kBasic, "CreateDate", Xmp::Form::text, true},
    {"ModDate", xmp::kBasic, "ModifyDate", Xmp::Form::text, true},
};

void takeBackClaims(Document& document, Xmp& metadata, const Settings& settings, const Promises& promises,
                    bool encrypts) {
  const bool noTags = (settings.strip & stripStructureTree) != 0;
  const bool noIntents = (settings.strip & stripOutputIntents) != 0;
  const bool drawn = (settings.strip & (flattenFormFields | flattenLinks | flattenOtherAnnotations)) != 0;
  if (promises.pdfAPart != 0) {
    if (noIntents || encrypts) {
      metadata.removeNamespace(xmp::kPdfAId);
    } else if (noTags && promises.pdfAConformance == "A") {
      // The level that asks for the same without tags.
      metadata.set(xmp::kPdfAId, "conformance", Xmp::Form::text, "B");
    }
  }
  // What is drawn into the page is not tagged.
  if (promises.pdfUa && (noTags || drawn)) metadata.removeNamespace(xmp::kPdfUaId);
  if (promises.pdfX && (noIntents || encrypts)) {
    metadata.removeNamespace(xmp::kPdfXId);
    QPDFObjectHandle info = document.pdf().getTrailer().getKey("/Info");
    if (info.isDictionary()) {
      info.removeKey("/GTS_PDFXVersion");
      info.removeKey("/GTS_PDFXConformance");
    }
  }
}

}  // namespace

Promises promisesOf(Document& document) {
  Promises promises;
  try {
    const std::optional<std::string> version = document.infoEntry("GTS_PDFXVersion");
    promises.pdfX = version.has_value();
    const std::optional<Xmp> metadata = metadataOf(document);
    if (!metadata) return promises;
    const std::optional<std::string> part = metadata->property(xmp::kPdfAId, "part");
    if (part) promises.pdfAPart = std::atoi(part->c_str());
    promises.pdfAConformance = metadata->property(xmp::kPdfAId, "conformance").value_or("");
    promises.pdfUa = metadata->hasNamespace(xmp::kPdfUaId);
    promises.pdfX = promises.pdfX || metadata->hasNamespace(xmp::kPdfXId);
  } catch (...) {
    // A catalog or metadata that cannot be read promises nothing.
  }
  return promises;
}

bool isSigned(Document& document) {
  try {
    std::set<QPDFObjGen> seen;
    QPDFObjectHandle form = document.pdf().getRoot().getKey("/AcroForm");
    if (form.isDictionary() && form.getKey("/Fields").isArray()) {
      for (const QPDFObjectHandle& field : form.getKey("/Fields").getArrayAsVector()) {
        if (hasSignature(field, false, seen, 0)) return true;
      }
    }
    // Widgets that the form forgot to list.
    for (QPDFObjectHandle page : document.pages()) {
      QPDFObjectHandle annotations = page.getKey("/Annots");
      if (!annotations.isArray()) continue;
      for (QPDFObjectHandle annotation : annotations.getArrayAsVector()) {
        if (annotation.isDictionary() && annotation.getKey("/FT").isNameAndEquals("/Sig") &&
            annotation.getKey("/V").isDictionary()) {
          return true;
        }
      }
    }
  } catch (...) {
    // What cannot be read cannot be verified by anyone either.
  }
  return false;
}

Settings keepingPromises(const Settings& settings, const Promises& promises) {
  Settings kept = settings;
  if (promises.pdfAPart != 0) kept.removeStandardFonts = false;
  kept.onlyPdf14 = promises.pdfA1();
  return kept;
}

Status updateMetadata(Document& document, const Settings& settings, const Promises& promises, bool encrypts,
                      std::time_t now) {
  return withoutExceptions("The metadata cannot be updated", [&]() -> Status {
    QPDFObjectHandle root = document.pdf().getRoot();
    std::optional<Xmp> metadata = metadataOf(document);
    if (!metadata || (settings.strip & stripMetadata) != 0) return {};
    const std::string before = metadata->text();
    for (const InfoProperty& property : kInfoProperties) {
      if (document.changedInfo().count(property.entry) == 0) continue;
      // ModDate is renewed by every save: where the metadata says nothing about it, only PDF/A wants it to begin to.
      const bool known = metadata->property(property.space, property.name).has_value();
      if (property.date && !known && promises.pdfAPart == 0) continue;
      const std::string value = document.infoEntry(property.entry).value_or("");
      metadata->set(property.space, property.name, property.form, property.date ? xmpDate(value) : value);
    }
    if (metadata->property(xmp::kBasic, "MetadataDate")) {
      metadata->set(xmp::kBasic, "MetadataDate", Xmp::Form::text, xmpDate(pdfDate(now)));
    }
    takeBackClaims(document, *metadata, settings, promises, encrypts);
    metadata->trimPadding();
    if (metadata->text() == before) return {};
    // Another object may share the stream; only the document's metadata changes.
    QPDFObjectHandle stream = QPDFObjectHandle::newStream(&document.pdf());
    stream.replaceDict(root.getKey("/Metadata").getDict().shallowCopy());
    const std::string& text = metadata->text();
    setStreamData(stream, Bytes(text.begin(), text.end()), QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
    root.replaceKey("/Metadata", stream);
    return {};
  });
}

}  // namespace optimizer
