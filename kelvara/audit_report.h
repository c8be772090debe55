// What audits found, as text, JSON and a page for the browser.
#pragma once

#include <string>
#include <vector>

#include "kelvara/estimate.h"
#include "optimizer/audit/audit.h"

namespace kelvara {

struct AuditedFile {
  std::string name;     // as the user gave it
  std::string problem;  // why it could not be read; then there is nothing else
  optimizer::Audit audit;
  std::vector<Estimate> estimates;  // one for each profile that was asked for
};

std::string auditAsText(const AuditedFile& file, bool color);
// {"files": [...]}
std::string auditAsJson(const std::vector<AuditedFile>& files);
// Self-contained: HTML5 with its style, script and data.
std::string auditAsHtml(const std::vector<AuditedFile>& files);

// "JPEG above 300 dpi"
std::string rowName(const optimizer::AuditRow& row);
// The bytes of an equal row of another audit.
std::uint64_t bytesOfRow(const optimizer::Audit& audit, const optimizer::AuditRow& row);

}  // namespace kelvara
