// Asking splitters, and lvm for what is nearly full.
#include "doctor/storage_findings.h"

#include "failure/host_error.h"
#include "volume/lvm_volumes.h"

namespace qmfi_host {

namespace {

constexpr double nearlyFull = 80;
constexpr double full = 95;

Finding findingOf(const VolumeSplitter& splitter) {
  try {
    splitter.requireUsable();
    return {Weight::good, "splitter", splitter.name() + " can be used"};
  } catch (const HostError& error) {
    return {Weight::notice, "splitter", splitter.name() + " cannot be used: " + error.what()};
  }
}

std::string percent(double part) {
  return std::to_string(static_cast<int>(part)) + "%";
}

Weight weightOf(double used) {
  return used >= full ? Weight::problem : Weight::notice;
}

Findings ofPool(const std::string& name, const LogicalVolume& pool) {
  Findings findings;
  if (pool.data >= nearlyFull) {
    findings.push_back({weightOf(pool.data), "room", "the pool " + name + " is " + percent(pool.data) + " full",
                        "lvextend --extents +20%LV " + name});
  }
  if (pool.metadata >= nearlyFull) {
    findings.push_back({weightOf(pool.metadata), "room",
                        "the metadata of the pool " + name + " are " + percent(pool.metadata) + " full",
                        "lvextend --poolmetadatasize +64M " + name});
  }
  return findings;
}

Findings ofCopy(const std::string& name, const LogicalVolume& copy) {
  if (copy.data < nearlyFull) return {};
  return {{weightOf(copy.data), "room",
           "the copy " + name + " is " + percent(copy.data) + " full; when it is full it is lost",
           "lvextend --extents +20%ORIGIN " + name}};
}

// As they stand in what lvm prints, a line for each.
std::vector<std::string> namesIn(const std::string& printed) {
  std::vector<std::string> names;
  std::size_t begin = 0;
  while ((begin = printed.find_first_not_of(" \n", begin)) != std::string::npos) {
    const std::size_t end = std::min(printed.find_first_of(" \n", begin), printed.size());
    names.push_back(printed.substr(begin, end - begin));
    begin = end;
  }
  return names;
}

}  // namespace

Findings splitterFindings(const Splitters& splitters) {
  Findings findings;
  for (const VolumeSplitter* const splitter : splitters.all()) findings.push_back(findingOf(*splitter));
  return findings;
}

Findings roomFindings(const std::string& groupName, const VolumeGroup& group) {
  Findings findings;
  for (const auto& [name, volume] : group.volumes) {
    const std::string whole = LvmNames{groupName, name}.whole();
    if (volume.kind == "thin-pool") append(findings, ofPool(whole, volume));
    if (!volume.origin.empty() && !isThin(volume)) append(findings, ofCopy(whole, volume));
  }
  return findings;
}

Findings roomFindings(const LvmProgram& lvm) {
  Findings findings;
  try {
    lvm.requireUsable();
    for (const std::string& name : namesIn(lvm.run({"vgs", "--noheadings", "--options", "vg_name"}))) {
      append(findings, roomFindings(name, lvm.groupOf(name)));
    }
  } catch (const HostError&) {
    // The splitter's own finding tells what is wrong with lvm.
    return findings;
  }
  return findings;
}

}  // namespace qmfi_host
