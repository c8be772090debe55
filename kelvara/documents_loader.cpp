// The commands that read documents, as stand-ins that call those of kelvara_documents.so. The engine's
// libraries take longer to load than kelvara takes for everything else, so they are loaded only when such a
// command runs.

#include <string>

#include "kelvara/audit.h"
#include "kelvara/compare.h"
#include "kelvara/documents.h"
#include "platform/dynamic_library.h"

namespace kelvara {
namespace {

constexpr char libraryName[] = "kelvara_documents.so";

// The status is failed where the command cannot be had.
ExitStatus runLoaded(const char* function, const Arguments& arguments, Context& context, ExitStatus failed) {
  const auto library = platform::DynamicLibrary::load(libraryName);
  void* address = library.ok() ? library->symbol(function) : nullptr;
  if (address == nullptr) {
    const std::string why = library.ok() ? std::string(libraryName) + " is of another kelvara"
                                         : library.error().localizedDescription();
    failure(context, "a part of kelvara cannot be loaded: " + why + ".", "Install kelvara again.");
    return failed;
  }
  return reinterpret_cast<decltype(&kelvaraAuditFiles)>(address)(arguments, context);
}

}  // namespace

ExitStatus auditFiles(const Arguments& arguments, Context& context) {
  return runLoaded("kelvaraAuditFiles", arguments, context, exitFailure);
}

ExitStatus compareFiles(const Arguments& arguments, Context& context) {
  return runLoaded("kelvaraCompareFiles", arguments, context, exitUsage);
}

}  // namespace kelvara
