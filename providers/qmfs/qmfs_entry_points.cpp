// The exported entry points of this provider, and the strings that are built when the library is loaded.
#include "qmfs_plugin.h"

#define FI_PLUGIN_CLASS CQmFSPlugin
#include "cfiapiexport.h"

std::vector<std::string> m_vecCfsMountPoints;
