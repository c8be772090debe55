// Codes every stream again, as small as Deflate can (ISO 32000-1, 7.4).
//
//   1. Each stream's filters are undone from the outside in, as far as they wrap plain bytes: ASCII85, ASCIIHex, run
//      length, LZW and Flate. A predictor that the innermost of them has stays in place, so its parameters stay valid.
//   2. What is left is deflated. Where an image codec's bytes are left, Deflate is tried around them.
//   3. Where the bytes are a table of numbers, the differences between them are tried.
//   4. The smaller of old and new, filter names included, is kept.
//
// Bytes are read and set on the calling thread, and coded on the pool; a batch holds so many that memory stays bounded.
#include <algorithm>
#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "optimizer/base/deflate.h"
#include "optimizer/base/deflate_parts.h"
#include "optimizer/base/limits.h"
#include "optimizer/base/pool.h"
#include "optimizer/document/document.h"
#include "optimizer/document/filters.h"
#include "optimizer/document/reachable.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/passes/number_tables.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

// Coded bytes that one batch reads in, and how large a stream may be when it is undone to be coded again; a larger one
// stays as it is.
constexpr std::size_t kBatchBytes = std::size_t{32} << 20;
constexpr std::size_t kRecodeBytes = std::size_t{96} << 20;
// Deflate makes at most 1,032 bytes of one: data beyond this ratio is as good as it gets, and coding it is long work.
constexpr std::size_t kTightRatio = 600;

struct Filter {
  std::string name;       // the full name, with its slash
  QPDFObjectHandle parms;  // null where there are none
  bool earlyChange = true;
  bool predictor = false;
};

std::string fullName(const std::string& name) {
  if (name == "/Fl") return "/FlateDecode";
  if (name == "/LZW") return "/LZWDecode";
  if (name == "/A85") return "/ASCII85Decode";
  if (name == "/AHx") return "/ASCIIHexDecode";
  if (name == "/RL") return "/RunLengthDecode";
  return name;
}

bool wrapsPlainBytes(const Filter& filter) {
  return filter.name == "/FlateDecode" || filter.name == "/LZWDecode" || filter.name == "/ASCII85Decode" ||
         filter.name == "/ASCIIHexDecode" || filter.name == "/RunLengthDecode";
}

// The filters of a stream, outermost first; nothing where they cannot be understood.
std::optional<std::vector<Filter>> filtersOf(QPDFObjectHandle dictionary) {
  std::vector<Filter> filters;
  QPDFObjectHandle names = dictionary.getKey("/Filter");
  QPDFObjectHandle parms = dictionary.getKey("/DecodeParms");
  if (names.isNull()) return filters;
  const bool isArray = names.isArray();
  if (!isArray && !names.isName()) return std::nullopt;
  const int count = isArray ? names.getArrayNItems() : 1;
  if (count > limits::kFilters) return std::nullopt;
  for (int i = 0; i < count; ++i) {
    Filter filter;
    QPDFObjectHandle name = isArray ? names.getArrayItem(i) : names;
    if (!name.isName()) return std::nullopt;
    filter.name = fullName(name.getName());
    if (parms.isArray()) {
      filter.parms = i < parms.getArrayNItems() ? parms.getArrayItem(i) : QPDFObjectHandle::newNull();
    } else {
      filter.parms = count == 1 ? parms : QPDFObjectHandle::newNull();
      if (count > 1 && !parms.isNull()) return std::nullopt;
    }
    if (filter.parms.isDictionary()) {
      QPDFObjectHandle early = filter.parms.getKey("/EarlyChange");
      if (early.isInteger()) filter.earlyChange = early.getIntValue() != 0;
      QPDFObjectHandle predictor = filter.parms.getKey("/Predictor");
      filter.predictor = predictor.isInteger() && predictor.getIntValue() > 1;
    } else if (!filter.parms.isNull()) {
      return std::nullopt;
    }
    filters.push_back(std::move(filter));
  }
  return filters;
}

