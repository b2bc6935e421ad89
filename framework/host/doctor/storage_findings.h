// Whether volumes can be split here, and whether their storage has room.
#ifndef STORAGE_FINDINGS_H
#define STORAGE_FINDINGS_H

#include <string>
#include <vector>

#include "doctor/finding.h"
#include "volume/lvm_program.h"
#include "volume/splitters.h"

namespace qmfi_host {

// A finding for each splitter.
Findings splitterFindings(const Splitters& splitters);

// What is nearly full in a volume group: pools, and copies that become invalid when they are full.
Findings roomFindings(const std::string& groupName, const VolumeGroup& group);

// The same of all volume groups; nothing where lvm is not there or does not answer.
Findings roomFindings(const LvmProgram& lvm);

}  // namespace qmfi_host

#endif
