#include "optimizer/audit/kinds.h"

namespace optimizer {

std::span<const AuditKindEntry> auditKinds() {
  static constexpr AuditKindEntry kKinds[] = {
      {AuditKind::imageJpeg, "Images", "JPEG", "image-jpeg"},
      {AuditKind::imageJpeg2000, "Images", "JPEG 2000", "image-jpeg2000"},
      {AuditKind::imageJbig2, "Images", "JBIG2", "image-jbig2"},
      {AuditKind::imageFax, "Images", "CCITT fax", "image-ccitt"},
      {AuditKind::imageFlate, "Images", "Flate", "image-flate"},
      {AuditKind::imageLzw, "Images", "LZW", "image-lzw"},
      {AuditKind::imageRunLength, "Images", "run length", "image-runlength"},
      {AuditKind::imagePlain, "Images", "uncompressed", "image-plain"},
      {AuditKind::fontType1, "Fonts", "Type 1", "font-type1"},
      {AuditKind::fontTrueType, "Fonts", "TrueType", "font-truetype"},
      {AuditKind::fontCff, "Fonts", "CFF", "font-cff"},
      {AuditKind::fontOpenType, "Fonts", "OpenType", "font-opentype"},
      {AuditKind::fontType3, "Fonts", "Type 3 glyphs", "font-type3"},
      {AuditKind::fontMaps, "Fonts", "character maps", "font-maps"},
      {AuditKind::fontObjects, "Fonts", "dictionaries and widths", "font-objects"},
      {AuditKind::pageContent, "Content", "of pages", "content-pages"},
      {AuditKind::formContent, "Content", "shared pieces (form XObjects)", "content-forms"},
      {AuditKind::appearances, "Content", "appearances of annotations", "content-appearances"},
      {AuditKind::patterns, "Content", "patterns and shadings", "content-patterns"},
      {AuditKind::colorProfiles, "Colour", "profiles (ICC)", "color-profiles"},
      {AuditKind::colorSpaces, "Colour", "spaces and functions", "color-spaces"},
      {AuditKind::pageObjects, "Structure", "pages and resources", "pages"},
      {AuditKind::outlines, "Structure", "outlines and destinations", "outlines"},
      {AuditKind::annotations, "Structure", "links and annotations", "annotations"},
      {AuditKind::formFields, "Structure", "form fields", "form-fields"},
      {AuditKind::tags, "Structure", "tags for screen readers", "tags"},
      {AuditKind::otherObjects, "Structure", "other objects", "objects"},
      {AuditKind::crossReference, "Structure", "cross-reference", "cross-reference"},
      {AuditKind::framing, "Structure", "header, markers, blanks", "framing"},
      {AuditKind::metadataXmp, "Metadata", "XMP", "metadata-xmp"},
      {AuditKind::metadataInfo, "Metadata", "document information", "metadata-info"},
      {AuditKind::privateData, "Metadata", "private data of programs", "private-data"},
      {AuditKind::attachments, "Attachments", "files", "attachments"},
      {AuditKind::thumbnails, "Thumbnails", "of pages", "thumbnails"},
      {AuditKind::unreferenced, "Unreferenced", "objects that nothing refers to", "unreferenced"},
      {AuditKind::earlierVersions, "Unreferenced", "earlier versions of objects", "earlier-versions"},
      {AuditKind::strayBytes, "Unreferenced", "bytes outside of objects", "stray-bytes"},
  };
  return kKinds;
}

}  // namespace optimizer
