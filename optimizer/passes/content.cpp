// Writes content streams again, token by token (ISO 32000-1, 7.8): those of pages, joined into one where a page has
// several, and those of forms, tiling patterns and Type 3 glyphs. They look the same and need fewer bytes.
//
// A stream is kept as it is where reading it is not unambiguous, or where the new text packs no better. Coordinates are
// rounded only in the content of pages, where the scale is known, and only when the settings allow any loss.
#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "optimizer/base/deflate.h"
#include "optimizer/base/pool.h"
#include "optimizer/content/rewrite.h"
#include "optimizer/content/stream.h"
#include "optimizer/document/document.h"
#include "optimizer/document/reachable.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

// A tenth of a dot at 1,200 dpi, in inches.
constexpr double kTolerance = 0.1 / 1200;
constexpr std::size_t kMaxContent = std::size_t{128} << 20;
// What is decoded at one time.
constexpr std::size_t kBatchBytes = std::size_t{32} << 20;
// A stream that several pages share is joined into each of them only when it is as short as this.
constexpr std::size_t kSharedBytes = 64;

struct Job {
  std::vector<QPDFObjectHandle> streams;  // in their order
  std::vector<QPDFObjectHandle> pages;    // with exactly these streams; none for other content
  QPDFObjectHandle resources;
  double tolerance = 0;
  std::set<std::string> simpleFonts;
  Bytes before;
  std::optional<std::string> after;
  bool better = false;
  bool namesKept = false;
};

// Shorter text may pack worse: what counts is what the file will hold.
bool worthwhile(const Job& job) {
  constexpr int level = 3;
  constexpr double muchShorter = 0.7;
  if (static_cast<double>(job.after->size()) < muchShorter * static_cast<double>(job.before.size())) return true;
  const ByteView after(reinterpret_cast<const std::uint8_t*>(job.after->data()), job.after->size());
  std::size_t packed = 0, packedBefore = 0;
  inParallel([&] { packed = deflate(after, level).size(); }, [&] { packedBefore = deflate(job.before, level).size(); });
  return packed < packedBefore + (job.streams.size() > 1 ? 32 : 0);
}

QPDFObjectHandle entry(QPDFObjectHandle dictionary, const char* key) {
  return dictionary.isDictionary() ? dictionary.getKey(key) : QPDFObjectHandle::newNull();
}

class ContentPass : public Pass {
 public:
  std::string_view name() const override { return "content"; }
  // What draws stays, and so do the names of what it needs, unless one was only set and never used.
  bool keepsUsage() const override { return namesKept_; }
  bool keepsObjects() const override { return !joined_; }
  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("Content streams cannot be rewritten",
                             [&]() -> Result<PassOutcome> { return run(context); });
  }

 private:
  PassOutcome run(PassContext& context);
  void collectPages(PassContext& context);
  void collectOthers(Document& document);
  void addOther(QPDFObjectHandle stream, QPDFObjectHandle resources);
  bool read(Job& job);
  bool mayJoin(const Job& job);
  void put(Document& document, Job& job);

  std::vector<Job> jobs_;
  std::map<QPDFObjGen, int> uses_;   // of each stream by different Contents entries
  std::set<QPDFObjGen> taken_;
  bool joined_ = false;
  bool namesKept_ = true;
};

PassOutcome ContentPass::run(PassContext& context) {
  collectPages(context);
  collectOthers(context.document);

  std::size_t rewritten = 0, before = 0, after = 0;
  for (std::size_t begin = 0; begin < jobs_.size();) {
    std::size_t end = begin, held = 0;
    while (end < jobs_.size() && held < kBatchBytes) {
      read(jobs_[end]);
      held += jobs_[end++].before.size();
    }
    context.pool.parallelFor(end - begin, [&](std::size_t i) {
      Job& job = jobs_[begin + i];
      if (job.before.empty()) return;
      content::RewriteOptions options;
      options.tolerance = job.tolerance;
      options.isSimpleFont = [&job](const std::string& name) { return job.simpleFonts.count(name) != 0; };
      job.after = content::rewriteContent(job.before, options, &job.namesKept);
      job.better = job.after && worthwhile(job);
    });
    for (std::size_t i = begin; i < end; ++i) {
      Job& job = jobs_[i];
      if (job.better) {
        ++rewritten;
        before += job.before.size();
        after += job.after->size();
        namesKept_ = namesKept_ && job.namesKept;
        put(context.document, job);
      }
      job = {};
    }
    begin = end;
  }
  if (rewritten == 0) return PassOutcome::unchanged;
  context.report.note(std::to_string(rewritten) + " content streams from " + std::to_string(before) + " to " +
                      std::to_string(after) + " bytes");
  return PassOutcome::changed;
}

