// Content streams: the reader and the rewriter, which takes only sound content and makes sound content.
#include <cstdlib>

#include "optimizer/content/reader.h"
#include "optimizer/content/rewrite.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace optimizer::content;
  ContentReader reader({data, size});
  Instruction instruction;
  while (reader.next(instruction)) {
  }
  RewriteOptions options;
  options.tolerance = size % 2 == 0 ? 0 : 0.006;
  options.isSimpleFont = [](const std::string& name) { return name.size() % 2 == 0; };
  const std::optional<std::string> once = rewriteContent({data, size}, options);
  if (once && reader.damaged()) {
    std::abort();
  }
  if (once) {
    ContentReader again({reinterpret_cast<const std::uint8_t*>(once->data()), once->size()});
    while (again.next(instruction)) {
    }
    if (again.damaged()) {
      std::abort();
    }
  }
  return 0;
}
