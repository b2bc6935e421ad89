// What a provider tells the framework about itself.
#ifndef CFIPROVIDERINFO_H
#define CFIPROVIDERINFO_H

#include <ace/SString.h>

#include <cstdint>
#include <string>
#include <vector>

#include "cfierror.h"
#include "cfistringallocator.h"
#include "kfi.h"

namespace qmfi_pdk_4_4 {

// What a provider says of itself.
struct CFiProviderInfo {
  ACE_String_Base<char> name{CFiStringAllocator::instance()};  // the provider's name
  kfi_version version;                                         // of the provider itself
  std::int32_t attributes[2];                                  // the framework's, passed on as they are
  std::vector<std::string> fiTypes;                            // the file-system types that it handles
};

// Turns descriptions into the framework's list elements. May be used from any thread.
class CFiProviderInfoListFactory {
 public:
  // One element without a successor, which the framework frees. Throws CFiError 5 when memory is short.
  static kfi_provider_list* allocateListElement(const CFiProviderInfo& info) {
    std::vector<const char*> names;
    for (const std::string& type : info.fiTypes) names.push_back(type.c_str());
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
