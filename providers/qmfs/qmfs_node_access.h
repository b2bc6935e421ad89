// What operations read of a node's private data, and what they check before they use a name.
#ifndef QMFS_NODE_ACCESS_H
#define QMFS_NODE_ACCESS_H

#include "cfinode.h"
#include "qmfs_private_data.h"

// The provider's own private data behind a pointer of its factory, which makes no other kind.
inline CQmFSPrivateData& qmfsDataOf(const qmfi_pdk_4_4::CFiPrivateDataSPtr& data) {
  return static_cast<CQmFSPrivateData&>(*data);
}

// A name as it is given: null for an empty one, which names nothing.
inline const char* nonEmptyOrNull(const char* name) {
  return name != nullptr && *name != '\0' ? name : nullptr;
}

// Name of the first sub-object, that is the node's device; null without private data, sub-object or name. It may be
// empty.
const char* deviceOf(const qmfi_pdk_4_4::CFiPrivateDataSPtr& data);

// Whether a command line can carry mount options: they may be several words, but none of them the lone bar that begins
// another program.
bool areCommandOptions(const std::string& options);

// Name of the first snapshot object; null when there is none. It may be empty.
const char* firstName(qmfi_objid** objects);

#endif
