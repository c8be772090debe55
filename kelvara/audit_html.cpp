#include "kelvara/audit_report.h"
#include "kelvara/pages.h"

namespace kelvara {

std::string auditAsHtml(const std::vector<AuditedFile>& files) {
  std::string plain;
  for (const AuditedFile& file : files) {
    plain += file.problem.empty() ? auditAsText(file, false) : file.name + ": " + file.problem + "\n";
    plain += "\n";
  }
  const std::string title = files.size() == 1 ? files.front().name : std::to_string(files.size()) + " files";
  return htmlPage("Where the bytes are: " + title, auditScript, auditAsJson(files),
                  "<pre>" + htmlText(plain) + "</pre>");
}

}  // namespace kelvara
