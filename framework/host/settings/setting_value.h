// The value of a setting, and where it comes from.
#ifndef SETTING_VALUE_H
#define SETTING_VALUE_H

#include <cstdint>
#include <map>
#include <string>
#include <variant>

namespace qmfi_host {

// What a setting may hold; nothing where nobody has set it and there is no default.
using SettingData = std::variant<std::monostate, bool, std::int64_t, std::string>;

// Who has set it.
struct SettingOrigin {
  // What kind of source it is; nobody has set what is standard.
  enum class Kind { standard, file, variable, option };

  Kind kind = Kind::standard;  // of the source
  std::string name{};          // of the file, the variable ("QMFI_STATE_DIR") or the option ("--state-dir")
  std::uint32_t line = 0;      // of the file, from 1
};

// A setting as one source has it.
struct SettingValue {
  SettingData data{};
  SettingOrigin origin{};
};

// By the whole names of the settings: "lock_wait", "create.require".
using SettingValues = std::map<std::string, SettingValue>;

// Has values replaced by those of a source that counts for more.
inline void overrideBy(SettingValues& values, const SettingValues& more) {
  for (const auto& [key, value] : more) values[key] = value;
}

}  // namespace qmfi_host

#endif
