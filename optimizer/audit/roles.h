// What each object of a document is for, found by walking from the trailer.
#pragma once

#include <map>
#include <qpdf/QPDFObjGen.hh>
#include <string>

#include "optimizer/audit/kinds.h"
#include "optimizer/document/document.h"

namespace optimizer {

struct Role {
  AuditKind kind = AuditKind::otherObjects;
  int page = 0;      // of a page's content: counted from 1; 0 elsewhere
  std::string name;  // of a font program its font's, of an attachment its file's; else empty
};

// Every object that the document leads to. An object that serves several purposes has the first of: pages,
// form fields, outlines, attachments, tags, anything else. May throw what qpdf throws.
std::map<QPDFObjGen, Role> rolesOf(Document& document);

// The coding of an image that says most about it: the last one that is of images, else the last.
AuditKind imageKindOf(QPDFObjectHandle imageDictionary);

}  // namespace optimizer
