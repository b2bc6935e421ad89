// What a host does with the plug-in: scripts of calls that together reach every entry point.
#ifndef SCRIPTS_H
#define SCRIPTS_H

#include <vector>

#include "host.h"

namespace faults {

struct Script {
  const char* name;
  // Before the plug-in is started: what its machine is to be like beside the usual.
  void (*prepare)(Machine& machine);
  void (*run)(Host& host);
};

// A snapshot from claim to deport, and what can happen to it.
std::vector<Script> snapshotScripts();
// Import, online, dispose, access, resources.
std::vector<Script> mountScripts();
// Identity, errors, sessions, object control, and the operations that the provider leaves to its base.
std::vector<Script> frameScripts();

// All of them.
std::vector<Script> allScripts();

}  // namespace faults

#endif
