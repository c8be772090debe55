// What a test asks the recording engine to do, read from the file that KELV_SCRIPT names when the library is loaded.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace recording {

// How one input is treated.
struct Behaviour {
  int openResult = 1;
  int saveResult = 1;
  // Given by PdfOptimizeGetErrorMessageA after a failed open or save; none: a null pointer.
  std::optional<std::string> openMessage;
  std::optional<std::string> saveMessage;
  std::map<std::string, std::string> infoEntries;
  // "half" of the input's bytes, "copy" of the input, "none", or a number of bytes.
  std::string output = "half";
  int openDelay = 0;  // milliseconds
  int saveDelay = 0;
  // Run while the file is saved, after the output was written: "remove PATH", "make PATH", "chmod 0 PATH".
  std::string saveEffect;
};

// A script is a text of lines "name TAB value", where value is percent-encoded. A line "input TAB text" opens a section for the
// inputs whose path contains the text; lines before the first one hold for all others.
const Behaviour& behaviourFor(const std::string& inputPath);

// 0 when the script says "create TAB 0": then no handle is made.
bool createSucceeds();
int initializeResult();

}  // namespace recording
