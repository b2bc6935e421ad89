// A volume's file cloned while its file system is frozen through the plug-in.
#ifndef SNAPSHOT_FILE_H
#define SNAPSHOT_FILE_H

#include <string>

#include "loaded_plugin.h"

namespace provider_test {

// Quiesces the node, makes the clone of the file of its volume, and ends the quiesce. `snapshot`: the volume whose file
// becomes the clone, made when it is not there. Returns 0, the status of a quiesce that failed, or -1.
int cloneFrozen(LoadedPlugin& plugin, kfi_domain& node, const std::string& volume, const std::string& snapshot);

}  // namespace provider_test

#endif
