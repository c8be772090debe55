#include "optimizer/pipeline/optimize.h"

#include <sys/stat.h>

#include <ctime>

#include "optimizer/base/pool.h"
#include "optimizer/document/text.h"

namespace optimizer {

Status optimizeToFile(Document& document, const Settings& settings, const std::string& path,
                      const OptimizeOptions& options, Report& report) {
  WorkerPool pool(options.threads);
  PassContext context{document, settings, pool, report};
  OPTIMIZER_TRY(runPasses(context, options.trace));
  if (document.changedInfo().count("ModDate") == 0) {
    OPTIMIZER_TRY(document.setInfoEntry("ModDate", pdfDate(std::time(nullptr))));
  }
  SaveOptions save = options.save;
  save.linearize = settings.linearize;
  OPTIMIZER_TRY(saveDocument(document, path, save));
  report.inputBytes = document.inputBytes();
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) report.outputBytes = static_cast<std::uint64_t>(status.st_size);
  return {};
}

}  // namespace optimizer
