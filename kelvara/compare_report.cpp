#include <algorithm>
#include <cstdio>

#include "kelvara/comparison.h"
#include "kelvara/json.h"
#include "kelvara/pages.h"
#include "kelvara/sizes.h"

namespace kelvara {
namespace {

std::string number(std::size_t value) { return std::to_string(value); }

std::string counted(std::size_t count, const std::string& one) {
  return number(count) + " " + one + (count == 1 ? "" : "s");
}

// Four decimals, cut rather than rounded: only what is alike is 1.
std::string ssimText(double ssim) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.4f",
                std::max(-1.0, static_cast<double>(static_cast<long>(ssim * 10000)) / 10000));
  return buffer;
}

const PageFinding* worstPage(const Comparison& comparison) {
  const PageFinding* worst = nullptr;
  for (const PageFinding& page : comparison.pages) {
    if (worst == nullptr || page.ssim < worst->ssim) worst = &page;
  }
  return worst;
}

std::string shortened(const std::vector<std::string>& words) {
  constexpr std::size_t most = 8;
  std::string text;
  for (std::size_t i = 0; i < std::min(most, words.size()); ++i)
    text += (i == 0 ? "" : ", ") + ("“" + words[i] + "”");
  return words.size() > most ? text + ", …" : text;
}

std::string textsAsJson(const std::vector<std::string>& texts) {
  std::string json;
  for (const std::string& text : texts) json += (json.empty() ? "" : ", ") + jsonText(text);
  return "[" + json + "]";
}

std::string fileAsJson(const ComparedFile& file) {
  return "{\"file\": " + jsonText(file.name) + ", \"bytes\": " + std::to_string(file.bytes) +
         ", \"pages\": " + number(file.pages) + ", \"tagged\": " + jsonBool(file.tagged) + "}";
}

std::string pageAsJson(const PageFinding& page, bool pictures) {
  std::string json = "{\"page\": " + std::to_string(page.number) + ", \"ssim\": " + jsonNumber(page.ssim) +
                     ", \"equal\": " + jsonBool(page.equal) +
                     ", \"lostWords\": " + textsAsJson(page.lostWords) +
                     ", \"newWords\": " + textsAsJson(page.newWords);
  if (!page.problem.empty()) json += ", \"problem\": " + jsonText(page.problem);
  if (pictures) {
    json += ", \"width\": " + std::to_string(page.width) + ", \"height\": " + std::to_string(page.height);
    for (const auto& [name, picture] : {std::pair("before", &page.before), std::pair("after", &page.after),
                                        std::pair("difference", &page.difference)}) {
      if (!picture->empty()) json += std::string(",\n   \"") + name + "\": \"" + *picture + "\"";
    }
  }
  return json + "}";
}

std::string listAsText(const ListFinding& list) {
  std::string text = number(list.before);
  if (list.before == 0 && list.after == 0) return "none";
  if (!list.differs()) return text + ", all there";
  if (!list.lost.empty()) text += ", " + number(list.lost.size()) + " lost: " + shortened(list.lost);
  if (!list.added.empty()) text += ", " + number(list.added.size()) + " new: " + shortened(list.added);
  return text;
}

}  // namespace

std::vector<std::string> Comparison::differences() const {
  std::vector<std::string> found;
  if (before.pages != after.pages) {
    found.push_back(counted(before.pages, "page") + " before, " + counted(after.pages, "page") + " after");
  }
  for (const PageFinding& page : pages) {
    const std::string name = "page " + std::to_string(page.number) + ": ";
    if (!page.problem.empty() && !page.problem.starts_with("neither")) found.push_back(name + page.problem);
    if (page.problem.empty() && page.ssim < threshold) {
      found.push_back(name + "SSIM " + ssimText(page.ssim) + " is below " + jsonNumber(threshold));
    }
    if (!page.lostWords.empty()) {
      found.push_back(name + counted(page.lostWords.size(), "word") + " lost: " + shortened(page.lostWords));
    }
    if (!page.newWords.empty()) {
      found.push_back(name + counted(page.newWords.size(), "word") + " new: " + shortened(page.newWords));
    }
  }
  for (const ListFinding& list : lists) {
    if (!list.differs()) continue;
    std::string lower = list.name;
    lower.front() = static_cast<char>(lower.front() + ('a' - 'A'));
    found.push_back(lower + ": " + number(list.lost.size()) + " lost, " + number(list.added.size()) + " new");
  }
  if (before.tagged && !after.tagged) found.push_back("the tags for screen readers are lost");
  return found;
}

