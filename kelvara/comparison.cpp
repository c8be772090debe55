#include "kelvara/comparison.h"

#include <algorithm>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "kelvara/page_image.h"
#include "kelvara/programs.h"
#include "optimizer/audit/features.h"
#include "optimizer/base/large_stack.h"
#include "optimizer/image/score.h"

namespace kelvara {
namespace {

using optimizer::Features;
using optimizer::Pixels;
using Words = std::vector<std::string>;

// What the entries of one list are missing in the other, however often each occurs, in the first one's order.
Words missingIn(const Words& list, const Words& other) {
  std::map<std::string, std::size_t> there;
  for (const std::string& entry : other) ++there[entry];
  Words missing;
  for (const std::string& entry : list) {
    const auto found = there.find(entry);
    if (found == there.end() || found->second == 0) {
      missing.push_back(entry);
    } else {
      --found->second;
    }
  }
  return missing;
}

struct Side {
  std::string path;
  Features features;
  std::vector<Words> text;  // of each page from the first
};

std::string readSide(const std::string& password, Side& side, ComparedFile& file) {
  const optimizer::Status status = optimizer::runOnLargeStack([&]() -> optimizer::Status {
    auto document = optimizer::Document::open(side.path, password);
    if (!document.ok()) return document.error();
    auto features = optimizer::featuresOf(**document);
    if (!features.ok()) return features.error();
    side.features = std::move(*features);
    file.bytes = (*document)->inputBytes();
    file.pages = (*document)->pages().size();
    file.tagged = side.features.tagged;
    return {};
  });
  if (status.ok()) return "";
  const bool needsPassword = status.error().kind == optimizer::ErrorKind::password;
  return file.name + ": " + status.error().message + (needsPassword ? ": give it with --password" : "");
}

// The words of every page, by poppler's pdftotext, which ends a page with a form feed. Nothing when it fails.
std::optional<std::vector<Words>> readText(const std::string& program, const std::string& path,
                                           const std::string& password, int last) {
  std::vector<std::string> command = {program, "-enc", "UTF-8", "-l", std::to_string(last)};
  if (!password.empty()) command.insert(command.end(), {"-upw", password});
  command.insert(command.end(), {path, "-"});
  const ProgramRun run = runProgram(command, {std::chrono::seconds(120)});
  if (!run.finished) return std::nullopt;
  std::vector<Words> pages(1);
  std::string word;
  for (const char letter : run.output + "\n") {
    const bool blank = letter == ' ' || (letter >= '\t' && letter <= '\r');
    if (!blank) {
      word += letter;
      continue;
    }
    if (!word.empty()) pages.back().push_back(std::exchange(word, ""));
    if (letter == '\f') pages.emplace_back();
  }
  return pages;
}

class Work {
 public:
  Work(const CompareOptions& options, Comparison& comparison) : options_(options), comparison_(comparison) {}

  std::string run(const std::string& beforePath, const std::string& afterPath,
                  const std::function<void(const std::string&)>& say) {
    renderer_.program = findProgram("pdftoppm");
    const std::string textProgram = findProgram("pdftotext");
    if (renderer_.program.empty() || textProgram.empty()) {
      return "pdftoppm and pdftotext are needed, and they are not installed";
    }
    renderer_.dpi = comparison_.dpi = options_.dpi;
    comparison_.threshold = options_.threshold;
    before_.path = beforePath;
    after_.path = afterPath;
    say("reading …");
    for (auto [side, file] :
         {std::pair(&before_, &comparison_.before), std::pair(&after_, &comparison_.after)}) {
      if (const std::string problem = readSide(options_.password, *side, *file); !problem.empty())
        return problem;
    }
    if (const std::string problem = choosePages(); !problem.empty()) return problem;
    readTexts(textProgram);
    for (PageFinding& page : comparison_.pages) {
      say("page " + std::to_string(page.number) + " of " + std::to_string(comparison_.before.pages) + " …");
      comparePage(page);
    }
    compareLists();
    return "";
  }

 private:
  std::string choosePages() {
    const std::size_t both = std::min(comparison_.before.pages, comparison_.after.pages);
    std::vector<int> numbers = options_.pages;
    for (std::size_t i = 1; options_.pages.empty() && i <= std::min(both, options_.mostPages); ++i) {
      numbers.push_back(static_cast<int>(i));
    }
    for (const int number : numbers) {
      if (number < 1 || static_cast<std::size_t>(number) > both) {
        return "there is no page " + std::to_string(number) + " in both files";
      }
      comparison_.pages.push_back({});
      comparison_.pages.back().number = number;
    }
    return "";
  }

