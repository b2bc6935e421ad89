// qmfi config show [--origin]
#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/command_table.h"
#include "cli/text_width.h"
#include "failure/json_text.h"
#include "failure/one_line.h"
#include "settings/setting_table.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

std::string textOf(const SettingEntry& entry, const SettingData& data) {
  if (const auto* const text = std::get_if<std::string>(&data)) return inOneLine(*text);
  if (const auto* const number = std::get_if<std::int64_t>(&data)) return std::to_string(*number);
  if (const auto* const flag = std::get_if<bool>(&data)) return *flag ? "true" : "false";
  return "(" + std::string(translated(entry.unset)) + ")";
}

Json jsonOfData(const SettingData& data) {
  if (const auto* const text = std::get_if<std::string>(&data)) return *text;
  if (const auto* const number = std::get_if<std::int64_t>(&data)) return *number;
  if (const auto* const flag = std::get_if<bool>(&data)) return *flag;
  return nullptr;
}

constexpr const char* standardName = translatable("default");

const char* kindName(SettingOrigin::Kind kind) {
  switch (kind) {
    case SettingOrigin::Kind::file:
      return "file";
    case SettingOrigin::Kind::variable:
      return "variable";
    case SettingOrigin::Kind::option:
      return "option";
    case SettingOrigin::Kind::standard:
      break;
  }
  return standardName;
}

std::string textOf(const SettingOrigin& origin) {
  if (origin.kind == SettingOrigin::Kind::standard) return translated(standardName);
  return origin.line == 0 ? origin.name : inOneLine(origin.name) + ":" + std::to_string(origin.line);
}

Json jsonOfOrigin(const SettingOrigin& origin) {
  const bool isStandard = origin.kind == SettingOrigin::Kind::standard;
  return {{"kind", kindName(origin.kind)},
          {"name", isStandard ? Json() : Json(origin.name)},
          {"line", origin.line == 0 ? Json() : Json(origin.line)}};
}

void printJson(std::ostream& out, const SettingValues& values) {
  Json all = Json::array();
  for (const SettingEntry& entry : settingTable()) {
    const SettingValue& value = values.at(keyOf(entry));
    all.push_back({{"key", keyOf(entry)}, {"value", jsonOfData(value.data)}, {"origin", jsonOfOrigin(value.origin)}});
  }
  out << jsonDocument(all);
}

void printText(std::ostream& out, const SettingValues& values, bool withOrigin) {
  constexpr std::size_t keyWidth = 23;
  std::size_t valueWidth = 0;
  for (const SettingEntry& entry : settingTable()) {
    valueWidth = std::max(valueWidth, widthOf(textOf(entry, values.at(keyOf(entry)).data)));
  }
  for (const SettingEntry& entry : settingTable()) {
    const SettingValue& value = values.at(keyOf(entry));
    const std::string text = textOf(entry, value.data);
    out << padded(keyOf(entry), keyWidth) << (withOrigin ? padded(text, valueWidth + 2) + textOf(value.origin) : text)
        << "\n";
  }
}

// What holds for the words that it is called with.
class ConfigShow : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.flag("--origin", m_withOrigin, translatable("Also where each value comes from (always with --json)"));
  }

  bool needsRoot() const override { return false; }
  WrongSettings wrongSettings() const override { return WrongSettings::tell; }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    if (settings.json) {
      printJson(out, settings.values);
    } else {
      printText(out, settings.values, m_withOrigin);
    }
    return ExitStatus::done;
  }

 private:
  bool m_withOrigin = false;
};

}  // namespace

std::unique_ptr<Command> makeConfigShow() {
  return std::make_unique<ConfigShow>();
}

}  // namespace qmfi_host
