// qmfi config check
#include <nlohmann/json.hpp>

#include "cli/command_table.h"
#include "failure/json_text.h"
#include "failure/one_line.h"
#include "provider/installed_providers.h"
#include "provider/provider_descriptor.h"
#include "provider/trusted_files.h"
#include "texts/translation.h"
#include "trust/trusted_path.h"

namespace qmfi_host {

namespace {

namespace fs = std::filesystem;

using FileErrors = std::vector<FileError>;

// Of all that are installed, whichever the settings choose. None of them is loaded.
FileErrors descriptorErrors(const fs::path& directory) {
  FileErrors errors;
  const InstalledProviders installed(directory, std::nullopt, "", requireTrusted);
  for (const std::string& name : installed.names()) {
    const fs::path file = descriptorOf(directory, name);
    try {
      requireTrusted(file);
      readDescriptor(file);
    } catch (const FileError& error) {
      errors.push_back(error);
    } catch (const HostError& error) {
      errors.emplace_back(error, file);
    }
  }
  return errors;
}

void printJson(std::ostream& out, const FileErrors& errors) {
  Json all = Json::array();
  for (const FileError& error : errors) {
    const FilePlace& place = error.place();
    all.push_back({{"file", place.file},
                   {"line", place.line == 0 ? Json() : Json(place.line)},
                   {"key", place.key.empty() ? Json() : Json(place.key)},
                   {"text", error.what()},
                   {"hint", jsonOf(error).at("hint")}});
  }
  out << jsonDocument(all);
}

void printText(std::ostream& out, const FileErrors& errors) {
  for (const FileError& error : errors) out << inOneLine(error.what()) << "\n";
  if (errors.empty()) out << translate("nothing is wrong") << "\n";
}

// Looks and changes nothing.
class ConfigCheck : public Command {
 public:
  void declare(CommandOptions& /*options*/) override {}

  bool needsRoot() const override { return false; }
  WrongSettings wrongSettings() const override { return WrongSettings::leave; }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    FileErrors errors = settings.files.errors;
    for (const FileErrors& more : {settings.files.unknown, descriptorErrors(settings.providerDirectory)}) {
      errors.insert(errors.end(), more.begin(), more.end());
    }
    if (settings.json) {
      printJson(out, errors);
    } else {
      printText(out, errors);
    }
    return errors.empty() ? ExitStatus::done : ExitStatus::failed;
  }
};

}  // namespace

std::unique_ptr<Command> makeConfigCheck() {
  return std::make_unique<ConfigCheck>();
}

}  // namespace qmfi_host