  void readTexts(const std::string& program) {
    int last = 1;
    for (const PageFinding& page : comparison_.pages) last = std::max(last, page.number);
    auto after = std::async(std::launch::async,
                            [&] { return readText(program, after_.path, options_.password, last); });
    auto before = readText(program, before_.path, options_.password, last);
    auto others = after.get();
    textRead_ = before && others;
    if (!textRead_) return;
    before_.text = std::move(*before);
    after_.text = std::move(*others);
  }

  static Words wordsOf(const Side& side, int page) {
    const auto index = static_cast<std::size_t>(page - 1);
    return index < side.text.size() ? side.text[index] : Words();
  }

  RenderedPage render(const Side& side, int page) const {
    const Features::PageSize& size = side.features.pageSizes[static_cast<std::size_t>(page - 1)];
    return renderPage(renderer_, side.path, options_.password, page, size.width, size.height);
  }

  void comparePage(PageFinding& page) {
    if (textRead_) {
      const Words before = wordsOf(before_, page.number);
      const Words after = wordsOf(after_, page.number);
      comparison_.words += before.size();
      page.lostWords = missingIn(before, after);
      page.newWords = missingIn(after, before);
    }
    auto rendering = std::async(std::launch::async, [&] { return render(after_, page.number); });
    const RenderedPage before = render(before_, page.number);
    const RenderedPage after = rendering.get();
    if (!textRead_) page.problem = "pdftotext could not read the text";
    if (before.pixels.empty() && after.pixels.empty()) {
      page.problem = "neither file's page could be drawn: " + before.problem;
      page.ssim = 1;  // nothing is lost that was there
    } else if (before.pixels.empty() || after.pixels.empty()) {
      page.problem = before.pixels.empty() ? "could be drawn only after" : "could be drawn only before";
    } else {
      compareLooks(page, before.pixels, after.pixels);
    }
  }

  void compareLooks(PageFinding& page, const Pixels& before, const Pixels& after) {
    page.width = before.width();
    page.height = before.height();
    const auto apart = [](std::uint32_t left, std::uint32_t right) {
      return left > right ? left - right : right - left;
    };
    // Boxes written with other decimals may round to the next sample.
    if (apart(before.width(), after.width()) > 1 || apart(before.height(), after.height()) > 1) {
      page.problem = "the page has another size";
    }
    page.equal = before == after;
    page.ssim =
        page.equal
            ? 1
            : optimizer::LookReference(before, before.width(), before.height()).compare(after).structure;
    if (!options_.pictures) return;
    page.before = pictureAddress(before, false);
    if (!page.equal) {
      page.after = pictureAddress(after, false);
      const bool sameSize = before.width() == after.width() && before.height() == after.height();
      if (sameSize) page.difference = pictureAddress(differenceOf(before, after), true);
    }
    dropPictures();
  }

  // Keeps the pictures of the pages that differ most.
  void dropPictures() {
    PageFinding* dullest = nullptr;
    std::size_t count = 0;
    for (PageFinding& page : comparison_.pages) {
      if (page.before.empty()) continue;
      ++count;
      // Of pages that are alike the later ones go.
      if (dullest == nullptr || interest(page) <= interest(*dullest)) dullest = &page;
    }
    if (count > options_.mostPictures) dullest->before = dullest->after = dullest->difference = "";
  }

  static double interest(const PageFinding& page) { return (page.textDiffers() ? 1 : 0) + 1 - page.ssim; }

  void compareLists() {
    const auto add = [this](const char* name, const Words& before, const Words& after) {
      comparison_.lists.push_back(
          {name, before.size(), after.size(), missingIn(before, after), missingIn(after, before)});
    };
    add("Links", before_.features.links, after_.features.links);
    add("Form fields", before_.features.fields, after_.features.fields);
    add("Outline entries", before_.features.outlines, after_.features.outlines);
    add("Attachments", before_.features.attachments, after_.features.attachments);
  }

  const CompareOptions& options_;
  Comparison& comparison_;
  Renderer renderer_;
  Side before_, after_;
  bool textRead_ = false;
};

}  // namespace

std::string compare(const std::string& beforePath, const std::string& afterPath,
                    const CompareOptions& options, const std::function<void(const std::string&)>& say,
                    Comparison& comparison) {
  return Work(options, comparison).run(beforePath, afterPath, say);
}

}  // namespace kelvara
