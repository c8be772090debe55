#include "optimizer/pipeline/runner.h"

#include <chrono>

#include "optimizer/document/document.h"
#include "optimizer/document/usage.h"
#include "optimizer/document/verify.h"
#include "optimizer/pipeline/registry.h"
#include "optimizer/pipeline/report.h"

namespace optimizer {
namespace {

#ifdef NDEBUG
constexpr bool kValidate = false;
#else
constexpr bool kValidate = true;
#endif

}  // namespace

const DocumentUsage& usageOf(PassContext& context) {
  if (!context.usage) context.usage = std::make_shared<const DocumentUsage>(analyzeUsage(context.document));
  return *context.usage;
}

Status runPasses(PassContext& context, const PassTrace& trace) {
  for (const PassEntry& entry : passRegistry()) {
    if (!entry.wanted(context.settings)) continue;
    context.report.begin(entry.name);
    const auto start = std::chrono::steady_clock::now();
    const std::unique_ptr<Pass> pass = entry.make();
    Result<PassOutcome> outcome = withoutExceptions(
        std::string("Pass ") + entry.name, [&]() -> Result<PassOutcome> { return pass->process(context); });
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    if (!outcome.ok()) return outcome.error();
    if (*outcome == PassOutcome::changed && !pass->keepsUsage()) context.usage.reset();
    if (*outcome == PassOutcome::changed && !pass->keepsObjects()) context.document.forgetReachable();
    context.report.end(*outcome == PassOutcome::changed, seconds.count());
    if (trace) trace(entry.name, *outcome, seconds.count());
    if (kValidate && *outcome == PassOutcome::changed) {
      Status valid = verifyInMemory(context.document);
      if (!valid.ok()) {
        return Error{ErrorKind::internal, std::string("After pass ") + entry.name + ": " + valid.error().message};
      }
    }
  }
  return {};
}

}  // namespace optimizer
