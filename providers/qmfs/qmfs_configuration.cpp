// The provider's settings in the framework's configuration.
#include "qmfs_configuration.h"

#include "qmfs_log_texts.h"

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
    trace(CFI_TRACE_DETAIL, qmfs_log::timeoutAfterException, defaultParameters.quiescenceTimeout);
    trace(CFI_TRACE_DETAIL, qmfs_log::serialAfterException, defaultParameters.allowSerialQuiescence);
    return defaultParameters;
  }
}

TuningParameters CQmFSConfiguration::readSection() {
  ACE_Configuration_Section_Key section;
  if (openSection(configurationSection, section, 1) != 0) {
    trace(CFI_TRACE_DETAIL, qmfs_log::timeoutWithoutSection, defaultParameters.quiescenceTimeout);
    trace(CFI_TRACE_DETAIL, qmfs_log::serialWithoutSection, defaultParameters.allowSerialQuiescence);
    return defaultParameters;
  }
  trace(CFI_TRACE_DETAIL, qmfs_log::sectionOpened, configurationSection);
  const TuningParameters parameters{
      readValue(timeoutKey, defaultParameters.quiescenceTimeout, qmfs_log::timeoutMissing),
      readValue(serialKey, defaultParameters.allowSerialQuiescence, qmfs_log::serialMissing),
  };
  trace(CFI_TRACE_DETAIL, qmfs_log::timeoutRead, parameters.quiescenceTimeout);
  trace(CFI_TRACE_DETAIL, qmfs_log::serialRead, parameters.allowSerialQuiescence);
  return parameters;
}

std::int32_t CQmFSConfiguration::readValue(const char* key, std::int32_t defaultValue,
                                           CFiTraceFormat<const char*> missing) {
  unsigned int value = 0;
  if (getIntegerValue(key, value) == 0) return static_cast<std::int32_t>(value);
  trace(CFI_TRACE_DETAIL, missing, key);
  return defaultValue;
}
