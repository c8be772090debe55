#include "kelvara/stats.h"

#include <memory>
#include <ostream>

#include "kelv/shared/shared_preferences.h"
#include "kelv/shared/statistics_totals.h"
#include "kelvara/json.h"
#include "kelvara/sizes.h"

namespace kelvara {

ExitStatus showStatistics(const Arguments& arguments, Context& context) {
  const std::unique_ptr<platform::Preferences> suite = kelv::openSharedDefaults(context.services.preferences);
  if (!suite) {
    return failure(
        context, "the shared preferences cannot be opened.",
        "Look at group.kelvara.plist in ~/.config/kelvara (or $XDG_CONFIG_HOME/kelvara): it has to be a "
        "property list that you may read. Move a damaged one away and try again.");
  }
  const kelv::StatisticsTotals totals = kelv::readStatisticsTotals(*suite);
  // As doubles: other programs may have written totals whose difference is no 64-bit integer.
  const double saved = static_cast<double>(totals.originalSize) - static_cast<double>(totals.compressedSize);
  const double share = totals.originalSize == 0 ? 0 : saved / static_cast<double>(totals.originalSize);
  if (arguments.has("--json")) {
    context.out << "{\"originalSize\": " << totals.originalSize
                << ", \"compressedSize\": " << totals.compressedSize
                << ", \"savedSize\": " << jsonNumber(saved) << ", \"savedShare\": " << jsonNumber(share)
                << "}\n";
    return exitOk;
  }
  if (totals.originalSize == 0 && totals.compressedSize == 0) {
    context.out << "Nothing has been compressed yet. Begin with: kelv FILE.pdf\n";
    return exitOk;
  }
  context.out << "Before  " << readableSize(totals.originalSize) << "\n"
              << "After   " << readableSize(totals.compressedSize) << "\n"
              << "Saved   " << readableSize(static_cast<std::int64_t>(saved)) << " (" << readableShare(share)
              << ")\n";
  return exitOk;
}

}  // namespace kelvara
