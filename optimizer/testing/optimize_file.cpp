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
#include <qpdf/Pl_Flate.hh>
#include <string>

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
      options.trace = [](std::string_view name, optimizer::PassOutcome outcome, double seconds) {
        std::fprintf(stderr, "%-20s %-9s %8.3f s\n", std::string(name).c_str(),
                     outcome == optimizer::PassOutcome::changed ? "changed" : "unchanged", seconds);
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
  const auto start = std::chrono::steady_clock::now();
  const auto since = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
  double opened = 0;
  const optimizer::Status status = optimizer::runOnLargeStack([&]() -> optimizer::Status {
    auto document = optimizer::Document::open(argv[i], password);
    opened = since();
    if (!document.ok()) return document.error();
    return optimizer::optimizeToFile(**document, settings, argv[i + 1], options, report);
  });
  if (options.trace) {
    std::fprintf(stderr, "%-30s %8.3f s\n%-30s %8.3f s\n", "opening", opened, "all, with saving", since());
    for (const optimizer::PassReport& pass : report.passes()) {
      for (const std::string& note : pass.notes)
        std::fprintf(stderr, "%s: %s\n", pass.name.c_str(), note.c_str());
    }
  }
  if (status.ok()) return 0;
  std::fprintf(stderr, "%s\n", status.error().message.c_str());
  return 1;
}
