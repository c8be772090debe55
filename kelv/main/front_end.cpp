#include "kelv/main/front_end.h"

#include <algorithm>

namespace kelv {

bool hasFlag(const std::vector<std::string>& arguments, const std::string& flag) {
  return std::find(arguments.begin(), arguments.end(), flag) != arguments.end();
}

bool contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

}  // namespace kelv
