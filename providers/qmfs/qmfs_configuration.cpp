// The provider's settings in the framework's configuration.
#include "qmfs_configuration.h"

using namespace qmfi_pdk_4_4;

namespace {

constexpr const char* configurationSection = "QUIESCENCE_INFO";
constexpr const char* timeoutKey = "QUIESCENCE_TIMEOUT";
constexpr const char* serialKey = "QUIESCENCE_SERIAL_QUIESCENCE";
constexpr TuningParameters defaultParameters{2, 0};

}  // namespace

TuningParameters CQmFSConfiguration::importConfigData() {
  const auto scope = traceScope("importConfigData");
  try {
    return readSection();
  } catch (...) {
    trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData in catch - configData.quiescenceTimeout = %d",
          defaultParameters.quiescenceTimeout);
    trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData in catch - configData.allowSerialQuiescence = %d",
          defaultParameters.allowSerialQuiescence);
    return defaultParameters;
  }
}

TuningParameters CQmFSConfiguration::readSection() {
  ACE_Configuration_Section_Key section;
  if (openSection(configurationSection, section, 1) != 0) {
    trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData - configData.quiescenceTimeout = %d",
          defaultParameters.quiescenceTimeout);
    trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData - configData.allowSerialQuiescence = %d",
          defaultParameters.allowSerialQuiescence);
    return defaultParameters;
  }
  trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData - Successfully opend section %s", configurationSection);
  // Required: the two messages differ by a blank.
  const TuningParameters parameters{
      readValue(timeoutKey, defaultParameters.quiescenceTimeout,
                "CQmFSConfiguration::importConfigData - could not find value for  "),
      readValue(serialKey, defaultParameters.allowSerialQuiescence,
                "CQmFSConfiguration::importConfigData - could not find value for "),
  };
  trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = %d",
        parameters.quiescenceTimeout);
  trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData From File - configData.allowSerialQuiescence = %d",
        parameters.allowSerialQuiescence);
  return parameters;
}

std::int32_t CQmFSConfiguration::readValue(const char* key, std::int32_t defaultValue, const char* missingText) {
  unsigned int value = 0;
  if (getIntegerValue(key, value) == 0) {
    return static_cast<std::int32_t>(value);
  }
  trace(CFI_TRACE_DETAIL, "%s%s", missingText, key);
  return defaultValue;
}
