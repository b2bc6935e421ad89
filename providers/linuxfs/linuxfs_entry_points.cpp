// The exported entry points of this provider.
#include "linuxfs_plugin.h"

#define FI_PLUGIN_CLASS CLinuxFSPlugin
#include "cfiapiexport.h"
