// The list of snapshots as people read it.
#ifndef SNAPSHOT_TABLE_H
#define SNAPSHOT_TABLE_H

#include <ostream>
#include <string>
#include <vector>

#include "snapshot/snapshot_status.h"

namespace qmfi_host {

// What the user wants to see of it.
struct TableLooks {
  // Names of columns, from left to right; those of usualColumns() or any others of allColumns().
  std::vector<std::string> columns;
  bool headings = true;
};

// Those that are shown unless the user chooses.
std::vector<std::string> usualColumns();

// The names of all, as help shows them: "id, name, created...".
std::string allColumns();

// Reads a list of columns: "id,name". Throws UsageError for a name that there is none of.
std::vector<std::string> columnsOf(const std::string& names);

// A line for each snapshot. The line of a damaged one has what is known, and what is wrong in the last column. now:
// what ages are counted to.
void printTable(std::ostream& out, const std::vector<SnapshotStatus>& snapshots, const TableLooks& looks,
                Snapshot::Time now);

}  // namespace qmfi_host

#endif
