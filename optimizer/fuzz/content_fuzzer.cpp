// Content streams: the reader, the rewriter, and that what was rewritten reads the same when it is rewritten again.
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
  if (once.has_value() == reader.damaged()) {
    std::abort();  // kept exactly when it is damaged, within the bound on nesting
  }
  if (once && !rewriteContent({reinterpret_cast<const std::uint8_t*>(once->data()), once->size()}, options)) {
    std::abort();  // sound content became damaged
  }
  return 0;
}
