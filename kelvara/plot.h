// The history of the totals as pictures.
#pragma once

#include <string>
#include <vector>

#include "kelvara/history.h"

namespace kelvara {

// One line for each day on which the totals changed: date, bytes saved so far, and a bar.
std::string plotAsText(const std::vector<Snapshot>& history, platform::Formatting& formatting);

// A self-contained SVG picture: bytes saved over time.
std::string plotAsSvg(const std::vector<Snapshot>& history, platform::Formatting& formatting);

}  // namespace kelvara
