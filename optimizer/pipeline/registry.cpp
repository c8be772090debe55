#include "optimizer/pipeline/registry.h"

#include "optimizer/passes/passes.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

bool always(const Settings&) { return true; }
bool removesRedundant(const Settings& settings) { return settings.removeRedundantObjects; }

// Order matters. What a setting removes goes first, so that no later pass works on it or keeps something alive for it.
// Flattening comes before everything that looks at what content uses, because it makes content of annotations. Equal
// objects become one before images and fonts, so that nothing is worked on twice, and again at the end, when everything
// else is final. Images and fonts come next, on content as it was drawn; then content and resources, which see the final
// images and fonts. Streams are coded last, once.
constexpr PassEntry kPasses[] = {
    {"redundant", "Lets one of equal objects stand for all.", removesRedundant, makeRedundantPass},
    {"streams", "Codes every stream again with the strongest Deflate, and keeps what is smaller.", always,
     makeStreamsPass},
    // Once more: streams that were coded differently are the same only now.
    {"redundant", "Lets one of equal objects stand for all.", removesRedundant, makeRedundantPass},
};

}  // namespace

std::span<const PassEntry> passRegistry() { return kPasses; }

}  // namespace optimizer
