// The freeze time-out of the framework's configuration store.
#include "provider/freeze_timeout.h"

#include "cficonfiguration.h"

namespace qmfi_host {

std::chrono::seconds configuredFreezeTimeout(const Provider& provider) {
  constexpr std::chrono::seconds otherwise(2);
  const std::optional<ProviderDescriptor::Timeout>& timeout = provider.descriptor().timeout;
  if (!timeout || !timeout->configured) return otherwise;
  qmfi_pdk_4_4::CFiConfiguration store(ACE_String_Base<char>(provider.name().c_str()));
  ACE_Configuration_Section_Key section;
  unsigned int seconds = 0;
  if (store.openSection(timeout->configured->section.c_str(), section, 0) != 0 ||
      store.getIntegerValue(timeout->configured->name.c_str(), seconds) != 0) {
    return otherwise;
  }
  return seconds >= shortestFreezeTimeout && seconds <= longestFreezeTimeout ? std::chrono::seconds(seconds)
                                                                             : otherwise;
}

}  // namespace qmfi_host