void ContentPass::collectPages(PassContext& context) {
  const bool lossy = context.settings.imageQuality < 100 || context.settings.perceptualQuality;
  std::map<std::vector<QPDFObjGen>, std::size_t> byStreams;
  for (QPDFObjectHandle page : context.document.pages()) {
    Job job;
    job.streams = content::contentStreams(page);
    std::vector<QPDFObjGen> key;
    for (QPDFObjectHandle& stream : job.streams) key.push_back(stream.getObjGen());
    if (key.empty()) continue;
    QPDFObjectHandle unit = page.getKey("/UserUnit");
    const double inches = (unit.isNumber() && unit.getNumericValue() > 0 ? unit.getNumericValue() : 1) / 72;
    const auto [at, isNew] = byStreams.try_emplace(key, jobs_.size());
    if (isNew) {
      job.tolerance = lossy ? kTolerance / inches : 0;
      job.resources = page.getKey("/Resources");
      jobs_.push_back(std::move(job));
      for (QPDFObjGen stream : std::set<QPDFObjGen>(key.begin(), key.end())) ++uses_[stream];
    } else {
      Job& same = jobs_[at->second];
      same.tolerance = std::min(same.tolerance, kTolerance / inches);
      // The names of fonts may mean others on this page.
      if (page.getKey("/Resources").unparse() != same.resources.unparse()) {
        same.resources = QPDFObjectHandle::newNull();
      }
    }
    jobs_[at->second].pages.push_back(page);
    taken_.insert(key.begin(), key.end());
  }
}

void ContentPass::collectOthers(Document& document) {
  for (QPDFObjectHandle& object : document.reachable()) {
    if (object.isStream()) {
      QPDFObjectHandle dictionary = object.getDict();
      const bool form = dictionary.getKey("/Subtype").isNameAndEquals("/Form") && !dictionary.hasKey("/PS") &&
                        !dictionary.getKey("/Subtype2").isNameAndEquals("/PS");
      QPDFObjectHandle patternType = dictionary.getKey("/PatternType");
      const bool pattern = patternType.isInteger() && patternType.getIntValue() == 1;
      if (form || pattern) addOther(object, dictionary.getKey("/Resources"));
    } else if (object.isDictionary() && object.getKey("/Subtype").isNameAndEquals("/Type3")) {
      QPDFObjectHandle glyphs = object.getKey("/CharProcs");
      if (!glyphs.isDictionary()) continue;
      for (auto& [glyph, procedure] : glyphs.getDictAsMap()) {
        addOther(procedure, QPDFObjectHandle::newNull());
      }
    }
  }
}

void ContentPass::addOther(QPDFObjectHandle stream, QPDFObjectHandle resources) {
  if (!stream.isStream() || !taken_.insert(stream.getObjGen()).second) return;
  Job job;
  job.streams.push_back(stream);
  job.resources = resources;
  jobs_.push_back(std::move(job));
}

bool ContentPass::mayJoin(const Job& job) {
  if (job.streams.size() == 1) return true;
  for (QPDFObjectHandle stream : job.streams) {
    if (uses_[stream.getObjGen()] > 1) {
      const Result<Bytes> bytes = content::decodedStream(stream, kMaxContent);
      if (!bytes.ok() || bytes->size() > kSharedBytes) return false;
    }
  }
  return true;
}

// Fills in what the worker needs; false where the content stays as it is.
bool ContentPass::read(Job& job) {
  // A lone stream that is also part of another page's content keeps its text.
  if (job.streams.size() == 1 && uses_[job.streams[0].getObjGen()] > 1) return false;
  if (!mayJoin(job)) return false;
  for (QPDFObjectHandle& stream : job.streams) {
    if (!entry(stream.getDict(), "/F").isNull()) return false;
  }
  QPDFObjectHandle fonts = entry(job.resources, "/Font");
  if (fonts.isDictionary()) {
    for (auto& [name, font] : fonts.getDictAsMap()) {
      QPDFObjectHandle subtype = entry(font, "/Subtype");
      if (subtype.isName() && subtype.getName() != "/Type0") job.simpleFonts.insert(name.substr(1));
    }
  }
  for (QPDFObjectHandle& stream : job.streams) {
    Result<Bytes> part = content::decodedStream(stream, kMaxContent);
    if (!part.ok() || job.before.size() + part->size() > kMaxContent) {
      job.before.clear();
      return false;
    }
    job.before.insert(job.before.end(), part->begin(), part->end());
    if (job.streams.size() > 1) job.before.push_back('\n');
  }
  return true;
}

void ContentPass::put(Document& document, Job& job) {
  QPDFObjectHandle target = job.streams[0];
  if (job.streams.size() > 1) {
    target = document.pdf().newStream();
    joined_ = true;
    for (QPDFObjectHandle& page : job.pages) page.replaceKey("/Contents", target);
  }
  setStreamData(target, Bytes(job.after->begin(), job.after->end()), QPDFObjectHandle::newNull(),
                QPDFObjectHandle::newNull());
}

}  // namespace

std::unique_ptr<Pass> makeContentPass() { return std::make_unique<ContentPass>(); }

}  // namespace optimizer
