// The kinds of things that the bytes of a PDF file are for, in groups.
#pragma once

#include <cstdint>
#include <span>

namespace optimizer {

enum class AuditKind : std::uint8_t {
  imageJpeg,
  imageJpeg2000,
  imageJbig2,
  imageFax,
  imageFlate,
  imageLzw,
  imageRunLength,
  imagePlain,
  fontType1,
  fontTrueType,
  fontCff,
  fontOpenType,
  fontType3,
  fontMaps,
  fontObjects,
  pageContent,
  formContent,
  appearances,
  patterns,
  colorProfiles,
  colorSpaces,
  pageObjects,
  outlines,
  annotations,
  formFields,
  tags,
  otherObjects,
  crossReference,
  framing,
  metadataXmp,
  metadataInfo,
  privateData,
  attachments,
  thumbnails,
  unreferenced,
  earlierVersions,
  strayBytes,
};

struct AuditKindEntry {
  AuditKind kind;
  const char* group;  // "Images"
  const char* name;   // "JPEG": alone or behind its group's name it says what it is
  const char* id;     // for scripts: "image-jpeg"
};

// In the order of the enumeration; kinds of one group stand together.
std::span<const AuditKindEntry> auditKinds();
inline const AuditKindEntry& entryOf(AuditKind kind) { return auditKinds()[static_cast<std::size_t>(kind)]; }

constexpr bool isImage(AuditKind kind) { return kind <= AuditKind::imagePlain; }
constexpr bool isFontProgram(AuditKind kind) {
  return kind >= AuditKind::fontType1 && kind <= AuditKind::fontType3;
}

}  // namespace optimizer
