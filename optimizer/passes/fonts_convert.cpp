// Type 1 programs become CFF (ISO 32000-1, 9.9): the same glyphs in a third to three quarters of the bytes,
// because CFF is not encrypted and spells outlines and names more briefly. Each new program is checked glyph
// by glyph.
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "optimizer/base/deflate.h"
#include "optimizer/base/pool.h"
#include "optimizer/document/document.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/font/cff_dict.h"
#include "optimizer/font/check.h"
#include "optimizer/font/pdf_fonts.h"
#include "optimizer/font/ps_font.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"

namespace optimizer {
namespace {

constexpr std::size_t kLargestProgram = std::size_t{32} << 20;
constexpr int kQuickDeflate = 6;
constexpr double kCoarsestUnit = 0.0011;  // of the em: the usual thousandth, or finer

struct Job {
  FontProgram* program = nullptr;
  Bytes before;
  std::optional<Bytes> after;
};

// Only dictionaries that may have a Type1C program (9.9, table 126).
bool suits(const FontProgram& program) {
  if (program.kind != ProgramKind::type1 || program.users.empty()) return false;
  for (const FontUser& user : program.users) {
    QPDFObjectHandle subtype = QPDFObjectHandle(user.font).getKey("/Subtype");
    if (!subtype.isName() || (subtype.getName() != "/Type1" && subtype.getName() != "/MMType1")) return false;
  }
  for (QPDFObjectHandle descriptor : program.descriptors) {
    if (descriptor.hasKey("/FontFile2") || descriptor.hasKey("/FontFile3")) return false;
  }
  return true;
}

// Widths that are not whole take five bytes a glyph. Viewers place text by the dictionary's Widths, and of a
// Type 1 program FreeType rounds the width anyway, where it cuts a CFF program's.
void roundWidths(font::PsFont& font) {
  const auto matrix = font.top.find(font::kDictFontMatrix);
  if (matrix != font.top.end() && (matrix->second.empty() || !(std::abs(matrix->second[0]) < kCoarsestUnit)))
    return;
  for (font::PsGlyph& glyph : font.glyphs) glyph.outline.width = std::round(glyph.outline.width);
}

void convert(Job& job) {
  Result<font::PsFont> parsed = font::readType1(job.before);
  if (!parsed.ok()) return;
  roundWidths(*parsed);
  Result<Bytes> cff = font::writeSmallestCff(*parsed);
  if (!cff.ok() || deflate(*cff, kQuickDeflate).size() >= deflate(job.before, kQuickDeflate).size()) return;
  font::GlyphsToCheck glyphs;
  for (const font::PsGlyph& glyph : parsed->glyphs) glyphs.names.push_back(glyph.name);
  if (!font::sameGlyphs(job.before, *cff, glyphs).ok()) return;
  job.after = std::move(*cff);
}

class ConvertFontsPass : public Pass {
 public:
  std::string_view name() const override { return "fonts-convert"; }
  bool keepsUsage() const override { return true; }
  bool keepsObjects() const override { return true; }

  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("fonts-convert", [&]() -> Result<PassOutcome> {
      std::vector<FontProgram> programs = fontPrograms(context.document);
      std::vector<Job> jobs;
      for (FontProgram& program : programs) {
        if (!suits(program)) continue;
        Result<Bytes> data = decodedStreamData(program.stream);
        if (data.ok() && data->size() <= kLargestProgram) jobs.push_back({&program, std::move(*data), {}});
      }
      context.pool.parallelFor(jobs.size(), [&](std::size_t i) {
        try {
          convert(jobs[i]);
        } catch (...) {
          jobs[i].after.reset();  // out of memory: this font stays as it is
        }
      });
      std::size_t converted = 0;
      for (Job& job : jobs) {
        if (!job.after) continue;
        replaceProgram(*job.program, ProgramKind::cff, "/Type1C", std::move(*job.after));
        ++converted;
      }
      if (converted == 0) return PassOutcome::unchanged;
      context.report.note(std::to_string(converted) + " of " + std::to_string(jobs.size()) +
                          " Type 1 programs converted to CFF");
      return PassOutcome::changed;
    });
  }
};

}  // namespace

std::unique_ptr<Pass> makeConvertFontsPass() { return std::make_unique<ConvertFontsPass>(); }

}  // namespace optimizer
