#include "kelv/batch/output_name.h"

#include <cstdint>

#include "platform/path.h"

namespace kelv {
namespace {

constexpr std::size_t longestName = 255;  // bytes, of the usual file systems

std::string shortened(std::string stem, std::size_t suffixLength) {
  if (stem.size() + suffixLength <= longestName) return stem;
  std::size_t length = longestName - suffixLength;
  // Bytes of the form 10xxxxxx continue a character.
  while (length > 0 && (static_cast<unsigned char>(stem[length]) & 0xC0) == 0x80) --length;
  stem.resize(length);
  return stem;
}

}  // namespace

std::string freeNumberedPath(platform::FileManager& files, const std::string& path) {
  const std::string folder = platform::deletingLastPathComponent(path);
  const std::string stem = platform::deletingPathExtension(platform::lastPathComponent(path));
  for (std::uint64_t number = 2;; ++number) {
    std::string suffix = " ";
    suffix += std::to_string(number) + ".pdf";
    const std::string candidate =
        platform::appendingPathComponent(folder, shortened(stem, suffix.size()) + suffix);
    if (!files.fileExists(candidate)) return candidate;
  }
}

}  // namespace kelv
