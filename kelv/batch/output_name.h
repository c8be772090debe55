// Names for results whose planned name is taken.
#pragma once

#include <string>

#include "platform/files.h"

namespace kelv {

// The first of "STEM 2.pdf", "STEM 3.pdf", … beside path that nothing exists at, STEM being path's name
// without its extension. A stem that would make the name longer than a file name can be is shortened, never
// within a UTF-8 character.
std::string freeNumberedPath(platform::FileManager& files, const std::string& path);

}  // namespace kelv
