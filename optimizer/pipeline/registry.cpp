#include "optimizer/pipeline/registry.h"

#include "optimizer/passes/passes.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

bool always(const Settings&) { return true; }

// Order matters. What a setting removes goes first, so that no later pass works on it or keeps something alive for it.
// Flattening comes before everything that looks at what content uses, because it makes content of annotations. Images
// and fonts come next, on content as it was drawn; then content and resources, which see the final images and fonts;
// then redundant objects, which can only find equals when everything else is final; streams are coded last, once.
constexpr PassEntry kPasses[] = {
    {"streams", "Codes every stream again with the strongest Deflate, and keeps what is smaller.", always,
     makeStreamsPass},
};

}  // namespace

std::span<const PassEntry> passRegistry() { return kPasses; }

}  // namespace optimizer
