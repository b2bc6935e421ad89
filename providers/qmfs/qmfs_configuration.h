// The provider's settings in the framework's configuration.
#ifndef QMFS_CONFIGURATION_H
#define QMFS_CONFIGURATION_H

#include <cstdint>

#include "cficonfiguration.h"

// How file systems are frozen.
struct TuningParameters {
  std::int32_t quiescenceTimeout;      // default freeze time-out in seconds
  std::int32_t allowSerialQuiescence;  // exactly 1: file systems may be frozen one after another
};

// Reads the settings, one thread at a time.
class CQmFSConfiguration : public qmfi_pdk_4_4::CFiConfiguration {
 public:
  using CFiConfiguration::CFiConfiguration;

  // The settings of section "QUIESCENCE_INFO", with defaults for what is missing. Never fails.
  TuningParameters importConfigData();

 private:
  TuningParameters readSection();
  // missing is the record of a key that the section does not have.
  std::int32_t readValue(const char* key, std::int32_t defaultValue, qmfi_pdk_4_4::CFiTraceFormat<const char*> missing);
};

#endif
