// Where results go, and which profile makes them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kelv/main/front_end.h"

namespace kelv {

struct OutputPlan {
  std::string outputFolder;              // exactly as typed; empty when there is none
  std::vector<std::string> outputFiles;  // absolute, one for each input; empty when the value is no file
};

// What --output asks for; an output folder is made. Nothing after a problem, which is printed. --output as
// the last argument is a fatal error.
std::optional<OutputPlan> planOutput(const FrontEnd& frontEnd, std::size_t inputCount);

// Plans the output, reads the profile and starts the batch. After a problem, which is printed, nothing is
// compressed and the engine is not initialised.
void planOutputAndCompress(FrontEnd& frontEnd, const std::vector<std::string>& inputPaths);

}  // namespace kelv
