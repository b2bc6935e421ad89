// Asking splitters, and lvm for what is nearly full.
#include "doctor/storage_findings.h"

#include "failure/host_error.h"
#include "texts/translation.h"
#include "volume/lvm_volumes.h"

namespace qmfi_host {

namespace {

constexpr double nearlyFull = 80;
constexpr double full = 95;

Finding findingOf(const VolumeSplitter& splitter) {
  try {
    splitter.requireUsable();
    return {Weight::good, "splitter", translate("{0} can be used", splitter.name())};
  } catch (const HostError& error) {
    return {Weight::notice, "splitter", translate("{0} cannot be used: {1}", splitter.name(), error.what())};
  }
}

Weight weightOf(double used) {
  return used >= full ? Weight::problem : Weight::notice;
}

Findings ofPool(const std::string& name, const LogicalVolume& pool) {
  Findings findings;
  if (pool.data >= nearlyFull) {
    findings.push_back({weightOf(pool.data), "room",
                        translate("the pool {0} is {1}% full", name, static_cast<int>(pool.data)),
                        "lvextend --extents +20%LV " + name});
  }
  if (pool.metadata >= nearlyFull) {
    findings.push_back({weightOf(pool.metadata), "room",
                        translate("the metadata of the pool {0} are {1}% full", name, static_cast<int>(pool.metadata)),
                        "lvextend --poolmetadatasize +64M " + name});
  }
  return findings;
}

Findings ofCopy(const std::string& name, const LogicalVolume& copy) {
  if (copy.data < nearlyFull) return {};
  return {{weightOf(copy.data), "room",
           translate("the copy {0} is {1}% full; when it is full it is lost", name, static_cast<int>(copy.data)),
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
