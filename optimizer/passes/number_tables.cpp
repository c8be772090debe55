#include "optimizer/passes/number_tables.h"

#include <algorithm>
#include <cstddef>

namespace optimizer {
namespace {

// Readers hold a row of a predictor in memory.
constexpr std::size_t kLongestRow = std::size_t{1} << 20;
constexpr int kMostBytes = 32;

int integer(QPDFObjectHandle dictionary, const char* key) {
  QPDFObjectHandle value = dictionary.getKey(key);
  return value.isInteger() ? value.getIntValueAsInt() : 0;
}

int length(QPDFObjectHandle dictionary, const char* key) {
  QPDFObjectHandle value = dictionary.getKey(key);
  return value.isArray() ? value.getArrayNItems() : 0;
}

// 8.7.4.5.5 and 8.7.4.5.6: bytes of one vertex, which ends at a whole byte.
int vertexBytes(QPDFObjectHandle dictionary, int type) {
  const int flag = type == 4 ? integer(dictionary, "/BitsPerFlag") : 0;
  const int place = integer(dictionary, "/BitsPerCoordinate"),
            component = integer(dictionary, "/BitsPerComponent");
  const int components = dictionary.hasKey("/Function") ? 1 : length(dictionary, "/Decode") / 2 - 2;
  if (flag < 0 || flag > 8 || place < 1 || place > 32 || component < 1 || component > 16 || components < 1 ||
      components > kMostBytes) {
    return 0;
  }
  return (flag + 2 * place + components * component + 7) / 8;
}

}  // namespace

unsigned tableStep(QPDFObjectHandle dictionary) {
  int step = 0;
  const int shading = integer(dictionary, "/ShadingType");
  const int components = integer(dictionary, "/N");
  if (dictionary.getKey("/FunctionType").isInteger()) {
    const int bits = integer(dictionary, "/BitsPerSample");
    if (integer(dictionary, "/FunctionType") == 0 && (bits == 8 || bits == 16))
      step = length(dictionary, "/Range") / 2 * bits / 8;
  } else if (shading == 4 || shading == 5) {
    step = vertexBytes(dictionary, shading);
  } else if ((components == 1 || components == 3 || components == 4) && !dictionary.hasKey("/Type") &&
             !dictionary.hasKey("/Subtype")) {
    // Profiles have no entry that names them; curves of 16 bits are most of those that matter.
    step = 2;
  }
  return step >= 1 && step <= kMostBytes ? static_cast<unsigned>(step) : 0;
}

std::uint32_t tableColumns(unsigned step, std::size_t bytes) {
  if (step == 0 || bytes == 0 || bytes > kLongestRow || bytes % step != 0) return 0;
  return static_cast<std::uint32_t>(bytes / step);
}

Bytes tableDifferences(unsigned step, ByteView plain) {
  Bytes out(plain.begin(), plain.end());
  for (std::size_t i = step; i < plain.size(); ++i)
    out[i] = static_cast<std::uint8_t>(plain[i] - plain[i - step]);
  return out;
}

}  // namespace optimizer
