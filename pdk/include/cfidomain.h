// How a node is named. The names stay the framework's; a thread may look while none changes the record.
#ifndef CFIDOMAIN_H
#define CFIDOMAIN_H

#include "kfi.h"

namespace qmfi_pdk_4_4 {

// Name of an identifier; null when there is none.
inline const char* objectName(const qmfi_objid* object) {
  return object != nullptr ? object->vid_name : nullptr;
}

// Name of a node's identifier; null when there is none.
inline const char* objectName(const kfi_domain* node) {
  return node != nullptr ? objectName(node->fid_objid) : nullptr;
}

// The node's own name, which keys it in sessions and names its alternate tree: that of its identifier until the node
// has been given one. Null when there is neither.
inline const char* nodeName(const kfi_domain* node) {
  return node != nullptr && node->fid_name != nullptr ? node->fid_name : objectName(node);
}

}  // namespace qmfi_pdk_4_4

#endif
