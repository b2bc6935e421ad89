// What a provider tells the framework about itself.
#ifndef CFIPROVIDERINFO_H
#define CFIPROVIDERINFO_H

#include "cfierror.h"
#include "cfistringallocator.h"
#include "kfi.h"

#include <ace/SString.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qmfi_pdk_4_4 {

struct CFiProviderInfo {
  ACE_String_Base<char> name{CFiStringAllocator::instance()};
  kfi_version version;
  std::int32_t attributes[2];
  std::vector<std::string> fiTypes;
};

// Turns descriptions into the framework's list elements.
class CFiProviderInfoListFactory {
 public:
  // One element without a successor, which the framework frees. Throws CFiError 5 when memory is short.
  static kfi_provider_list* allocateListElement(const CFiProviderInfo& info) {
    std::vector<const char*> names;
    for (const std::string& type : info.fiTypes) {
      names.push_back(type.c_str());
    }
    kfi_provider_list* const element =
        qmfi_build_providerlist_node(info.name.c_str(), info.version, info.attributes[0], info.attributes[1],
                                     names.data(), static_cast<int>(names.size()));
    if (element == nullptr) {
      throw CFiError(CFI_STATUS_NO_MEMORY, "Bad allocation for provider list element", "cfiproviderinfo.h",
                     "allocateListElement", __LINE__);
    }
    return element;
  }
};

}  // namespace qmfi_pdk_4_4

#endif
