// Makes image objects of inline images (ISO 32000-1, 8.9.7), so that the passes for images work on them, too:
// content then draws the object by a name of its own. Equal inline images become one object, on however many
// pages.
//
//   1. Every content stream is read with the resources of each page, form, pattern or Type 3 font that it
//   belongs to
//      (its owners). An image is lifted only where all of them understand it in the same way.
//   2. It must be decodable to its last row, so that where its data ends is beyond doubt, and no smaller than
//   some
//      hundred bytes over all its uses: an object takes about that much by itself.
//   3. It is put into the resources of its owners under a name that no content or resource of the document
//   uses.
//      Content without resources of its own keeps its images, because they would have to go into those of
//      others.
//
// In glyphs that take their colour from the text (d1), only stencil masks may be drawn, as before (9.6.5).
#include "optimizer/passes/inline_images.h"

#include <algorithm>
#include <map>
#include <optional>
#include <qpdf/QPDF.hh>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "optimizer/base/deflate.h"
#include "optimizer/content/inline_dictionary.h"
#include "optimizer/content/stream.h"
#include "optimizer/document/document.h"
#include "optimizer/document/reachable.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/document/usage.h"
#include "optimizer/image/decode.h"
#include "optimizer/image/source.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"

namespace optimizer {
namespace {

// Of one image's data, and of all its uses as they are stored: below, an object would not be smaller.
constexpr std::size_t kLeastData = 200;
constexpr std::size_t kLeastStored = 300;
// Deflate finds an image again within this many bytes.
constexpr std::size_t kWindow = 24 << 10;
// Bounds over a whole document: content read, data lifted, samples decoded to see that images are whole,
// images.
constexpr std::size_t kMostContent = std::size_t{128} << 20, kMostRead = std::size_t{1} << 30;
constexpr std::size_t kMostData = std::size_t{64} << 20, kMostDecoded = std::size_t{1} << 30;
constexpr std::size_t kMostImages = 20'000;
constexpr std::size_t kNone = ~std::size_t{0};

// Content with resources of its own.
struct Owner {
  QPDFObjectHandle object;
  std::vector<QPDFObjectHandle> streams;
  bool glyph = false;
};

struct Found {
  QPDFObjectHandle stream;
  std::size_t dataHash = 0, textBytes = 0;
  std::size_t deflated = 0;  // of its text in content
  bool stencil = false, usable = false;
  std::size_t stored = 0;  // of all uses
  std::vector<QPDFObjectHandle> owners;
  std::size_t lifted = kNone;  // index into LiftedImages::images
};

struct Occurrence {
  std::size_t image = kNone;
  std::size_t seen = 0;  // by how many owners
  bool sameForAll = true;
};

struct Content {
  QPDFObjectHandle stream;
  std::vector<QPDFObjectHandle> owners;
  std::optional<bool> promising;  // may hold inline images
  std::map<std::pair<std::size_t, std::size_t>, Occurrence> occurrences;
};

std::string_view view(ByteView bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

bool isBlank(ByteView bytes) { return std::all_of(bytes.begin(), bytes.end(), content::isWhiteSpace); }

class LiftInlineImagesPass : public Pass {
 public:
  std::string_view name() const override { return "inline images"; }

  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("Inline images cannot be read",
                             [&]() -> Result<PassOutcome> { return run(context); });
  }

 private:
  PassOutcome run(PassContext& context);
  void collect(Document& document);
  void add(QPDFObjectHandle owner, std::vector<QPDFObjectHandle> streams, bool glyph);
  void scan(QPDF& pdf, const Owner& owner);
  bool isPromising(Content& content);
  std::size_t imageOf(QPDF& pdf, const content::Instruction& in, QPDFObjectHandle colorSpaces, ByteView text);
  bool isWhole(QPDFObjectHandle stream);
  void choose();
  std::size_t lift(PassContext& context);

  std::vector<Owner> owners_;
  std::map<QPDFObjGen, Content> contents_;
  std::vector<Found> found_;
  std::map<std::string, std::vector<std::size_t>> byDictionary_;
  std::size_t read_ = 0, data_ = 0, decoded_ = 0;
  std::set<std::string> taken_;  // names of external objects
};

void LiftInlineImagesPass::add(QPDFObjectHandle owner, std::vector<QPDFObjectHandle> streams, bool glyph) {
  for (QPDFObjectHandle& stream : streams) {
    Content& content = contents_[stream.getObjGen()];
    content.stream = stream;
    content.owners.push_back(owner);
  }
  if (!streams.empty()) owners_.push_back({owner, std::move(streams), glyph});
}

void LiftInlineImagesPass::collect(Document& document) {
  for (const QPDFObjectHandle& page : document.pages()) add(page, content::contentStreams(page), false);
  const auto names = [this](QPDFObjectHandle dictionary) {
    QPDFObjectHandle objects = dictionary.isDictionary() ? dictionary.getKey("/XObject") : dictionary;
    if (!objects.isDictionary()) return;
    for (const std::string& key : objects.getKeys()) taken_.insert(key);
  };
  std::set<QPDFObjGen> pages;
  for (const QPDFObjectHandle& page : document.pages()) pages.insert(page.getObjGen());
  for (QPDFObjectHandle& object : document.reachable()) {
    QPDFObjectHandle dictionary = object.isStream() ? object.getDict() : object;
    if (!dictionary.isDictionary()) continue;
    names(dictionary);
    for (const char* key : {"/Resources", "/DR"}) names(dictionary.getKey(key));
    QPDFObjectHandle form = dictionary.getKey("/AcroForm");
    if (form.isDictionary()) names(form.getKey("/DR"));
    if (object.isStream()) {
      // What has a box may be drawn, whatever it calls itself.
      if (dictionary.hasKey("/BBox") && !dictionary.hasKey("/ShadingType")) add(object, {object}, false);
      if (dictionary.hasKey("/PS") || dictionary.hasKey("/Subtype2"))
        contents_[object.getObjGen()].promising = false;
    } else if (dictionary.getKey("/Subtype").isNameAndEquals("/Type3") &&
               dictionary.getKey("/CharProcs").isDictionary()) {
      for (auto& [glyph, procedure] : dictionary.getKey("/CharProcs").getDictAsMap()) {
        if (procedure.isStream()) add(object, {procedure}, true);
      }
    } else if (!pages.count(object.getObjGen())) {
      // Hidden pages: their content keeps its images.
      for (QPDFObjectHandle& stream : content::contentStreams(dictionary))
        contents_[stream.getObjGen()].promising = false;
    }
  }
}

bool LiftInlineImagesPass::isPromising(Content& content) {
  if (content.promising) return *content.promising;
  content.promising = false;
  if (!content.stream.getDict().getKey("/F").isNull() || read_ > kMostRead) return false;
  const Result<Bytes> bytes = content::decodedStream(content.stream, kMostContent);
  if (!bytes) return false;
  read_ += bytes->size();
  const std::string_view text = view(*bytes);
  for (std::size_t at = text.find("BI"); at != std::string_view::npos; at = text.find("BI", at + 1)) {
    const bool begins = at == 0 || !content::isRegular(static_cast<std::uint8_t>(text[at - 1]));
    const bool ends = at + 2 < text.size() && !content::isRegular(static_cast<std::uint8_t>(text[at + 2]));
    if (begins && ends && text.size() - at > kLeastData) {
      content.promising = true;
      break;
    }
  }
  return *content.promising;
}

// Decodes to the last row, and unfiltered data is no longer than that.
bool LiftInlineImagesPass::isWhole(QPDFObjectHandle stream) {
  const Result<ImageSource> source = readImageSource(stream);
  if (!source) return false;
  const bool sampled = source->coding == ImageCoding::raw || source->coding == ImageCoding::flate;
  QPDFObjectHandle dictionary = stream.getDict();
  if (sampled && !source->stencil && !dictionary.hasKey("/BitsPerComponent")) return false;
  const std::size_t expected = source->rowBytes() * source->height;
  constexpr std::size_t lineEnd = 2;
  if (dictionary.getKey("/Filter").isNull() && source->data.size() > expected + lineEnd) return false;
  decoded_ += decodedBytes(*source);
  return decoded_ <= kMostDecoded && decodeImage(*source).ok();
}

// text: from BI to EI.
std::size_t LiftInlineImagesPass::imageOf(QPDF& pdf, const content::Instruction& in,
                                          QPDFObjectHandle colorSpaces, ByteView text) {
  if (!content::endsUnmistakably(in)) return kNone;
  const std::optional<QPDFObjectHandle> dictionary = content::inlineImageDictionary(in, colorSpaces);
  if (!dictionary) return kNone;
  const std::string data(view(in.imageData));
  const std::size_t hash = std::hash<std::string>()(data);
  std::vector<std::size_t>& alike = byDictionary_[QPDFObjectHandle(*dictionary).unparse()];
  for (std::size_t i : alike) {
    if (found_[i].dataHash != hash) continue;
    const Result<Bytes> known = rawStreamData(found_[i].stream);
    if (known.ok() && view(*known) == data) return i;
  }
  if (found_.size() >= kMostImages || data_ + data.size() > kMostData) return kNone;
  data_ += data.size();
  Found found;
  found.stream = QPDFObjectHandle::newStream(&pdf, data);
  for (const auto& [key, value] : QPDFObjectHandle(*dictionary).getDictAsMap()) {
    found.stream.getDict().replaceKey(key, value);
  }
  found.dataHash = hash;
  found.textBytes = text.size();
  QPDFObjectHandle stencil = QPDFObjectHandle(*dictionary).getKey("/ImageMask");
  found.stencil = stencil.isBool() && stencil.getBoolValue();
  found.usable = isWhole(found.stream);
  if (found.usable) found.deflated = deflate(text, 6).size();
  alike.push_back(found_.size());
  found_.push_back(std::move(found));
  return found_.size() - 1;
}

void LiftInlineImagesPass::scan(QPDF& pdf, const Owner& owner) {
  bool promising = false;
  for (const QPDFObjectHandle& stream : owner.streams)
    promising = isPromising(contents_[stream.getObjGen()]) || promising;
  QPDFObjectHandle resources = resourcesOfOwner(owner.object);
  if (!promising || !resources.isDictionary()) return;
  QPDFObjectHandle objects = resources.getKey("/XObject");
  if (!objects.isNull() && !objects.isDictionary()) return;

  // The streams as one, because an image may begin in one and end in the next: such a one stays.
  Bytes text;
  std::vector<std::size_t> begins;
  for (const QPDFObjectHandle& stream : owner.streams) {
    const Result<Bytes> part = content::decodedStream(stream, kMostContent);
    if (!part || text.size() + part->size() > kMostContent) return;
    begins.push_back(text.size());
    text.insert(text.end(), part->begin(), part->end());
    text.push_back('\n');
  }
  read_ += text.size();
  if (read_ > kMostRead) return;

  std::vector<std::pair<Occurrence*, std::size_t>> seen;
  content::ContentReader reader(text);
  content::Instruction in;
  bool stencilsOnly = false;
  for (const std::uint8_t* end = text.data(); reader.next(in); end = reader.position()) {
    stencilsOnly = stencilsOnly || (owner.glyph && in.op == content::Op::glyphWidthBox);
    if (in.op != content::Op::beginInlineImage || in.imageData.size() < kLeastData) continue;
    // Operands without an operator would become those of the operator that draws the object.
    if (!isBlank({end, static_cast<std::size_t>(in.keyword.data - end)})) continue;
    const auto from = static_cast<std::size_t>(in.keyword.data - text.data());
    const auto to = static_cast<std::size_t>(in.imageRaw.data() + in.imageRaw.size() - text.data());
    const auto after = std::upper_bound(begins.begin(), begins.end(), from);
    const std::size_t part = static_cast<std::size_t>(after - begins.begin()) - 1;
    if (part + 1 < begins.size() && to >= begins[part + 1]) continue;
    const std::size_t image =
        imageOf(pdf, in, resources.getKey("/ColorSpace"), ByteView(text).subspan(from, to - from));
    if (image == kNone || !found_[image].usable || (stencilsOnly && !found_[image].stencil)) continue;
    Content& content = contents_[owner.streams[part].getObjGen()];
    seen.emplace_back(&content.occurrences[{from - begins[part], to - begins[part]}], image);
  }
  if (reader.damaged()) return;
  for (auto& [occurrence, image] : seen) {
    occurrence->sameForAll = occurrence->sameForAll && (occurrence->seen == 0 || occurrence->image == image);
    occurrence->image = image;
    ++occurrence->seen;
  }
}

// Leaves in contents_ what is to be lifted, and counts for each image what it takes now.
void LiftInlineImagesPass::choose() {
  for (auto& [id, content] : contents_) {
    std::erase_if(content.occurrences, [&content](const auto& entry) {
      return !entry.second.sameForAll || entry.second.seen != content.owners.size() ||
             content.promising == false;
    });
    std::set<std::size_t> here;
    for (const auto& [span, occurrence] : content.occurrences) {
      Found& found = found_[occurrence.image];
      if (here.insert(occurrence.image).second || found.textBytes > kWindow) found.stored += found.deflated;
    }
  }
  for (auto& [id, content] : contents_) {
    std::erase_if(content.occurrences,
                  [this](const auto& entry) { return found_[entry.second.image].stored < kLeastStored; });
    std::set<std::size_t> here;
    for (const auto& [span, occurrence] : content.occurrences) {
      if (!here.insert(occurrence.image).second) continue;
      std::vector<QPDFObjectHandle>& owners = found_[occurrence.image].owners;
      owners.insert(owners.end(), content.owners.begin(), content.owners.end());
    }
  }
}

std::size_t LiftInlineImagesPass::lift(PassContext& context) {
  auto lifted = std::make_shared<LiftedImages>();
  // A name that nothing has is drawn as nothing: it must not become ours.
  std::set<std::string> missing;
  for (const Found& found : found_) {
    if (found.owners.empty()) continue;
    missing = usageOf(context).missingXObjects;
    break;
  }
  std::size_t number = 0;
  for (Found& found : found_) {
    if (found.owners.empty()) continue;
    LiftedImage image;
    do {
      image.name = "/II" + std::to_string(++number);
    } while (taken_.count(image.name) != 0 || missing.count(image.name.substr(1)) != 0);
    image.owners = found.owners;
    image.inlineBytes = found.stored;
    found.stream.getDict().replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
    found.stream.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
    for (const QPDFObjectHandle& owner : image.owners) {
      QPDFObjectHandle resources = resourcesOfOwner(owner);
      if (!resources.hasKey("/XObject")) resources.replaceKey("/XObject", QPDFObjectHandle::newDictionary());
      resources.getKey("/XObject").replaceKey(image.name, found.stream);
    }
    found.lifted = lifted->images.size();
    lifted->images.push_back(std::move(image));
  }
  for (auto& [id, content] : contents_) {
    if (content.occurrences.empty()) continue;
    LiftedStream stream{content.stream, content.stream.copyStream(), {}};
    for (const auto& [span, occurrence] : content.occurrences) {
      stream.spans.push_back({span.first, span.second, found_[occurrence.image].lifted});
    }
    const Result<Bytes> text = content::decodedStream(content.stream, kMostContent);
    if (!text) continue;
    setStreamData(content.stream, withImagesNamed(*text, stream.spans, lifted->images),
                  QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
    lifted->streams.push_back(std::move(stream));
  }
  const std::size_t count = lifted->images.size();
  if (count != 0) context.lifted = std::move(lifted);
  return count;
}

PassOutcome LiftInlineImagesPass::run(PassContext& context) {
  collect(context.document);
  for (const Owner& owner : owners_) scan(context.document.pdf(), owner);
  choose();
  const std::size_t count = lift(context);
  if (count == 0) return PassOutcome::unchanged;
  context.report.note(std::to_string(count) + " inline images became objects");
  return PassOutcome::changed;
}

}  // namespace

QPDFObjectHandle resourcesOfOwner(QPDFObjectHandle owner) {
  QPDFObjectHandle dictionary = owner.isStream() ? owner.getDict() : owner;
  return dictionary.isDictionary() ? dictionary.getKey("/Resources") : QPDFObjectHandle::newNull();
}

Bytes withImagesNamed(ByteView content, const std::vector<LiftedStream::Span>& spans,
                      const std::vector<LiftedImage>& images) {
  Bytes text;
  std::size_t at = 0;
  for (const LiftedStream::Span& span : spans) {
    text.insert(text.end(), content.begin() + static_cast<std::ptrdiff_t>(at),
                content.begin() + static_cast<std::ptrdiff_t>(span.begin));
    const std::string draw = images[span.image].name + " Do";
    text.insert(text.end(), draw.begin(), draw.end());
    at = span.end;
  }
  text.insert(text.end(), content.begin() + static_cast<std::ptrdiff_t>(at), content.end());
  return text;
}

std::unique_ptr<Pass> makeLiftInlineImagesPass() { return std::make_unique<LiftInlineImagesPass>(); }

}  // namespace optimizer
