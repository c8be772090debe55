// What happened to one document: which passes ran, what they changed, how long they took.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace optimizer {

struct PassReport {
  std::string name;
  bool changed = false;
  double seconds = 0;
  std::vector<std::string> notes;  // one line each, for people who look into a result
};

class Report {
 public:
  // Called by the runner around each pass.
  void begin(std::string name) { passes_.push_back({std::move(name), false, 0, {}}); }
  void end(bool changed, double seconds) {
    passes_.back().changed = changed;
    passes_.back().seconds = seconds;
  }

  // Called by the running pass: "12 images resampled".
  void note(std::string line) {
    if (!passes_.empty()) passes_.back().notes.push_back(std::move(line));
  }

  const std::vector<PassReport>& passes() const { return passes_; }
  std::uint64_t inputBytes = 0, outputBytes = 0;

 private:
  std::vector<PassReport> passes_;
};

}  // namespace optimizer
