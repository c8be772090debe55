#include "kelvara/compare.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <ostream>

#include "kelvara/comparison.h"
#include "kelvara/files.h"
#include "kelvara/progress.h"

namespace kelvara {
namespace {

template <typename Number>
std::optional<Number> numberIn(std::string_view text, Number least, Number most) {
  Number value{};
  const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool whole = read.ec == std::errc() && read.ptr == text.data() + text.size();
  if (!whole || !(value >= least && value <= most)) return std::nullopt;
  return value;
}

// "1-3,7" as 1, 2, 3, 7; nothing for what is no such list.
std::optional<std::vector<int>> pagesIn(std::string_view text) {
  constexpr int mostPages = 100'000;
  std::vector<int> pages;
  while (true) {
    const std::size_t comma = std::min(text.find(','), text.size());
    const std::string_view part = text.substr(0, comma);
    const std::size_t dash = part.find('-');
    const auto first = numberIn<int>(part.substr(0, dash), 1, mostPages);
    const auto last =
        dash == std::string_view::npos ? first : numberIn<int>(part.substr(dash + 1), 1, mostPages);
    if (!first || !last || *last < *first) return std::nullopt;
    for (int page = *first; page <= *last; ++page) pages.push_back(page);
    if (comma == text.size()) break;
    text.remove_prefix(comma + 1);
  }
  std::sort(pages.begin(), pages.end());
  pages.erase(std::unique(pages.begin(), pages.end()), pages.end());
  return pages;
}

ExitStatus trouble(Context& context, const std::string& what, const std::string& remedy) {
  failure(context, what, remedy);
  return exitUsage;
}

std::optional<CompareOptions> optionsOf(const Arguments& arguments, Context& context) {
  CompareOptions options;
  options.password = arguments.value("--password");
  options.pictures = arguments.has("--html");
  if (arguments.has("--pages")) {
    const auto pages = pagesIn(arguments.value("--pages"));
    if (!pages) {
      trouble(context, "--pages " + arguments.value("--pages") + " names no pages.",
              "For example: --pages 1-3,7");
      return std::nullopt;
    }
    options.pages = *pages;
  }
  if (arguments.has("--dpi")) {
    const auto dpi = numberIn<int>(arguments.value("--dpi"), 20, 300);
    if (!dpi) {
      trouble(context, "--dpi " + arguments.value("--dpi") + " cannot be used.",
              "Give a number from 20 to 300.");
      return std::nullopt;
    }
    options.dpi = *dpi;
  }
  if (arguments.has("--threshold")) {
    const auto threshold = numberIn<double>(arguments.value("--threshold"), 0, 1);
    if (!threshold) {
      trouble(context, "--threshold " + arguments.value("--threshold") + " cannot be used.",
              "Give a number from 0 to 1, such as 0.98.");
      return std::nullopt;
    }
    options.threshold = *threshold;
  }
  return options;
}

std::string remedyFor(const std::string& problem) {
  if (problem.starts_with("pdftoppm")) return "They come with poppler; on Debian: apt install poppler-utils";
  if (problem.starts_with("there is no page")) return "Name pages that both files have.";
  return "Name two PDF files that can be read.";
}

}  // namespace

ExitStatus compareFiles(const Arguments& arguments, Context& context) {
  const std::optional<CompareOptions> options = optionsOf(arguments, context);
  if (!options) return exitUsage;
  Comparison comparison;
  comparison.before.name = arguments.operands[0];
  comparison.after.name = arguments.operands[1];
  std::string problem;
  {
    Progress progress(context);
    problem = compare(
        absolutePath(context, arguments.operands[0]), absolutePath(context, arguments.operands[1]), *options,
        [&progress](const std::string& what) { progress.show("comparing: " + what); }, comparison);
  }
  if (!problem.empty()) return trouble(context, problem + ".", remedyFor(problem));

  const std::size_t most = std::min(comparison.before.pages, comparison.after.pages);
  if (options->pages.empty() && comparison.pages.size() < most) {
    context.err << "kelvara: only the first " << comparison.pages.size() << " of " << most
                << " pages are compared.\nName others with --pages.\n";
  }
  if (arguments.has("--html")) {
    const std::string page = arguments.value("--html");
    const platform::Status written =
        writeWholeFile(context.services, comparisonAsHtml(comparison), absolutePath(context, page), true);
    if (!written.ok()) {
      return trouble(context, "the page cannot be written. " + written.error().localizedDescription(),
                     "Name a file in a folder that you may write to.");
    }
  }
  if (arguments.has("--json")) {
    context.out << comparisonAsJson(comparison, false);
  } else {
    context.out << comparisonAsText(comparison, context.color);
    if (arguments.has("--html")) context.out << "\nWrote " << arguments.value("--html") << ".\n";
  }
  return comparison.differences().empty() ? exitOk : exitFailure;
}

}  // namespace kelvara