Result<Bytes> undo(const Filter& filter, ByteView coded) {
  const std::size_t limit = std::min(kRecodeBytes, std::max(limits::kExpansionFree,
                                                            coded.size() * limits::kStreamExpansion));
  if (filter.name == "/FlateDecode") return inflate(coded, limit);
  if (filter.name == "/LZWDecode") return decodeLzw(coded, filter.earlyChange, limit);
  if (filter.name == "/ASCII85Decode") return decodeAscii85(coded, limit);
  if (filter.name == "/ASCIIHexDecode") return decodeAsciiHex(coded, limit);
  return decodeRunLength(coded, limit);
}

struct Job {
  QPDFObjectHandle stream;
  std::vector<Filter> filters;
  Bytes coded;
  unsigned tableStep = 0;  // where the plain bytes are a table of numbers
  // What the pool finds: how many filters it undid, and whether Deflate is put around the rest. Empty when kept.
  std::optional<Bytes> better;
  std::size_t undone = 0;
  bool deflated = false;
  bool predictorKept = false;
  std::uint32_t columns = 0;  // of the table whose differences the better bytes hold
};

// Bytes that the stream dictionary spends on a list of filters.
std::size_t cost(const std::vector<Filter>& filters) {
  std::size_t bytes = filters.empty() ? 0 : 8;
  for (const Filter& filter : filters) bytes += filter.name.size();
  return bytes;
}

// What the decode parameters of a table of differences take in the dictionary, about.
constexpr std::size_t kTableParms = 50;

void tryDifferences(Job& job, ByteView plain, std::size_t best, std::size_t wrapped, int level) {
  const std::uint32_t columns = tableColumns(job.tableStep, plain.size());
  if (columns == 0 || best <= wrapped + kTableParms) return;
  Bytes deflated = deflateBelow(tableDifferences(job.tableStep, plain), best - wrapped - kTableParms, level);
  if (deflated.empty()) return;
  job.better = std::move(deflated);
  job.deflated = true;
  job.columns = columns;
}

void recode(Job& job, int level) {
  Bytes plain;
  ByteView bytes = job.coded;
  std::size_t undone = 0;
  bool predictorKept = false;
  while (undone < job.filters.size() && wrapsPlainBytes(job.filters[undone]) && !predictorKept) {
    const Filter& filter = job.filters[undone];
    // A predictor inside other filters would have to be undone itself; only the innermost filter's can stay.
    if (filter.predictor && undone + 1 < job.filters.size()) break;
    Result<Bytes> next = undo(filter, bytes);
    if (!next.ok()) break;
    plain = std::move(*next);
    bytes = plain;
    predictorKept = filter.predictor;
    ++undone;
  }
  // Nothing to gain from what could not even be opened.
  if (undone == 0 && !job.filters.empty() && wrapsPlainBytes(job.filters[0])) return;

  if (undone == 1 && job.filters[0].name == "/FlateDecode" && bytes.size() / kTightRatio > job.coded.size()) return;

  if (undone > 0) level = deflateLevelFor(bytes.size(), job.coded.size(), level);
  const std::size_t before = job.coded.size() + cost(job.filters);
  const std::vector<Filter> rest(job.filters.begin() + static_cast<std::ptrdiff_t>(undone), job.filters.end());
  const std::size_t wrapped = cost(rest) + std::string("/FlateDecode").size() + (rest.empty() ? 8 : 0);
  std::size_t best = before;
  if (undone > 0 && !predictorKept && bytes.size() + cost(rest) < best) {
    best = bytes.size() + cost(rest);
    job.better = Bytes(bytes.begin(), bytes.end());
  }
  // Image codecs leave nothing to Deflate but headers and padding; where there was none around them, none is tried.
  if ((undone > 0 || rest.empty()) && best > wrapped) {
    Bytes deflated = deflateInPartsBelow(bytes, best - wrapped, level);
    if (!deflated.empty()) {
      best = deflated.size() + wrapped;
      job.better = std::move(deflated);
      job.deflated = true;
    }
  }
  if (rest.empty() && !predictorKept) tryDifferences(job, bytes, best, wrapped, level);
  job.undone = undone;
  job.predictorKept = predictorKept;
}

