// Embedded copies of the standard Latin fonts go, where viewers' own ones are as wide in every character shown
// (ISO 32000-1, 9.6.2.2). Text may then look a little different: this runs only when it is asked for.
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "optimizer/document/document.h"
#include "optimizer/document/usage.h"
#include "optimizer/font/pdf_fonts.h"
#include "optimizer/font/shown_codes.h"
#include "optimizer/font/standard_fonts.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"

namespace optimizer {
namespace {

// Widths may be rounded by their producer.
constexpr double kWidthTolerance = 1.0;

std::string plainName(QPDFObjectHandle font) {
  QPDFObjectHandle name = font.getKey("/BaseFont");
  return name.isName() ? withoutSubsetTag(name.getName()) : std::string();
}

// True where every shown code names a character of the standard font, and is as wide there as here.
bool agrees(const FontUser& user, const DocumentUsage& usage, std::string_view standard) {
  QPDFObjectHandle dictionary = user.font;
  const auto use = usage.fonts.find(dictionary.getObjGen());
  if (use == usage.fonts.end()) return false;
  const std::optional<font::ShownCodes> shown = shownCodes(user, usage);
  if (!shown) return false;
  QPDFObjectHandle first = dictionary.getKey("/FirstChar"), widths = dictionary.getKey("/Widths");
  if (!first.isInteger() || !widths.isArray()) return false;
  for (const std::uint32_t code : shown->codes) {
    const auto difference = shown->encoding.differences.find(static_cast<std::uint8_t>(code));
    std::string name;
    if (difference != shown->encoding.differences.end()) {
      name = difference->second;
    } else if (shown->encoding.base) {
      name = font::encodingName(*shown->encoding.base, static_cast<std::uint8_t>(code));
    }
    const std::optional<int> width = font::standardFontWidth(standard, name);
    const long long index = static_cast<long long>(code) - first.getIntValue();
    if (!width || index < 0 || index >= widths.getArrayNItems()) return false;
    QPDFObjectHandle here = widths.getArrayItem(static_cast<int>(index));
    if (!here.isNumber() || std::abs(here.getNumericValue() - *width) > kWidthTolerance) return false;
  }
  return true;
}

// The one standard font that all dictionaries of a program stand for; empty where it must stay.
std::string_view standardOf(const FontProgram& program, const DocumentUsage& usage) {
  if (!program.usersKnown || program.users.empty()) return {};
  const std::string_view standard = font::standardFontName(plainName(program.users.front().font));
  if (standard.empty()) return {};
  for (const FontUser& user : program.users) {
    if (user.composite() || font::standardFontName(plainName(user.font)) != standard) return {};
    if (!agrees(user, usage, standard)) return {};
  }
  return standard;
}

class StandardFontsPass : public Pass {
 public:
  std::string_view name() const override { return "fonts-standard"; }
  bool keepsUsage() const override { return true; }

  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("fonts-standard", [&]() -> Result<PassOutcome> {
      const DocumentUsage& usage = usageOf(context);
      if (!usage.complete) return PassOutcome::unchanged;
      std::size_t removed = 0;
      for (FontProgram& program : fontPrograms(context.document)) {
        const std::string_view standard = standardOf(program, usage);
        if (standard.empty()) continue;
        const QPDFObjectHandle plain = QPDFObjectHandle::newName("/" + std::string(standard));
        for (const FontUser& user : program.users) QPDFObjectHandle(user.font).replaceKey("/BaseFont", plain);
        for (QPDFObjectHandle& descriptor : program.descriptors) {
          for (const char* key : {"/FontFile", "/FontFile2", "/FontFile3", "/CharSet"}) descriptor.removeKey(key);
          descriptor.replaceKey("/FontName", plain);
        }
        ++removed;
      }
      if (removed == 0) return PassOutcome::unchanged;
      context.report.note(std::to_string(removed) + " embedded standard fonts removed");
      return PassOutcome::changed;
    });
  }
};

}  // namespace

std::unique_ptr<Pass> makeStandardFontsPass() { return std::make_unique<StandardFontsPass>(); }

}  // namespace optimizer
