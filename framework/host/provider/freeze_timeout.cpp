// The freeze time-out of the framework's configuration store.
#include "provider/freeze_timeout.h"

#include <optional>
#include <string>

#include "cficonfiguration.h"
#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// The framework's store, and whether a value is there that is no number.
class Settings : public qmfi_pdk_4_4::CFiConfiguration {
 public:
  explicit Settings(const std::string& provider) : CFiConfiguration(ACE_String_Base<char>(provider.c_str())) {}

  // The text of a value of the opened section; nothing when there is none.
  std::optional<std::string> textOf(const std::string& name) {
    ACE_TString text;
    if (m_heap.get_string_value(m_section, name.c_str(), text) != 0) return std::nullopt;
    return std::string(text.c_str(), text.length());
  }
};

}  // namespace

std::chrono::seconds configuredFreezeTimeout(const Provider& provider) {
  constexpr std::chrono::seconds otherwise(2);
  constexpr std::chrono::seconds withoutOwn(10);
  const std::optional<ProviderDescriptor::Timeout>& timeout = provider.descriptor().timeout;
  if (!timeout) return withoutOwn;
  if (!timeout->configured) return otherwise;
  const auto& [section, name] = *timeout->configured;
  Settings settings(provider.name());
  ACE_Configuration_Section_Key opened;
  if (settings.openSection(section.c_str(), opened, 0) != 0) return otherwise;
  const std::optional<std::string> text = settings.textOf(name);
  if (!text) return otherwise;
  unsigned int seconds = 0;
  const bool isNumber = settings.getIntegerValue(name.c_str(), seconds) == 0;
  if (isNumber && seconds >= shortestFreezeTimeout && seconds <= longestFreezeTimeout) {
    return std::chrono::seconds(seconds);
  }
  throw HostError(
      translate("the settings of the provider {0} cannot be used: {1} of section {2} is \"{3}\", not a number of "
                "seconds from {4} to {5}; --freeze-timeout goes before it",
                provider.name(), name, section, *text, shortestFreezeTimeout, longestFreezeTimeout));
}

}  // namespace qmfi_host
