// Font programs keep only the glyphs that the document shows, and only the tables that viewers look at (ISO 32000-1, 9.9).
//
//   1. The usage of the document says which codes each font dictionary shows; its encoding leads to glyphs.
//   2. Each program is written anew with the glyphs of all its dictionaries together, and checked against the old one.
//   3. Where that is smaller, it takes the old one's place, and names, CharSet and CIDSet are brought in step.
//
// A program with a dictionary whose codes are not known, or that may be typed with, stays as it is.
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "optimizer/base/deflate.h"
#include "optimizer/base/pool.h"
#include "optimizer/document/document.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/document/usage.h"
#include "optimizer/font/pdf_fonts.h"
#include "optimizer/font/shown_codes.h"
#include "optimizer/font/subset.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"

namespace optimizer {
namespace {

constexpr std::size_t kLargestProgram = std::size_t{64} << 20;
constexpr int kQuickDeflate = 9;

struct Job {
  FontProgram* program = nullptr;
  ProgramKind kind = ProgramKind::other;  // of the outlines
  Bytes before;
  std::vector<font::ShownCodes> users;
  std::optional<font::SubsetResult> after;
};

// FontFile3 may hold a whole OpenType font, with its outlines either in CFF or in glyf (9.9, table 126).
ProgramKind kindOfOutlines(const FontProgram& program, const Bytes& bytes) {
  if (program.kind != ProgramKind::openType) return program.kind;
  return font::cffTableOf(bytes).empty() ? ProgramKind::trueType : ProgramKind::openType;
}

std::optional<Job> plan(FontProgram& program, const DocumentUsage& usage) {
  if (!program.usersKnown || program.users.empty() || program.kind == ProgramKind::type1 ||
      program.kind == ProgramKind::other) {
    return std::nullopt;
  }
  Job job;
  job.program = &program;
  Result<Bytes> data = decodedStreamData(program.stream);
  if (!data.ok() || data->size() > kLargestProgram) return std::nullopt;
  job.before = std::move(*data);
  job.kind = kindOfOutlines(program, job.before);
  bool anyShown = false;
  for (const FontUser& user : program.users) {
    // The dictionary and its program must be of one kind (9.9, table 126).
    QPDFObjectHandle holder = user.holder;
    QPDFObjectHandle subtype = holder.getKey("/Subtype");
    const std::string name = subtype.isName() ? subtype.getName() : std::string();
    const bool trueTypeUser = name == "/TrueType" || name == "/CIDFontType2";
    const bool trueTypeProgram = job.kind == ProgramKind::trueType;
    if (trueTypeUser != trueTypeProgram || hasWidthsByName(user)) return std::nullopt;
    std::optional<font::ShownCodes> shown = shownCodes(user, usage);
    if (!shown) return std::nullopt;
    anyShown = anyShown || !shown->codes.empty();
    job.users.push_back(std::move(*shown));
  }
  if (!anyShown) return std::nullopt;
  return job;
}

void subset(Job& job) {
  ByteView program = job.before;
  if (job.kind == ProgramKind::openType) program = font::cffTableOf(program);
  Result<font::SubsetResult> result = job.kind == ProgramKind::trueType
                                          ? font::subsetTrueType(program, job.users)
                                          : font::subsetCff(program, job.users);
  if (!result.ok()) return;
  if (deflate(result->program, kQuickDeflate).size() >= deflate(job.before, kQuickDeflate).size()) return;
  job.after = std::move(*result);
}

void setName(QPDFObjectHandle dictionary, const char* key, const std::string& tag) {
  QPDFObjectHandle value = dictionary.getKey(key);
  if (!value.isName()) return;
  const std::string plain = withoutSubsetTag(value.getName());
  // A program that was a subset before keeps its tag: it tells the same font apart from others.
  if (plain.size() + 1 == value.getName().size()) {
    dictionary.replaceKey(key, QPDFObjectHandle::newName("/" + tag + "+" + plain));
  }
}

// CharSet lists the names of a subset's glyphs, CIDSet its CIDs as bits (9.8.1, table 122; 9.8.3.2). Both may be left
// out, but PDF/A asks for them, so where they are they stay true.
// True where there is a new object.
bool updateDescriptor(QPDFObjectHandle descriptor, const font::SubsetResult& result, Document& document) {
  if (descriptor.hasKey("/CharSet")) {
    std::string names;
    for (const std::string& name : result.names) names += "/" + name;
    descriptor.replaceKey("/CharSet", QPDFObjectHandle::newString(names));
  }
  if (!descriptor.getKey("/CIDSet").isStream()) return false;
  std::string bits;
  std::set<std::uint32_t> cids = result.cids;
  cids.insert(0);
  for (const std::uint32_t cid : cids) {
    if (cid > 0xffff) continue;
    if (bits.size() <= cid / 8) bits.resize(cid / 8 + 1, '\0');
    bits[cid / 8] = static_cast<char>(static_cast<unsigned char>(bits[cid / 8]) | 0x80u >> (cid % 8));
  }
  descriptor.replaceKey("/CIDSet", QPDFObjectHandle::newStream(&document.pdf(), bits));
  return true;
}

// True where there are new objects.
bool apply(Job& job, Document& document) {
  font::SubsetResult& result = *job.after;
  const std::string tag = font::subsetTag(result.program);
  const bool isTrueType = result.form == font::ProgramForm::trueType;
  const char* subtype = isTrueType                                       ? ""
                        : result.form == font::ProgramForm::nameKeyedCff ? "/Type1C"
                                                                         : "/CIDFontType0C";
  bool made = false;
  for (const FontUser& user : job.program->users) {
    setName(user.font, "/BaseFont", tag);
    setName(user.holder, "/BaseFont", tag);
  }
  for (QPDFObjectHandle& descriptor : job.program->descriptors) {
    setName(descriptor, "/FontName", tag);
    made = updateDescriptor(descriptor, result, document) || made;
  }
  replaceProgram(*job.program, isTrueType ? ProgramKind::trueType : ProgramKind::cff, subtype,
                 std::move(result.program));
  return made;
}

class SubsetFontsPass : public Pass {
 public:
  std::string_view name() const override { return "fonts-subset"; }
  bool keepsUsage() const override { return true; }
  bool keepsObjects() const override { return !madeObjects_; }

  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("fonts-subset", [&]() -> Result<PassOutcome> {
      const DocumentUsage& usage = usageOf(context);
      if (!usage.complete) return PassOutcome::unchanged;
      std::vector<FontProgram> programs = fontPrograms(context.document);
      std::vector<Job> jobs;
      for (FontProgram& program : programs) {
        if (std::optional<Job> job = plan(program, usage)) jobs.push_back(std::move(*job));
      }
      context.pool.parallelFor(jobs.size(), [&](std::size_t i) {
        try {
          subset(jobs[i]);
        } catch (...) {
          jobs[i].after.reset();  // out of memory: this font stays as it is
        }
      });
      std::size_t changed = 0;
      for (Job& job : jobs) {
        if (!job.after) continue;
        madeObjects_ = apply(job, context.document) || madeObjects_;
        ++changed;
      }
      if (changed == 0) return PassOutcome::unchanged;
      context.report.note(std::to_string(changed) + " of " + std::to_string(programs.size()) + " font programs subset");
      return PassOutcome::changed;
    });
  }

 private:
  bool madeObjects_ = false;
};

}  // namespace

std::unique_ptr<Pass> makeSubsetFontsPass() { return std::make_unique<SubsetFontsPass>(); }

}  // namespace optimizer
