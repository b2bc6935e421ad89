// What is made of the reports of lvm.
#ifndef LVM_VOLUMES_H
#define LVM_VOLUMES_H

#include <string>

#include "volume/lvm_program.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// The two names of a logical volume.
struct LvmNames {
  std::string group;
  std::string volume;

  // As lvm takes them together.
  std::string whole() const { return group + "/" + volume; }
};

// The names in a path "/dev/GROUP/NAME". Throws HostError for any other, and for names that lvm does not allow.
LvmNames lvmNamesIn(const std::string& path);

// Whether a volume takes its room from a pool.
bool isThin(const LogicalVolume& volume);

// The volume of a name; null where there is none.
const LogicalVolume* findVolume(const VolumeGroup& group, const std::string& name);

// How it stands with a volume and its copy. Throws HostError for a plan of another splitter's.
VolumeStatus lvmStatusOf(const SplitPlan& plan, const VolumeGroup& group);

}  // namespace qmfi_host

#endif
