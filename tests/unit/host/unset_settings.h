// No settings from anywhere, for tests of what holds.
#ifndef UNSET_SETTINGS_H
#define UNSET_SETTINGS_H

#include <optional>

#include "support/environment.h"

namespace qmfi_host {

// While it lives there are no settings files and no variables.
class UnsetSettings {
 private:
  EnvironmentVariable m_directory{"QMFI_CONFIG_DIR", "/etc/qmfi-of-nobody"};
  EnvironmentVariable m_providers{"QMFI_PROVIDER_DIR", std::nullopt};
  EnvironmentVariable m_state{"QMFI_STATE_DIR", std::nullopt};
  EnvironmentVariable m_splitter{"QMFI_SPLITTER_COMMAND", std::nullopt};
  EnvironmentVariable m_alternates{"QMFI_ALTERNATE_DIR", std::nullopt};
  EnvironmentVariable m_lang{"LANG", std::nullopt};
  EnvironmentVariable m_messages{"LC_MESSAGES", std::nullopt};
  EnvironmentVariable m_all{"LC_ALL", std::nullopt};
};

}  // namespace qmfi_host

#endif
