// Comparing state, records and mounts.
#include "doctor/state_findings.h"

#include <algorithm>
#include <set>

#include "cfimounttable.h"
#include "failure/host_error.h"
#include "failure/shell_word.h"
#include "snapshot/alternate_directories.h"
#include "state/snapshot_record.h"
#include "texts/translation.h"
#include "trust/trusted_path.h"

namespace qmfi_host {

namespace {

using qmfi_pdk_4_4::CFiMount;

std::string called(const Snapshot& snapshot) {
  return snapshot.id + (snapshot.name == snapshot.id ? "" : " (" + snapshot.name + ")");
}

// Nothing for a snapshot that is as it should be, or is being worked on.
Findings ofSnapshot(const SnapshotStatus& status) {
  const Snapshot& snapshot = status.snapshot;
  const std::string command = "qmfi snapshot ";
  const std::string name = called(snapshot);
  const auto told = [&](Weight weight, const std::string& text, const std::string& mend) {
    return Findings{{weight, "snapshot", text, mend}};
  };
  const std::string& state = status.state;
  if (state == "damaged") {
    return told(Weight::problem, translate("the snapshot {0} is damaged: {1}", name, status.damage),
                command + "delete " + snapshot.id);
  }
  if (state == "interrupted") {
    return told(Weight::problem,
                translate("the snapshot {0} was interrupted while {1}", name, phaseName(snapshot.phase)),
                "qmfi recover");
  }
  if (state == "gone") {
    return told(Weight::problem, translate("the snapshot {0} has lost a copy", name),
                command + "delete " + snapshot.id);
  }
  if (state == "unmounted") {
    return told(Weight::notice, translate("the snapshot {0} is not mounted", name), command + "mount " + snapshot.id);
  }
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
  return {Weight::notice, "copy", translate("the record of {0} is of no use: {1}", record.snapshotFile, error.what())};
}

}  // namespace

Finding directoryFinding(const std::string& what, const std::filesystem::path& directory) {
  try {
    requireTrusted(directory);
    return {Weight::good, "directory", translate("{0} ({1}) is root's alone", directory.string(), what)};
  } catch (const HostError& error) {
    return {Weight::problem, "directory",
            translate("{0} ({1}) is refused: {2}", directory.string(), what, error.what())};
  }
}

Findings snapshotFindings(const std::vector<SnapshotStatus>& known) {
  Findings findings;
  for (const SnapshotStatus& status : known) append(findings, ofSnapshot(status));
  if (findings.empty()) {
    findings.push_back({Weight::good, "snapshot", translate("{0} known, and all as they should be", known.size())});
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
        findings.push_back(
            {Weight::problem, "copy",
             translate("{0} belongs to the snapshot {1}, which is not known", record.snapshotFile, called(snapshot)),
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
                        translate("{0} is mounted, and belongs to no snapshot of this state", mount->mountPoint),
                        "umount " + shellWord(mount->mountPoint)});
  }
  return findings;
}

}  // namespace qmfi_host
