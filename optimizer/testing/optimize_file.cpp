// Optimizes one file from a shell, for tests and measurements of the engine by itself.
//
//   optimize_file [--custom] [--strip HEX] [--set NAME]... [--quality N] [--convert N] [--password P]
//   [--threads N] [--trace] IN OUT
//
// The settings are those of the web profile, or with --custom the neutral ones; each --set switches one on
// (see kSwitches). Exit status: 0 written, 1 refused (the message is on standard error), 2 wrong use.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <qpdf/Pl_Flate.hh>
#include <string>
#include <string_view>

#include "optimizer/base/large_stack.h"
#include "optimizer/pipeline/optimize.h"

using optimizer::Settings;

namespace {

struct Switch {
  const char* name;
  bool Settings::*field;
};

constexpr Switch kSwitches[] = {
    {"clipImages", &Settings::clipImages},
    {"reduceColorComplexity", &Settings::reduceColorComplexity},
    {"forceRecompression", &Settings::forceRecompression},
    {"convertToCff", &Settings::convertToCff},
    {"mergeEmbeddedFonts", &Settings::mergeEmbeddedFonts},
    {"removeStandardFonts", &Settings::removeStandardFonts},
    {"subsetFonts", &Settings::subsetFonts},
    {"optimizeResources", &Settings::optimizeResources},
    {"removeRedundantObjects", &Settings::removeRedundantObjects},
    {"removeImages", &Settings::removeImages},
    {"linearize", &Settings::linearize},
};

bool switchOn(Settings& settings, const char* name) {
  for (const Switch& entry : kSwitches) {
    if (std::strcmp(entry.name, name) != 0) continue;
    settings.*entry.field = true;
    return true;
  }
  return false;
}

// One line of the trace, with the time and the processor time (of all threads) since the line before.
void line(std::string_view name, std::string_view outcome) {
  using Clock = std::chrono::steady_clock;
  static Clock::time_point time = Clock::now();
  static std::clock_t processor = 0;
  const Clock::time_point now = Clock::now();
  const std::clock_t processorNow = std::clock();
  if (!name.empty()) {
    std::fprintf(stderr, "%-22s %-9s %8.3f s %8.3f s\n", std::string(name).c_str(), std::string(outcome).c_str(),
                 std::chrono::duration<double>(now - time).count(),
                 static_cast<double>(processorNow - processor) / CLOCKS_PER_SEC);
  }
  time = now;
  processor = processorNow;
}

int wrongUse() {
  std::fprintf(stderr,
               "usage: optimize_file [--custom] [--strip HEX] [--set NAME]... [--quality N] [--convert N] "
               "[--password P] "
               "[--threads N] [--trace] IN OUT\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings = optimizer::webSettings();
  optimizer::OptimizeOptions options;
  std::string password;
  int i = 1;
  for (; i < argc && std::strncmp(argv[i], "--", 2) == 0; ++i) {
    const std::string option = argv[i];
    const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
    if (option == "--custom") {
      settings = Settings();
      continue;
    }
    if (option == "--trace") {
      options.trace = [](std::string_view name, optimizer::PassOutcome outcome, double) {
        line(name, outcome == optimizer::PassOutcome::changed ? "changed" : "unchanged");
      };
      continue;
    }
    if (value == nullptr) return wrongUse();
    ++i;
    if (option == "--strip") {
      settings.strip = static_cast<std::uint32_t>(std::strtoul(value, nullptr, 16));
    } else if (option == "--set") {
      if (!switchOn(settings, value)) return wrongUse();
    } else if (option == "--quality") {
      settings.imageQuality = std::atoi(value);
      settings.perceptualQuality = false;
    } else if (option == "--convert") {
      settings.colorConversion = static_cast<optimizer::ColorConversion>(std::clamp(std::atoi(value), 0, 3));
    } else if (option == "--password") {
      password = value;
    } else if (option == "--threads") {
      options.threads = static_cast<unsigned>(std::atoi(value));
    } else {
      return wrongUse();
    }
  }
  if (argc - i != 2) return wrongUse();

  Pl_Flate::setCompressionLevel(9);
  optimizer::Report report;
  line("", "");
  const optimizer::Status status = optimizer::runOnLargeStack([&]() -> optimizer::Status {
    auto document = optimizer::Document::open(argv[i], password);
    if (!document.ok()) return document.error();
    if (options.trace) line("opening", "");
    return optimizer::optimizeToFile(**document, settings, argv[i + 1], options, report);
  });
  if (options.trace) {
    line("saving", "");
    for (const optimizer::PassReport& pass : report.passes()) {
      for (const std::string& note : pass.notes)
        std::fprintf(stderr, "%s: %s\n", pass.name.c_str(), note.c_str());
    }
  }
  if (status.ok()) return 0;
  std::fprintf(stderr, "%s\n", status.error().message.c_str());
  return 1;
}
