// A pass is one kind of improvement of a document: one file, one class, one name. The runner, not the pass, times,
// traces and validates. A pass that does not understand something leaves it as it is; an Error means that the
// document as a whole cannot be saved.
#pragma once

#include <memory>
#include <string_view>

#include "optimizer/base/result.h"

namespace optimizer {

class Document;
class Report;
class WorkerPool;
struct DocumentUsage;
struct LiftedImages;
struct Settings;

// What a pass may use. Passes run one after another on one thread; work inside a pass goes to the pool.
struct PassContext {
  Document& document;
  const Settings& settings;
  WorkerPool& pool;
  Report& report;
  // What content uses, as the last pass that asked found it; the runner drops it when a pass changes that.
  std::shared_ptr<const DocumentUsage> usage = nullptr;
  // Inline images that are objects while images are worked on; null where there are none.
  std::shared_ptr<const LiftedImages> lifted = nullptr;
};

// The usage of the document as it is now, analysed at most once between changes. May throw what qpdf throws.
const DocumentUsage& usageOf(PassContext& context);

enum class PassOutcome { unchanged, changed };

class Pass {
 public:
  virtual ~Pass() = default;
  virtual std::string_view name() const = 0;
  // True for a pass after which the context's usage is that of the document: one that changes neither content, names of
  // resources, masks nor the objects' numbers, or that puts the usage right. Images may come to have other pixels,
  // and what is seen of them may move as far as content is rounded. Asked after process().
  virtual bool keepsUsage() const { return false; }
  // True for a pass that makes no object, lets go of none and refers to none from a new place: what the trailer leads to
  // need not be walked anew after it. Asked after process(). Numbers and names that said how a stream was coded may go.
  virtual bool keepsObjects() const { return false; }
  virtual Result<PassOutcome> process(PassContext& context) = 0;
};

}  // namespace optimizer
