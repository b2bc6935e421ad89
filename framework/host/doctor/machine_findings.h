// Whether this machine lets qmfi do its work.
#ifndef MACHINE_FINDINGS_H
#define MACHINE_FINDINGS_H

#include <cstdint>
#include <string>
#include <vector>

#include "doctor/finding.h"

namespace qmfi_host {

// What the kernel of a version ("6.12.9-amd64") can split.
Finding kernelFinding(const std::string& version);

// Whether a process has the privilege that freezing and mounting need. status: the content of its file
// /proc/PID/status.
Finding privilegeFinding(const std::string& status);

// Whether files of snapshots can be copied back.
Finding restoreFinding();

// Processes that have come to a halt because a file system is frozen, in a directory like /proc.
Findings haltedWriterFindings(const std::string& processes);

// Variables that look like settings of qmfi and are none. variables: "NAME=VALUE".
Findings unreadVariableFindings(const std::vector<std::string>& variables);

}  // namespace qmfi_host

#endif
