// Calls that hand something out: it becomes the outputs of the call's record, and what is the host's is given back.
#ifndef HOST_CALLS_H
#define HOST_CALLS_H

#include <string>

#include "host.h"

namespace faults {

// Mount a snapshot where the entries, ended by null pointers, say. Return the alternate mount point's identifier.
qmfi_objid* buildAlternateTree(Host& host, kfi_domain& node, kfi_subobj_entry* entries, qmfi_objid* snapshot);
qmfi_objid* importAlternateTree(Host& host, kfi_domain& node, kfi_subobj_entry* entries, qmfi_objid* snapshot);
// primary may be null. Returns the status.
int deportTree(Host& host, kfi_domain* primary, kfi_domain& alternate);

void storeState(Host& host, kfi_domain& node, const std::string& state);
// Returns it, empty when there is none.
std::string fetchState(Host& host, kfi_domain& node);
void listSubObjects(Host& host, kfi_domain& node);

void askWhetherParent(Host& host, const std::string& device);
// The texts may be null.
void formatDevice(Host& host, const std::string& device, char* type);
void bringResourceOnline(Host& host, const std::string& device, char* mountPoint, char* type, char* options);

}  // namespace faults

#endif
