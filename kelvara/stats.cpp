#include "kelvara/stats.h"

#include <memory>
#include <ostream>

#include "kelv/shared/shared_preferences.h"
#include "kelv/shared/statistics_totals.h"
#include "kelvara/files.h"
#include "kelvara/history.h"
#include "kelvara/json.h"
#include "kelvara/plot.h"
#include "kelvara/sizes.h"

namespace kelvara {
namespace {

// As doubles: other programs may have written totals whose difference is no 64-bit integer.
double savedSize(const kelv::StatisticsTotals& totals) {
  return static_cast<double>(totals.originalSize) - static_cast<double>(totals.compressedSize);
}

double savedShare(const kelv::StatisticsTotals& totals) {
  return totals.originalSize == 0 ? 0 : savedSize(totals) / static_cast<double>(totals.originalSize);
}

std::string asJson(const kelv::StatisticsTotals& totals) {
  return "\"originalSize\": " + std::to_string(totals.originalSize) +
         ", \"compressedSize\": " + std::to_string(totals.compressedSize) +
         ", \"savedSize\": " + jsonNumber(savedSize(totals)) +
         ", \"savedShare\": " + jsonNumber(savedShare(totals));
}

std::string historyAsJson(const std::vector<Snapshot>& history) {
  std::string text;
  for (const Snapshot& snapshot : history) {
    text += text.empty() ? "" : ", ";
    text += "{\"time\": " + std::to_string(snapshot.time) + ", " + asJson(snapshot.totals) + "}";
  }
  return "[" + text + "]";
}

void showTotals(const kelv::StatisticsTotals& totals, std::ostream& out) {
  if (totals == kelv::StatisticsTotals()) {
    out << "Nothing has been compressed yet. Begin with: kelv FILE.pdf\n";
    return;
  }
  out << "Before  " << readableSize(static_cast<double>(totals.originalSize)) << "\n"
      << "After   " << readableSize(static_cast<double>(totals.compressedSize)) << "\n"
      << "Saved   " << readableSize(savedSize(totals)) << " (" << readableShare(savedShare(totals)) << ")\n";
}

}  // namespace

ExitStatus showStatistics(const Arguments& arguments, Context& context) {
  const std::unique_ptr<platform::Preferences> suite = kelv::openSharedDefaults(context.services.preferences);
  if (!suite) {
    return failure(
        context, "the shared preferences cannot be opened.",
        "Look at group.kelvara.plist in ~/.config/kelvara (or $XDG_CONFIG_HOME/kelvara): it has to be a "
        "property list that you may read. Move a damaged one away and try again.");
  }
  const kelv::StatisticsTotals totals = kelv::readStatisticsTotals(*suite);
  const platform::Status noted = noteTotals(context.services, totals);
  if (!noted.ok()) {
    context.err << "kelvara: today's totals are missing from the history. "
                << noted.error().localizedDescription() << "\n";
  }
  const std::vector<Snapshot> history = readHistory(context.services.preferences);

  if (arguments.has("--plot")) {
    const std::string file = arguments.value("--plot");
    const platform::Status written = writeWholeFile(
        context.services, plotAsSvg(history, context.services.formatting), absolutePath(context, file), true);
    if (!written.ok()) {
      return failure(context, "the plot cannot be written. " + written.error().localizedDescription(),
                     "Name a file in a folder that you may write to.");
    }
  }
  if (arguments.has("--json")) {
    context.out << "{" << asJson(totals);
    if (arguments.has("--history")) context.out << ", \"history\": " << historyAsJson(history);
    context.out << "}\n";
    return exitOk;
  }
  showTotals(totals, context.out);
  if (arguments.has("--history")) context.out << "\n" << plotAsText(history, context.services.formatting);
  return exitOk;
}

}  // namespace kelvara
