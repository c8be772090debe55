// The fonts of a document as its font passes see them: each embedded program once, with every dictionary that uses it
// (ISO 32000-1, 9.5 to 9.9).
#pragma once

#include <string>
#include <vector>

#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/base/result.h"

namespace optimizer {

class Document;

enum class ProgramKind {
  type1,     // FontFile
  trueType,  // FontFile2
  cff,       // FontFile3, Type1C or CIDFontType0C
  openType,  // FontFile3, OpenType
  other,
};

// A font dictionary that content selects, and the one that holds its descriptor: itself, or of a Type 0 font the
// descendant.
struct FontUser {
  QPDFObjectHandle font;
  QPDFObjectHandle holder;
  bool composite() const { return composite_; }
  bool composite_ = false;
};

struct FontProgram {
  QPDFObjectHandle stream;
  ProgramKind kind = ProgramKind::other;
  std::vector<QPDFObjectHandle> descriptors;
  std::vector<FontUser> users;
  // True where every reference to the stream comes from the descriptors, and every one to them from users, so that what
  // the users show is all that the program is for.
  bool usersKnown = true;
};

// Every embedded program that the document reaches, in the order of a walk through it. May throw what qpdf throws.
std::vector<FontProgram> fontPrograms(Document& document);

// True of a simple font without Widths: viewers look them up by its name, as one of the standard 14 (9.6.2.2), so the name
// must stay as it is.
bool hasWidthsByName(const FontUser& user);

// The name of a dictionary at key, with its slash; empty where there is none.
std::string nameAt(QPDFObjectHandle dictionary, const char* key);

// BaseFont or FontName without the slash and the six letters of a subset tag.
std::string withoutSubsetTag(const std::string& name);

// Puts a program in the place of another: the stream's data and entries, and the key in each descriptor.
void replaceProgram(FontProgram& program, ProgramKind kind, const std::string& subtype,
                    std::vector<unsigned char> data);

}  // namespace optimizer
