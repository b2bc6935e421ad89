// The names that snapshots take on the machine.
#ifndef DEVICE_NODES_H
#define DEVICE_NODES_H

#include <sys/types.h>

#include <memory>
#include <string>

#include "volume/volume_splitter.h"

namespace qmfi_host {

// Throws HostError when there is something of that name.
void requireAbsent(const std::string& path);

// Removes a file or a node; does nothing where there is none. Throws HostError.
void removeName(const std::string& path);

// Holds the device at a path open. Throws HostError.
std::unique_ptr<SnapshotDevice> holdDevice(const std::string& path);

// Makes a block device node at a path, root's alone, and holds it open. Throws HostError, with no node left.
std::unique_ptr<SnapshotDevice> makeNode(const std::string& path, dev_t device);

// Makes the second node of a snapshot where the plan has one and its directory exists. Throws HostError.
void makeRawNode(const SplitPlan& plan, dev_t device);

// Removes both nodes of a snapshot. Throws HostError.
void removeNodes(const SplitPlan& plan);

}  // namespace qmfi_host

#endif
