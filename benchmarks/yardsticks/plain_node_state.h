// A node's state as text, packed into one reserved string and restored in one pass over views.
#ifndef PLAIN_NODE_STATE_H
#define PLAIN_NODE_STATE_H

#include <string>
#include <vector>

#include "kfi.h"

namespace bench {

struct NodeState {
  std::string options;
  std::vector<qmfi_objid*> subObjects;
  std::string altObject;
};

// Fills the blob with a buffer of the framework's. False when there is no memory.
bool packNodeState(const NodeState& state, kfi_blob& blob);

// Adds the sub-object and replaces the rest; false when a tag is missing.
bool restoreNodeState(const kfi_blob& blob, NodeState& state);

}  // namespace bench

#endif
