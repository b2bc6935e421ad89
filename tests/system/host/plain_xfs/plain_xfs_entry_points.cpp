// The exported entry points of the second provider.
#include "plain_xfs_plugin.h"

#define FI_PLUGIN_CLASS CPlainXfsPlugin
#include "cfiapiexport.h"
