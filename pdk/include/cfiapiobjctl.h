// The object-control entry point: argument text in and out.
#ifndef CFIAPIOBJCTL_H
#define CFIAPIOBJCTL_H

#include <cstring>

#include "cfiobjctlargs.h"
#include "cfipluginbase.h"
#include "cfistringallocator.h"

namespace qmfi_pdk_4_4 {

// Runs the provider's objctl with the arguments of the input text (null: none), stores its status in result and a copy
// of the output arguments' text in output, which the caller frees with free; null when there is no memory for the copy.
inline int controlObject(CFiPluginBase& plugin, const char* name, char* input, char** output, int* result) {
  if (name == nullptr || output == nullptr || result == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  CFiObjctlArgs arguments;
  arguments.importArgs(input);
  *result = plugin.objctl(ACE_String_Base<char>(name, CFiStringAllocator::instance()), arguments);
  *output = ::strdup(arguments.exportArgs().c_str());
  return CFI_STATUS_SUCCESS;
}

}  // namespace qmfi_pdk_4_4

#endif
