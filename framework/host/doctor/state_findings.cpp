// Comparing state, records and mounts.
#include "doctor/state_findings.h"

#include <algorithm>
#include <set>

#include "cfimounttable.h"
#include "failure/host_error.h"
#include "failure/shell_word.h"
#include "snapshot/alternate_directories.h"
#include "state/snapshot_record.h"
#include "trust/trusted_path.h"

namespace qmfi_host {

namespace {

using qmfi_pdk_4_4::CFiMount;

std::string called(const Snapshot& snapshot) {
  return "the snapshot " + snapshot.id + (snapshot.name == snapshot.id ? "" : " (" + snapshot.name + ")");
}

// Nothing for a snapshot that is as it should be, or is being worked on.
Findings ofSnapshot(const SnapshotStatus& status) {
  const Snapshot& snapshot = status.snapshot;
  const std::string command = "qmfi snapshot ";
  const auto told = [&](Weight weight, const std::string& what, const std::string& mend) {
    return Findings{{weight, "snapshot", called(snapshot) + " " + what, mend}};
  };
  const std::string& state = status.state;
  if (state == "damaged") {
    return told(Weight::problem, "is damaged: " + status.damage, command + "delete " + snapshot.id);
  }
  if (state == "interrupted") {
    return told(Weight::problem, "was interrupted while " + phaseName(snapshot.phase), "qmfi recover");
  }
  if (state == "gone") return told(Weight::problem, "has lost a copy", command + "delete " + snapshot.id);
  if (state == "unmounted") return told(Weight::notice, "is not mounted", command + "mount " + snapshot.id);
  return {};
}

std::set<std::string> idsOf(const std::vector<SnapshotStatus>& known) {
  std::set<std::string> ids;
  for (const SnapshotStatus& status : known) ids.insert(status.snapshot.id);
  return ids;
}

std::set<std::string> alternatesOf(const std::vector<SnapshotStatus>& known) {
  std::set<std::string> alternates;
  for (const SnapshotStatus& status : known) {
    for (const SnapshotNode& node : status.snapshot.nodes) alternates.insert(node.alternate);
  }
  return alternates;
}

Finding ofUnusableRecord(const KeptRecord& record, const HostError& error) {
  return {Weight::notice, "copy", "the record of " + record.snapshotFile + " is of no use: " + error.what()};
}

}  // namespace

Finding directoryFinding(const std::string& what, const std::filesystem::path& directory) {
  try {
    requireTrusted(directory);
    return {Weight::good, "directory", directory.string() + " (" + what + ") is root's alone"};
  } catch (const HostError& error) {
    return {Weight::problem, "directory", directory.string() + " (" + what + ") is refused: " + error.what()};
  }
}

Findings snapshotFindings(const std::vector<SnapshotStatus>& known) {
  Findings findings;
  for (const SnapshotStatus& status : known) append(findings, ofSnapshot(status));
  if (findings.empty()) {
    findings.push_back({Weight::good, "snapshot", std::to_string(known.size()) + " known, and all as they should be"});
  }
  return findings;
}

Findings unknownSnapshotFindings(const std::vector<SnapshotStatus>& known, const Splitters& splitters) {
  Findings findings;
  std::set<std::string> told = idsOf(known);
  for (const VolumeSplitter* const splitter : splitters.all()) {
    for (const KeptRecord& record : splitter->records()) {
      try {
        const Snapshot snapshot = snapshotOfRecord(record.text);
        if (!told.insert(snapshot.id).second) continue;
        findings.push_back({Weight::problem, "copy",
                            record.snapshotFile + " belongs to " + called(snapshot) + ", which is not known",
                            "qmfi recover --rescan"});
      } catch (const HostError& error) {
        findings.push_back(ofUnusableRecord(record, error));
      }
    }
  }
  return findings;
}

Findings strangeMountFindings(const std::vector<SnapshotStatus>& known, std::string_view mountTable) {
  const std::string below = std::string(standardAlternateDirectory) + "/";
  const std::set<std::string> alternates = alternatesOf(known);
  Findings findings;
  while (!mountTable.empty()) {
    const std::string_view line = mountTable.substr(0, mountTable.find('\n'));
    mountTable.remove_prefix(std::min(line.size() + 1, mountTable.size()));
    const std::optional<CFiMount> mount = qmfi_pdk_4_4::wholeMount(qmfi_pdk_4_4::wordsOf(line));
    if (!mount || !mount->mountPoint.starts_with(below) || alternates.contains(mount->mountPoint)) continue;
    findings.push_back({Weight::problem, "mount",
                        mount->mountPoint + " is mounted, and belongs to no snapshot of this state",
                        "umount " + shellWord(mount->mountPoint)});
  }
  return findings;
}

}  // namespace qmfi_host
