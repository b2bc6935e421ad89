// The freeze time-out of the framework's configuration store.
#include "provider/freeze_timeout.h"

#include "cficonfiguration.h"

namespace qmfi_host {

std::chrono::seconds configuredFreezeTimeout(const std::string& provider) {
  constexpr std::chrono::seconds otherwise(2);
  qmfi_pdk_4_4::CFiConfiguration store(ACE_String_Base<char>(provider.c_str()));
  ACE_Configuration_Section_Key section;
  unsigned int seconds = 0;
  if (store.openSection("QUIESCENCE_INFO", section, 0) != 0 ||
      store.getIntegerValue("QUIESCENCE_TIMEOUT", seconds) != 0) {
    return otherwise;
  }
  return seconds >= shortestFreezeTimeout && seconds <= longestFreezeTimeout ? std::chrono::seconds(seconds)
                                                                             : otherwise;
}

}  // namespace qmfi_host
