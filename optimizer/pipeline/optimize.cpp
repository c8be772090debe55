#include "optimizer/pipeline/optimize.h"

#include <sys/stat.h>

#include <ctime>

#include "optimizer/base/pool.h"
#include "optimizer/document/promises.h"
#include "optimizer/document/text.h"

namespace optimizer {

Status optimizeToFile(Document& document, const Settings& settings, const std::string& path,
                      const OptimizeOptions& options, Report& report) {
  if ((settings.strip & flattenFormFields) == 0 && isSigned(document)) {
    return Error{ErrorKind::unsupported, "The PDF is digitally signed, and any change would break the signature"};
  }
  // Information and metadata come first: the passes code the metadata like every other stream.
  const std::time_t now = std::time(nullptr);
  if (document.changedInfo().count("ModDate") == 0) {
    OPTIMIZER_TRY(document.setInfoEntry("ModDate", pdfDate(now)));
  }
  const Promises promises = promisesOf(document);
  const Settings kept = keepingPromises(settings, promises);
  OPTIMIZER_TRY(updateMetadata(document, kept, promises, options.save.encrypts(), now));

  WorkerPool pool(options.threads);
  PassContext context{document, kept, pool, report};
  OPTIMIZER_TRY(runPasses(context, options.trace));

  SaveOptions save = options.save;
  save.linearize = kept.linearize;
  save.objectStreams = !promises.pdfA1();
  save.pool = &pool;
  save.deflateLevel = kept.deflateLevel();
  OPTIMIZER_TRY(saveDocument(document, path, save));
  report.inputBytes = document.inputBytes();
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) report.outputBytes = static_cast<std::uint64_t>(status.st_size);
  return {};
}

}  // namespace optimizer
