// The provider's settings in the framework's configuration.
#ifndef QMFS_CONFIGURATION_H
#define QMFS_CONFIGURATION_H

#include "cficonfiguration.h"

#include <cstdint>

// How file systems are frozen.
struct TuningParameters {
  std::int32_t quiescenceTimeout;      // default freeze time-out in seconds
  std::int32_t allowSerialQuiescence;  // exactly 1: file systems may be frozen one after another
};

class CQmFSConfiguration : public qmfi_pdk_4_4::CFiConfiguration {
 public:
  using CFiConfiguration::CFiConfiguration;

  // The settings of section "QUIESCENCE_INFO", with defaults for what is missing. Never fails.
  TuningParameters importConfigData();

 private:
  TuningParameters readSection();
  std::int32_t readValue(const char* key, std::int32_t defaultValue, const char* missingText);
};

#endif
