// The exported entry points of this provider.
#include "sample_plugin.h"

#define FI_PLUGIN_CLASS CSamplePlugin
#include "cfiapiexport.h"