std::string comparisonAsText(const Comparison& comparison, bool color) {
  const auto file = [](const char* label, const ComparedFile& of) {
    return label + of.name + ": " + readableSize(static_cast<double>(of.bytes)) + ", " +
           counted(of.pages, "page") + "\n";
  };
  std::string text =
      file("Before           ", comparison.before) + file("After            ", comparison.after);
  const double bytes = static_cast<double>(comparison.before.bytes);
  const double saved = bytes - static_cast<double>(comparison.after.bytes);
  text +=
      "Saved            " + readableSize(saved) + " (" + readableShare(bytes > 0 ? saved / bytes : 0) + ")\n";

  std::size_t equal = 0;
  std::size_t lost = 0;
  std::size_t added = 0;
  for (const PageFinding& page : comparison.pages) {
    equal += page.equal ? 1 : 0;
    lost += page.lostWords.size();
    added += page.newWords.size();
  }
  text += "Looks            " + counted(comparison.pages.size(), "page") + " compared at " +
          std::to_string(comparison.dpi) + " dpi";
  if (const PageFinding* worst = worstPage(comparison); worst != nullptr) {
    text += equal == comparison.pages.size()
                ? ", the same"
                : ", lowest SSIM " + ssimText(worst->ssim) + " on page " + std::to_string(worst->number);
  }
  text += "\nWords            " + number(comparison.words) + ", " + number(lost) + " lost, " + number(added) +
          " new\n";
  for (const ListFinding& list : comparison.lists) {
    text += list.name + std::string(17 - std::min<std::size_t>(16, list.name.size()), ' ') +
            listAsText(list) + "\n";
  }
  const char* tags = !comparison.before.tagged ? "none" : comparison.after.tagged ? "there" : "lost";
  text += std::string("Tags             ") + tags + "\n\n";

  const std::vector<std::string> differences = comparison.differences();
  const char* mark = !color ? "" : differences.empty() ? "\033[32m" : "\033[31m";
  const char* plain = color ? "\033[0m" : "";
  if (differences.empty()) return text + mark + "The files look and read the same." + plain + "\n";
  text += std::string(mark) + "The files differ:" + plain + "\n";
  for (const std::string& difference : differences) text += "  " + difference + "\n";
  return text;
}

std::string comparisonAsJson(const Comparison& comparison, bool pictures) {
  const std::vector<std::string> differences = comparison.differences();
  std::string json =
      "{\"same\": " + jsonBool(differences.empty()) + ", \"differences\": " + textsAsJson(differences) +
      ",\n \"before\": " + fileAsJson(comparison.before) + ",\n \"after\": " + fileAsJson(comparison.after) +
      ",\n \"threshold\": " + jsonNumber(comparison.threshold) +
      ", \"dpi\": " + std::to_string(comparison.dpi) + ", \"words\": " + number(comparison.words) +
      ",\n \"pages\": [";
  for (std::size_t i = 0; i < comparison.pages.size(); ++i) {
    json += (i == 0 ? "\n  " : ",\n  ") + pageAsJson(comparison.pages[i], pictures);
  }
  json += "],\n \"lists\": [";
  for (std::size_t i = 0; i < comparison.lists.size(); ++i) {
    const ListFinding& list = comparison.lists[i];
    json += std::string(i == 0 ? "\n  " : ",\n  ") + "{\"name\": " + jsonText(list.name) +
            ", \"before\": " + number(list.before) + ", \"after\": " + number(list.after) +
            ", \"lost\": " + textsAsJson(list.lost) + ", \"new\": " + textsAsJson(list.added) + "}";
  }
  return json + "]}\n";
}

std::string comparisonAsHtml(const Comparison& comparison) {
  return htmlPage("Compared: " + comparison.before.name + " and " + comparison.after.name, compareScript,
                  comparisonAsJson(comparison, true),
                  "<pre>" + htmlText(comparisonAsText(comparison, false)) + "</pre>");
}

}  // namespace kelvara
