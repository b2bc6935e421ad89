// qmfi access list
#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "failure/json_text.h"
#include "failure/one_line.h"

namespace qmfi_host {

namespace {

class AccessList : public Command {
 public:
  void declare(CommandOptions& /*options*/) override {}

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    const std::vector<DisabledAccess> disabled = openState(settings).disabledAccesses();
    if (settings.json) {
      printJson(out, disabled);
    } else {
      for (const DisabledAccess& one : disabled) {
        if (!one.damage.empty()) {
          out << inOneLine(one.mountPoint) << ": damaged (" << one.damage << ")\n";
          continue;
        }
        out << inOneLine(one.mountPoint) << " (" << inOneLine(one.device) << ") by " << one.provider << "\n";
      }
    }
    return ExitStatus::done;
  }

 private:
  static void printJson(std::ostream& out, const std::vector<DisabledAccess>& disabled) {
    Json array = Json::array();
    for (const DisabledAccess& one : disabled) {
      array.push_back({{"mount_point", one.mountPoint}, {"device", one.device}, {"provider", one.provider}});
      if (!one.damage.empty()) array.back()["damage"] = one.damage;
    }
    out << jsonDocument(array);
  }
};

}  // namespace

std::unique_ptr<Command> makeAccessList() {
  return std::make_unique<AccessList>();
}

}  // namespace qmfi_host
