// The engine as one function: what the C interface and kelvara call.
#pragma once

#include <string>

#include "optimizer/base/result.h"
#include "optimizer/document/document.h"
#include "optimizer/document/save.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/pipeline/runner.h"
#include "optimizer/settings/settings.h"

namespace optimizer {

struct OptimizeOptions {
  SaveOptions save;       // linearize and objectStreams are decided by the settings and the document
  unsigned threads = 0;   // 0: one per processor; the result is the same for any number
  PassTrace trace;
};

// Optimizes the open document by the settings and writes it to path. The document is changed by this and is fit only
// for being closed afterwards, whether or not it succeeds.
// Errors: unsupported (signed; see promises.h), io, limit, internal (the result would not have been good).
Status optimizeToFile(Document& document, const Settings& settings, const std::string& path,
                      const OptimizeOptions& options, Report& report);

}  // namespace optimizer
