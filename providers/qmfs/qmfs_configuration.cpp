// The provider's settings in the framework's configuration.
#include "qmfs_configuration.h"

using namespace qmfi_pdk_4_4;

namespace {

constexpr const char* SECTION = "QUIESCENCE_INFO";
constexpr const char* TIMEOUT_KEY = "QUIESCENCE_TIMEOUT";
constexpr const char* SERIAL_KEY = "QUIESCENCE_SERIAL_QUIESCENCE";
constexpr TuningParameters DEFAULTS{2, 0};

}  // namespace

TuningParameters CQmFSConfiguration::importConfigData() {
  const auto scope = traceScope("importConfigData");
  try {
    return readSection();
  } catch (...) {
    trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData in catch - configData.quiescenceTimeout = %d",
          DEFAULTS.quiescenceTimeout);
    trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData in catch - configData.allowSerialQuiescence = %d",
          DEFAULTS.allowSerialQuiescence);
    return DEFAULTS;
  }
}

TuningParameters CQmFSConfiguration::readSection() {
  ACE_Configuration_Section_Key section;
  if (openSection(SECTION, section, 1) != 0) {
    trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData - configData.quiescenceTimeout = %d",
          DEFAULTS.quiescenceTimeout);
    trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData - configData.allowSerialQuiescence = %d",
          DEFAULTS.allowSerialQuiescence);
    return DEFAULTS;
  }
  trace(CFI_TRACE_DETAIL, "CQmFSConfiguration::importConfigData - Successfully opend section %s", SECTION);
  // Required: the two messages differ by a blank.
  const TuningParameters parameters{
      readValue(TIMEOUT_KEY, DEFAULTS.quiescenceTimeout,
                "CQmFSConfiguration::importConfigData - could not find value for  "),
      readValue(SERIAL_KEY, DEFAULTS.allowSerialQuiescence,
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
