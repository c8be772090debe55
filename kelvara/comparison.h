// What is different between two PDF files: looks and words page by page, and what a reader can use.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kelvara {

struct PageFinding {
  int number = 0;       // from 1
  double ssim = 0;      // mean structural similarity of the luma, 1: alike
  bool equal = false;   // sample for sample
  std::string problem;  // why the looks could not be compared; empty when they were
  std::vector<std::string> lostWords, newWords;
  // "data:" addresses; empty where they are left out, the last two also where the page is equal.
  std::string before, after, difference;
  std::uint32_t width = 0, height = 0;  // of the pictures

  bool textDiffers() const { return !lostWords.empty() || !newWords.empty(); }
};

// One kind of thing: links, form fields …
struct ListFinding {
  std::string name;  // "Links"
  std::size_t before = 0, after = 0;
  std::vector<std::string> lost, added;

  bool differs() const { return !lost.empty() || !added.empty(); }
};

struct ComparedFile {
  std::string name;  // as the user gave it
  std::uint64_t bytes = 0;
  std::size_t pages = 0;
  bool tagged = false;
};

struct Comparison {
  ComparedFile before, after;
  std::vector<PageFinding> pages;  // those that were compared
  std::vector<ListFinding> lists;
  std::size_t words = 0;  // of the compared pages before
  double threshold = 0.95;
  int dpi = 100;

  // In sentences, what makes the files differ; nothing when they look and read the same.
  std::vector<std::string> differences() const;
};

struct CompareOptions {
  std::string password;
  std::vector<int> pages;  // from 1; empty: from the first on
  std::size_t mostPages = 200;
  int dpi = 100;  // 20 to 300
  double threshold = 0.95;
  bool pictures = false;
  std::size_t mostPictures = 60;  // pages with pictures: those that differ most
};

// paths are absolute; names of the two stand in comparison already. Returns why it cannot be done, or
// nothing.
std::string compare(const std::string& beforePath, const std::string& afterPath,
                    const CompareOptions& options, const std::function<void(const std::string&)>& say,
                    Comparison& comparison);

std::string comparisonAsText(const Comparison& comparison, bool color);
// With the pictures, where there are any.
std::string comparisonAsJson(const Comparison& comparison, bool pictures);
std::string comparisonAsHtml(const Comparison& comparison);

}  // namespace kelvara
