// The document information entries and the dates, in the document and of its file, as a profile wants them.
#pragma once

#include <optional>
#include <string>

#include "kelv/engine/PdfOptimizeAPI.h"
#include "kelv/profile/compression_profile.h"
#include "platform/services.h"

namespace kelv {

// Of the input file, where the file system knows them.
struct InputDates {
  std::optional<platform::TimePoint> creation;
  std::optional<platform::TimePoint> modification;
};

// Overwrites the entries that the profile removes. The Producer is always written, and never empty.
void applyInformationEntries(const CompressionProfile& profile, OptimizerHandle handle);

// These two do nothing unless the profile has both of its date flags.

// CreationDate becomes now, or ModDate is kept over the save; a document without ModDate gets none.
void applyDocumentDates(const CompressionProfile& profile, OptimizerHandle handle,
                        platform::Formatting& formatting);
// The dates of the saved file. A failure is reported, and the file still counts as compressed.
void applyFileDates(const CompressionProfile& profile, const std::string& outputPath, const InputDates& input,
                    platform::Services& services);

}  // namespace kelv
