#include "kelvara/audit_report.h"

#include <algorithm>
#include <map>
#include <utility>

#include "kelvara/json.h"
#include "kelvara/sizes.h"

namespace kelvara {
namespace {

using optimizer::Audit;
using optimizer::AuditItem;
using optimizer::AuditRow;
using optimizer::entryOf;

std::string number(std::uint64_t value) { return std::to_string(value); }

std::string size(std::uint64_t bytes) { return readableSize(static_cast<double>(bytes)); }

std::string share(std::uint64_t part, std::uint64_t whole) {
  return readableShare(whole == 0 ? 0 : static_cast<double>(part) / static_cast<double>(whole));
}

// Columns as a reader counts them: characters, not bytes.
std::size_t widthOf(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char letter) { return (letter & 0xC0) != 0x80; }));
}

std::string rightAligned(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, widthOf(text)), ' ') + text;
}

// The rows of all audits of a file, by group in the order of the kinds.
std::vector<AuditRow> allRows(const AuditedFile& file) {
  std::map<std::pair<optimizer::AuditKind, optimizer::DpiBand>, AuditRow> rows;
  for (const AuditRow& row : file.audit.rows) rows[{row.kind, row.band}] = row;
  for (const Estimate& estimate : file.estimates) {
    for (const AuditRow& row : estimate.after.rows) {
      rows.try_emplace({row.kind, row.band}, AuditRow{row.kind, row.band, 0, 0});
    }
  }
  std::vector<AuditRow> list;
  for (const auto& [key, row] : rows) list.push_back(row);
  return list;
}

class Table {
 public:
  Table(const AuditedFile& file, bool color) : file_(file), color_(color), rows_(allRows(file)) {}

  std::string text() {
    line(
        {"", "Number", "Size", "Share"}, [](const Estimate& estimate) { return estimate.profile; }, false);
    for (auto begin = rows_.begin(); begin != rows_.end();) {
      const std::string group = entryOf(begin->kind).group;
      const auto end = std::find_if(
          begin, rows_.end(), [&group](const AuditRow& row) { return entryOf(row.kind).group != group; });
      groupLine(group, {begin, end});
      for (; begin != end; ++begin) rowLine(*begin);
    }
    line(
        {"All", "", size(file_.audit.fileBytes), ""},
        [](const Estimate& estimate) {
          return estimate.problem.empty() ? size(estimate.after.fileBytes) : std::string();
        },
        true);
    return std::move(text_);
  }

 private:
  template <typename Cell>
  void line(const std::vector<std::string>& cells, const Cell& cell, bool bold) {
    std::string text = cells[0] + std::string(40 - std::min<std::size_t>(40, widthOf(cells[0])), ' ') +
                       rightAligned(cells[1], 8) + rightAligned(cells[2], 11) + rightAligned(cells[3], 9);
    for (const Estimate& estimate : file_.estimates) text += rightAligned(cell(estimate), 11);
    while (text.ends_with(' ')) text.pop_back();
    text_ += (bold && color_ ? "\033[1m" + text + "\033[0m" : text) + "\n";
  }

  void groupLine(const std::string& group, std::span<const AuditRow> rows) {
    std::uint64_t bytes = 0;
    for (const AuditRow& row : rows) bytes += row.bytes;
    line(
        {group, "", size(bytes), share(bytes, file_.audit.fileBytes)},
        [&rows](const Estimate& estimate) {
          std::uint64_t after = 0;
          for (const AuditRow& row : rows) after += bytesOfRow(estimate.after, row);
          return estimate.problem.empty() ? size(after) : std::string();
        },
        true);
  }

  void rowLine(const AuditRow& row) {
    line(
        {"  " + rowName(row), row.count == 0 ? "" : number(row.count), size(row.bytes),
         share(row.bytes, file_.audit.fileBytes)},
        [&row](const Estimate& estimate) {
          return estimate.problem.empty() ? size(bytesOfRow(estimate.after, row)) : std::string();
        },
        false);
  }

  const AuditedFile& file_;
  bool color_;
  std::vector<AuditRow> rows_;
  std::string text_;
};

std::string verdict(const AuditedFile& file, const Estimate& estimate) {
  const std::string who =
      estimate.profile == "default" ? "kelv without a profile" : "The profile " + estimate.profile;
  if (!estimate.problem.empty()) return who + " cannot be tried: " + estimate.problem + ".\n";
  const std::uint64_t before = file.audit.fileBytes;
  const std::uint64_t after = estimate.after.fileBytes;
  if (after >= before) return who + " would save nothing, and kelv would keep the file as it is.\n";
  return who + " would save " + size(before - after) + " (" + share(before - after, before) + "), leaving " +
         size(after) + ".\n";
}

