// What kelvara_documents.so gives to kelvara: the commands that look into documents with the engine's own
// insides.
#pragma once

#include "kelvara/command.h"

extern "C" {

// As auditFiles and compareFiles.
kelvara::ExitStatus kelvaraAuditFiles(const kelvara::Arguments& arguments, kelvara::Context& context);
kelvara::ExitStatus kelvaraCompareFiles(const kelvara::Arguments& arguments, kelvara::Context& context);

}  // extern "C"
