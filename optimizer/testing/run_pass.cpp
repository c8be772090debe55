#include "optimizer/testing/run_pass.h"

#include <gtest/gtest.h>

#include <qpdf/QPDFWriter.hh>

#include "optimizer/base/pool.h"
#include "optimizer/document/usage.h"
#include "optimizer/document/verify.h"
#include "optimizer/pipeline/report.h"

namespace optimizer::testing {

std::string written(Document& document) {
  QPDFWriter writer(document.pdf());
  writer.setOutputMemory();
  writer.setStaticID(true);
  writer.setStreamDataMode(qpdf_s_preserve);
  writer.setObjectStreamMode(qpdf_o_disable);
  writer.setPreserveEncryption(false);
  writer.write();
  const std::shared_ptr<Buffer> bytes = writer.getBufferSharedPointer();
  return std::string(reinterpret_cast<const char*>(bytes->getBuffer()), bytes->getSize());
}

PassOutcome runPass(Document& document, std::unique_ptr<Pass> pass, const Settings& settings, unsigned threads) {
  const auto usage = std::make_shared<const DocumentUsage>(analyzeUsage(document));  // first: it makes objects of fonts
  const std::string before = written(document);
  WorkerPool pool(threads);
  Report report;
  PassContext context{document, settings, pool, report, usage};
  report.begin(std::string(pass->name()));
  const Reach reach = document.reach();
  const Result<PassOutcome> outcome = pass->process(context);
  if (!outcome.ok()) {
    ADD_FAILURE() << pass->name() << ": " << outcome.error().message;
    return PassOutcome::unchanged;
  }
  if (*outcome == PassOutcome::changed && !pass->keepsObjects()) document.forgetReachable();
  if (pass->keepsObjects()) {
    for (const QPDFObjectHandle& object : reachableObjects(document.pdf())) {
      EXPECT_EQ(reach.references.count(keyOf(object)), 1u) << pass->name() << " made an object that it denies";
    }
  }
  if (*outcome == PassOutcome::changed && pass->keepsUsage()) {
    EXPECT_TRUE(analyzeUsage(document) == *context.usage) << pass->name() << " changed what it says it keeps";
  }
  const bool changed = written(document) != before;
  EXPECT_FALSE(*outcome == PassOutcome::unchanged && changed) << pass->name() << " says it changed nothing";
  const Status valid = verifyInMemory(document);
  EXPECT_TRUE(valid.ok()) << (valid.ok() ? "" : valid.error().message);
  return *outcome;
}

}  // namespace optimizer::testing