std::string rowsAsJson(const Audit& audit) {
  std::string json;
  for (const AuditRow& row : audit.rows) {
    json += std::string(json.empty() ? "" : ",\n   ") + "{\"kind\": " + jsonText(entryOf(row.kind).id) +
            ", \"group\": " + jsonText(entryOf(row.kind).group) + ", \"name\": " + jsonText(rowName(row)) +
            ", \"dpi\": " + jsonText(optimizer::dpiBandText(row.band)) + ", \"count\": " + number(row.count) +
            ", \"bytes\": " + number(row.bytes) + "}";
  }
  return "[" + json + "]";
}

std::string itemAsJson(const AuditItem& item) {
  std::string json = "{\"kind\": " + jsonText(entryOf(item.kind).id) +
                     ", \"row\": " + jsonText(rowName({item.kind, item.band, 0, 0})) +
                     ", \"object\": " + std::to_string(item.object) + ", \"bytes\": " + number(item.bytes);
  if (item.page > 0) json += ", \"page\": " + std::to_string(item.page);
  if (!item.name.empty()) json += ", \"name\": " + jsonText(item.name);
  if (isImage(item.kind)) {
    json += ", \"width\": " + std::to_string(item.width) + ", \"height\": " + std::to_string(item.height) +
            ", \"bits\": " + std::to_string(item.bits) + ", \"color\": " + jsonText(item.color);
    json += ", \"dpi\": " + (item.dpi > 0 ? jsonNumber(item.dpi) : "null");
  }
  return json + "}";
}

std::string estimateAsJson(const AuditedFile& file, const Estimate& estimate) {
  const std::string start = "{\"profile\": " + jsonText(estimate.profile);
  if (!estimate.problem.empty()) return start + ", \"error\": " + jsonText(estimate.problem) + "}";
  const double before = static_cast<double>(file.audit.fileBytes);
  const double saved = before - static_cast<double>(estimate.after.fileBytes);
  return start + ", \"bytes\": " + number(estimate.after.fileBytes) + ", \"saved\": " + jsonNumber(saved) +
         ", \"savedShare\": " + jsonNumber(before > 0 ? saved / before : 0) +
         ",\n   \"rows\": " + rowsAsJson(estimate.after) + "}";
}

std::string fileAsJson(const AuditedFile& file) {
  const std::string start = "{\"file\": " + jsonText(file.name);
  if (!file.problem.empty()) return start + ", \"error\": " + jsonText(file.problem) + "}";
  const Audit& audit = file.audit;
  std::string json =
      start + ", \"bytes\": " + number(audit.fileBytes) + ", \"pages\": " + number(audit.pages) +
      ", \"version\": " + jsonText(audit.version) + ", \"encrypted\": " + jsonBool(audit.encrypted) +
      ", \"linearized\": " + jsonBool(audit.linearized) + ", \"tagged\": " + jsonBool(audit.tagged);
  json += ",\n  \"rows\": " + rowsAsJson(audit) + ",\n  \"items\": [";
  for (std::size_t i = 0; i < audit.items.size(); ++i) {
    json += (i == 0 ? "" : ",\n   ") + itemAsJson(audit.items[i]);
  }
  json += "],\n  \"estimates\": [";
  for (std::size_t i = 0; i < file.estimates.size(); ++i) {
    json += (i == 0 ? "" : ",\n   ") + estimateAsJson(file, file.estimates[i]);
  }
  return json + "]}";
}

}  // namespace

std::string rowName(const AuditRow& row) {
  const std::string band = optimizer::dpiBandText(row.band);
  return entryOf(row.kind).name + (band.empty() ? "" : ", " + band);
}

std::uint64_t bytesOfRow(const Audit& audit, const AuditRow& row) {
  for (const AuditRow& other : audit.rows) {
    if (other.kind == row.kind && other.band == row.band) return other.bytes;
  }
  return 0;
}

std::string auditAsText(const AuditedFile& file, bool color) {
  const Audit& audit = file.audit;
  std::string text = file.name + ": " + size(audit.fileBytes) + ", " + number(audit.pages) +
                     (audit.pages == 1 ? " page" : " pages") + ", PDF " + audit.version;
  if (audit.encrypted) text += ", encrypted";
  if (audit.linearized) text += ", linearized";
  if (audit.tagged) text += ", tagged";
  text += "\n\n" + Table(file, color).text();
  if (!file.estimates.empty()) text += "\n";
  for (const Estimate& estimate : file.estimates) text += verdict(file, estimate);
  return text;
}

std::string auditAsJson(const std::vector<AuditedFile>& files) {
  std::string json;
  for (const AuditedFile& file : files) json += (json.empty() ? "" : ",\n ") + fileAsJson(file);
  return "{\"files\": [\n " + json + "]}\n";
}

}  // namespace kelvara
