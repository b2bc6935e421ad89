// From what files, variables and options say to the settings of a command.
#ifndef CHOSEN_SETTINGS_H
#define CHOSEN_SETTINGS_H

#include <optional>
#include <string>

#include "cli/chosen_progress.h"
#include "cli/command.h"

namespace qmfi_host {

// What the options of all commands say; nothing where the user gave none.
struct OptionValues {
  std::optional<std::string> provider{};
  std::optional<std::string> providerDirectory{};
  std::optional<std::string> stateDirectory{};
  std::optional<std::string> splitterCommand{};
  std::optional<int> lockWait{};
  std::optional<std::string> language{};
  ProgressOptions progress{};  // is no setting
};

// Reads the settings files and sets what they, variables and options say: an option counts for more than a variable,
// and that for more than a file. What is wrong in a file is kept in the settings, and has set nothing. Paths become
// absolute: a command may leave the directory that it was started in. Throws std::filesystem::filesystem_error where
// that directory is gone.
void chooseSettings(Settings& settings, const OptionValues& options);

}  // namespace qmfi_host

#endif
