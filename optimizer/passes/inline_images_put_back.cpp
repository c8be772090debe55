// Puts inline images back into their content (ISO 32000-1, 8.9.7) where an object of their own takes no fewer
// bytes, now that the image passes have made the best of it. A stream that gets back all of its images is
// what it was, byte for byte. Where every image must become something else (colour conversion, forced
// codings), all stay objects.
#include <algorithm>
#include <set>
#include <string>

#include "optimizer/base/deflate.h"
#include "optimizer/document/document.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/passes/inline_images.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

// What an object takes beside its dictionary and data: its number, keywords, the length, its entry in the
// table.
constexpr std::size_t kObjectBytes = 60;
// Of a name in a resource dictionary, with its reference, beside its letters.
constexpr std::size_t kNameBytes = 8;
constexpr int kDepth = 4;

class PutBackInlineImagesPass : public Pass {
 public:
  std::string_view name() const override { return "put back inline images"; }

  Result<PassOutcome> process(PassContext& context) override {
    if (!context.lifted) return PassOutcome::unchanged;
    return withoutExceptions("Inline images cannot be put back", [&] { return run(context); });
  }

 private:
  Result<PassOutcome> run(PassContext& context);
  std::size_t cost(Document& document, QPDFObjectHandle object, int depth);
  std::size_t cost(Document& document, const LiftedImage& image);
};

// Of an image, or of the form that an image became, with the images that it draws.
std::size_t PutBackInlineImagesPass::cost(Document& document, QPDFObjectHandle object, int depth) {
  if (!object.isStream() || depth > kDepth) return 0;
  QPDFObjectHandle dictionary = object.getDict();
  std::size_t bytes = kObjectBytes + dictionary.unparse().size();
  Result<Bytes> data = rawStreamData(object);
  if (data.ok()) {
    const bool plain = dictionary.getKey("/Filter").isNull() && !document.isFinal(object.getObjGen());
    bytes += plain ? std::min(data->size(), deflate(*data, 7).size()) : data->size();
  }
  bytes += cost(document, dictionary.getKey("/SMask"), depth + 1);
  bytes += cost(document, dictionary.getKey("/Mask"), depth + 1);
  QPDFObjectHandle resources = dictionary.getKey("/Resources");
  QPDFObjectHandle drawn =
      resources.isDictionary() ? resources.getKey("/XObject") : QPDFObjectHandle::newNull();
  if (!drawn.isDictionary()) return bytes;
  for (const std::string& key : drawn.getKeys()) bytes += cost(document, drawn.getKey(key), depth + 1);
  return bytes;
}

std::size_t PutBackInlineImagesPass::cost(Document& document, const LiftedImage& image) {
  std::size_t bytes = 0;
  std::set<QPDFObjGen> dictionaries;
  for (const QPDFObjectHandle& owner : image.owners) {
    QPDFObjectHandle resources = resourcesOfOwner(owner);
    if (resources.isIndirect() && !dictionaries.insert(resources.getObjGen()).second) continue;
    bytes += image.name.size() + kNameBytes;
  }
  QPDFObjectHandle resources = resourcesOfOwner(image.owners.front());
  return bytes + cost(document, resources.getKey("/XObject").getKey(image.name), 0);
}

Result<PassOutcome> PutBackInlineImagesPass::run(PassContext& context) {
  const LiftedImages& lifted = *context.lifted;
  const Settings& settings = context.settings;
  if (settings.colorConversion != ColorConversion::none || settings.forceRecompression ||
      settings.forceCompressionTypes) {
    return PassOutcome::unchanged;
  }
  std::vector<bool> back;
  for (const LiftedImage& image : lifted.images) {
    back.push_back(cost(context.document, image) >= image.inlineBytes);
  }
  const std::size_t count = static_cast<std::size_t>(std::count(back.begin(), back.end(), true));
  if (count == 0) return PassOutcome::unchanged;

  for (const LiftedStream& content : lifted.streams) {
    std::vector<LiftedStream::Span> kept;
    for (const LiftedStream::Span& span : content.spans) {
      if (!back[span.image]) kept.push_back(span);
    }
    if (kept.size() == content.spans.size()) continue;
    if (kept.empty()) {
      Result<Bytes> coded = rawStreamData(content.original);
      if (!coded) return coded.error();
      QPDFObjectHandle dictionary = QPDFObjectHandle(content.original).getDict();
      setStreamData(content.stream, std::move(*coded), dictionary.getKey("/Filter"),
                    dictionary.getKey("/DecodeParms"));
      continue;
    }
    const Result<Bytes> text = decodedStreamData(content.original);
    if (!text) return text.error();
    setStreamData(content.stream, withImagesNamed(*text, kept, lifted.images), QPDFObjectHandle::newNull(),
                  QPDFObjectHandle::newNull());
  }
  for (std::size_t i = 0; i < lifted.images.size(); ++i) {
    if (!back[i]) continue;
    for (const QPDFObjectHandle& owner : lifted.images[i].owners) {
      QPDFObjectHandle resources = resourcesOfOwner(owner), objects = resources.getKey("/XObject");
      if (!objects.isDictionary()) continue;
      if (objects.hasKey(lifted.images[i].name)) objects.removeKey(lifted.images[i].name);
      if (objects.getKeys().empty()) resources.removeKey("/XObject");
    }
  }
  context.report.note(std::to_string(count) + " inline images take fewer bytes as such");
  return PassOutcome::changed;
}

}  // namespace

std::unique_ptr<Pass> makePutBackInlineImagesPass() { return std::make_unique<PutBackInlineImagesPass>(); }

}  // namespace optimizer
