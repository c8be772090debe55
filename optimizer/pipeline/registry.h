// The table of all passes: what exists, when it runs, in which order.
#pragma once

#include <memory>
#include <span>

#include "optimizer/pipeline/pass.h"

namespace optimizer {

struct Settings;

struct PassEntry {
  const char* name;                      // as the pass itself gives it
  const char* sentence;                  // what it does, for people
  bool (*wanted)(const Settings&);       // whether these settings give it anything to do
  std::unique_ptr<Pass> (*make)();
};

// In the order in which passes run.
std::span<const PassEntry> passRegistry();

}  // namespace optimizer