void apply(Job& job) {
  std::vector<QPDFObjectHandle> names, parms;
  bool anyParms = false;
  if (job.deflated) {
    names.push_back(QPDFObjectHandle::newName("/FlateDecode"));
    QPDFObjectHandle kept = QPDFObjectHandle::newNull();
    if (job.predictorKept) {
      kept = job.filters[job.undone - 1].parms.shallowCopy();
      kept.removeKey("/EarlyChange");
      anyParms = true;
    }
    if (job.columns != 0) {
      kept = QPDFObjectHandle::newDictionary();
      kept.replaceKey("/Predictor", QPDFObjectHandle::newInteger(2));
      kept.replaceKey("/Columns", QPDFObjectHandle::newInteger(job.columns));
      kept.replaceKey("/Colors", QPDFObjectHandle::newInteger(job.tableStep));
      anyParms = true;
    }
    parms.push_back(kept);
  }
  for (std::size_t i = job.undone; i < job.filters.size(); ++i) {
    names.push_back(QPDFObjectHandle::newName(job.filters[i].name));
    parms.push_back(job.filters[i].parms);
    anyParms = anyParms || !job.filters[i].parms.isNull();
  }
  const auto spelled = [](const std::vector<QPDFObjectHandle>& values) {
    if (values.empty()) return QPDFObjectHandle::newNull();
    return values.size() == 1 ? values[0] : QPDFObjectHandle::newArray(values);
  };
  setStreamData(job.stream, std::move(*job.better), spelled(names),
                anyParms ? spelled(parms) : QPDFObjectHandle::newNull());
}

class StreamsPass : public Pass {
 public:
  std::string_view name() const override { return "streams"; }
  bool keepsObjects() const override { return true; }

  Result<PassOutcome> process(PassContext& context) override {
    std::vector<Job> batch;
    std::size_t held = 0;
    for (QPDFObjectHandle& object : context.document.reachable()) {
      if (!object.isStream() || context.document.isFinal(object.getObjGen())) continue;
      QPDFObjectHandle dictionary = object.getDict();
      if (dictionary.hasKey("/F")) continue;  // the bytes are in another file
      if (context.settings.onlyPdf14 && dictionary.getKey("/Type").isNameAndEquals("/Metadata")) continue;
      std::optional<std::vector<Filter>> filters = filtersOf(dictionary);
      if (!filters || (!filters->empty() && !wrapsPlainBytes(filters->front()))) continue;
      Result<Bytes> coded = rawStreamData(object);
      if (!coded.ok()) continue;
      Job job;
      job.stream = object;
      job.filters = std::move(*filters);
      job.coded = std::move(*coded);
      job.tableStep = tableStep(dictionary);
      held += job.coded.size();
      batch.push_back(std::move(job));
      if (held >= kBatchBytes) {
        run(context, batch);
        held = 0;
      }
    }
    run(context, batch);
    if (changed_ == 0) return PassOutcome::unchanged;
    context.report.note(std::to_string(changed_) + " streams became " + std::to_string(saved_) + " bytes smaller");
    return PassOutcome::changed;
  }

 private:
  void run(PassContext& context, std::vector<Job>& batch) {
    // The largest first, so that no thread is left with a long one at the end.
    std::stable_sort(batch.begin(), batch.end(),
                     [](const Job& a, const Job& b) { return a.coded.size() > b.coded.size(); });
    std::atomic<bool> outOfMemory{false};
    context.pool.parallelFor(
        batch.size(),
        [&](std::size_t i) {
          try {
            recode(batch[i], context.settings.deflateLevel());
          } catch (const std::bad_alloc&) {
            batch[i].better.reset();
            outOfMemory = true;
          }
        },
        [&](std::size_t i) { return std::min(batch[i].coded.size() * 8, kRecodeBytes * 2); });
    for (Job& job : batch) {
      if (!job.better) continue;
      ++changed_;
      saved_ += static_cast<long long>(job.coded.size()) - static_cast<long long>(job.better->size());
      apply(job);
    }
    batch.clear();
    if (outOfMemory) context.report.note("memory ran out; some streams stay as they were");
  }

  std::size_t changed_ = 0;
  long long saved_ = 0;
};

}  // namespace

std::unique_ptr<Pass> makeStreamsPass() { return std::make_unique<StreamsPass>(); }

}  // namespace optimizer
