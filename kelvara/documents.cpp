#include "kelvara/documents.h"

#include "kelvara/audit.h"
#include "kelvara/compare.h"

[[gnu::visibility("default")]] kelvara::ExitStatus kelvaraAuditFiles(const kelvara::Arguments& arguments,
                                                                     kelvara::Context& context) {
  return kelvara::auditFiles(arguments, context);
}

[[gnu::visibility("default")]] kelvara::ExitStatus kelvaraCompareFiles(const kelvara::Arguments& arguments,
                                                                       kelvara::Context& context) {
  return kelvara::compareFiles(arguments, context);
}
