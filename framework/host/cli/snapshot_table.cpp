// Columns of the list of snapshots.
#include "cli/snapshot_table.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <sstream>
#include <utility>

#include "cli/snapshot_output.h"
#include "cli/text_width.h"
#include "failure/host_error.h"
#include "failure/one_line.h"
#include "snapshot/alternate_directories.h"
#include "snapshot/storage_space.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// The different texts of a snapshot's file systems, each once.
template <typename TextOf>
std::string joined(const Snapshot& snapshot, const TextOf& textOf) {
  std::vector<std::string> texts;
  for (const SnapshotNode& node : snapshot.nodes) {
    const std::string& text = textOf(node);
    if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
  }
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : " ") + inOneLine(text);
  return all;
}

// In the largest unit of which there are two at least.
std::string ageText(std::chrono::seconds age) {
  using Days = std::chrono::duration<std::int64_t, std::ratio<86400>>;
  const auto days = std::chrono::floor<Days>(age).count();
  if (days > 1) return std::to_string(days) + " d";
  const auto hours = std::chrono::floor<std::chrono::hours>(age).count();
  if (hours > 1) return std::to_string(hours) + " h";
  const auto minutes = std::chrono::floor<std::chrono::minutes>(age).count();
  if (minutes > 1) return std::to_string(minutes) + " min";
  return std::to_string(std::max<std::int64_t>(age.count(), 0)) + " s";
}

struct Column {
  const char* name;
  const char* heading;  // for translated()
  std::size_t narrowest;
  bool isUsual;
  bool isKnownOfDamaged;
  std::string (*text)(const SnapshotStatus& status, Snapshot::Time now);
};

constexpr std::array columns = {
    Column{"id", translatable("ID"), 8, true, true,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) { return status.snapshot.id; }},
    Column{"name", translatable("NAME"), 4, true, true,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) { return status.snapshot.name; }},
    Column{"created", translatable("CREATED"), 19, true, false,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) { return localTime(status.snapshot.created); }},
    Column{"age", translatable("AGE"), 0, false, false,
           [](const SnapshotStatus& status, Snapshot::Time now) {
             return ageText(std::chrono::floor<std::chrono::seconds>(now - status.snapshot.created));
           }},
    Column{
        "frozen", translatable("FROZEN FOR"), 10, true, false,
        [](const SnapshotStatus& status, Snapshot::Time /*now*/) { return millisecondsText(status.snapshot.frozen); }},
    Column{"proof", translatable("PROOF"), 0, false, false,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) {
             const auto& receipt = status.snapshot.receipt;
             return receipt ? levelName(levelOf(*receipt)) : std::string();
           }},
    Column{"state", translatable("STATE"), 11, true, true,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) {
             return status.state + (status.snapshot.held.empty() ? "" : ", held");
           }},
    Column{"mounted", translatable("MOUNTED"), 0, true, false,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) {
             return std::string(isMounted(status) ? "yes" : "no");
           }},
    Column{"size", translatable("SIZE"), 0, true, false,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) { return bytesText(bytesOf(status)); }},
    Column{"provider", translatable("PROVIDER"), 0, true, false,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) {
             return joined(status.snapshot, [](const SnapshotNode& node) { return node.provider; });
           }},
    Column{"splitter", translatable("SPLITTER"), 0, false, false,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) {
             return joined(status.snapshot, [](const SnapshotNode& node) { return node.volume.splitter; });
           }},
    Column{"held", translatable("HELD"), 0, false, false,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) { return inOneLine(status.snapshot.held); }},
    Column{"directory", translatable("DIRECTORY"), 0, false, false,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) {
             return isMounted(status) ? inOneLine(ownDirectoryOf(status.snapshot)) : std::string();
           }},
    Column{"mount_points", translatable("FILE SYSTEMS"), 0, true, false,
           [](const SnapshotStatus& status, Snapshot::Time /*now*/) {
             return joined(status.snapshot, [](const SnapshotNode& node) { return node.mountPoint; });
           }},
};

const Column* find(const std::string& name) {
  const auto* const found =
      std::find_if(columns.begin(), columns.end(), [&](const Column& column) { return name == column.name; });
  return found == columns.end() ? nullptr : found;
}

using Row = std::vector<std::string>;

Row rowOf(const SnapshotStatus& status, const std::vector<const Column*>& shown, Snapshot::Time now) {
  const bool isDamaged = !status.damage.empty();
  Row row;
  for (const Column* const column : shown) {
    row.push_back(isDamaged && !column->isKnownOfDamaged ? "" : column->text(status, now));
  }
  if (isDamaged && !shown.back()->isKnownOfDamaged) row.back() = inOneLine(status.damage);
  return row;
}

// The last column is as wide as its texts are.
void printRows(std::ostream& out, const std::vector<Row>& rows, std::vector<std::size_t> widths) {
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], widthOf(row[i]));
  }
  for (const Row& row : rows) {
    for (std::size_t i = 0; i + 1 < row.size(); ++i) out << padded(row[i], widths[i] + 2);
    out << row.back() << "\n";
  }
}

}  // namespace

std::vector<std::string> usualColumns() {
  std::vector<std::string> names;
  for (const Column& column : columns) {
    if (column.isUsual) names.emplace_back(column.name);
  }
  return names;
}

std::string allColumns() {
  std::string names;
  for (const Column& column : columns) names += (names.empty() ? "" : ", ") + std::string(column.name);
  return names;
}

std::vector<std::string> columnsOf(const std::string& names) {
  std::vector<std::string> chosen;
  std::istringstream list(names);
  for (std::string name; std::getline(list, name, ',');) {
    if (find(name) == nullptr) {
      throw UsageError(translate("there is no column \"{0}\"; there are {1}", name, allColumns()));
    }
    chosen.push_back(name);
  }
  if (chosen.empty()) throw UsageError(translate("no column is named; there are {0}", allColumns()));
  return chosen;
}

void printTable(std::ostream& out, const std::vector<SnapshotStatus>& snapshots, const TableLooks& looks,
                Snapshot::Time now) {
  std::vector<const Column*> shown;
  std::transform(looks.columns.begin(), looks.columns.end(), std::back_inserter(shown), find);
  std::vector<Row> rows;
  Row headings;
  std::vector<std::size_t> widths;
  for (const Column* const column : shown) {
    headings.emplace_back(translated(column->heading));
    widths.push_back(column->narrowest);
  }
  if (looks.headings) rows.push_back(std::move(headings));
  for (const SnapshotStatus& snapshot : snapshots) rows.push_back(rowOf(snapshot, shown, now));
  printRows(out, rows, std::move(widths));
}

}  // namespace qmfi_host
