#include "kelv/compressor/document_information.h"

#include "kelv/compressor/pdf_date.h"
#include "kelv/profile/profile_keys.h"

namespace kelv {
namespace {

constexpr const char* producerStamp = "Kelvara 4";

struct DateFlags {
  bool updateModificationAndCreation;
  bool updateModification;
};

std::optional<DateFlags> dateFlags(const CompressionProfile& profile) {
  const std::optional<bool> both = flagValue(profile, "updateModificationAndCreationDate");
  const std::optional<bool> modification = flagValue(profile, "updateModificationDate");
  if (!both || !modification) return std::nullopt;
  return DateFlags{*both, *modification};
}

std::string customText(const CompressionProfile& profile, const InformationKeys& keys) {
  const std::string fallback = findProfileKey(keys.customKey)->defaultText;
  const std::string text = textValue(profile, keys.customKey).value_or(fallback);
  return *text.c_str() == '\0' ? fallback : text;  // the engine reads up to the first NUL
}

}  // namespace

void applyInformationEntries(const CompressionProfile& profile, OptimizerHandle handle) {
  for (const InformationKeys& keys : informationKeys()) {
    if (flagValue(profile, keys.removeKey).value_or(false)) {
      PdfOptimizeSetInfoEntryA(handle, keys.entry, customText(profile, keys).c_str());
    } else if (std::string_view(keys.entry) == "Producer") {
      PdfOptimizeSetInfoEntryA(handle, keys.entry, producerStamp);
    }
  }
}

void applyDocumentDates(const CompressionProfile& profile, OptimizerHandle handle,
                        platform::Formatting& formatting) {
  const std::optional<DateFlags> flags = dateFlags(profile);
  if (!flags) return;
  if (flags->updateModificationAndCreation) {
    const std::string now = pdfDateText(formatting, formatting.now());
    PdfOptimizeSetInfoEntryA(handle, "CreationDate", now.c_str());
  } else if (!flags->updateModification) {
    // Copied, since the engine's text is valid only until the next call. Setting the empty text of an absent
    // date keeps the engine from stamping one.
    const char* current = PdfOptimizeGetInfoEntryA(handle, "ModDate");
    const std::string kept = current == nullptr ? "" : current;
    PdfOptimizeSetInfoEntryA(handle, "ModDate", kept.c_str());
  }
}

void applyFileDates(const CompressionProfile& profile, const std::string& outputPath, const InputDates& input,
                    platform::Services& services) {
  const std::optional<DateFlags> flags = dateFlags(profile);
  if (!flags) return;
  const platform::TimePoint now = services.formatting.now();
  platform::FileAttributeChanges changes{now, now};
  if (!flags->updateModificationAndCreation) {
    changes.creationDate = input.creation;
    if (!flags->updateModification) changes.modificationDate = input.modification;
  }
  const platform::Status status = services.files.setAttributes(changes, outputPath);
  if (status.ok()) return;
  const std::string description = status.error().description();
  services.process.log("ERROR: #65eO9ztfu - " + description);
  services.process.print("ERROR: #5eO9Zfuer - errorMessage: " + description);
}

}  // namespace kelv
