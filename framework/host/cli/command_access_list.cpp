// qmfi access list
#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "failure/json_text.h"
#include "failure/one_line.h"
#include "texts/translation.h"

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
      for (const DisabledAccess& one : disabled) out << textOf(one) << "\n";
    }
    return ExitStatus::done;
  }

 private:
  static std::string textOf(const DisabledAccess& one) {
    const std::string mountPoint = inOneLine(one.mountPoint);
    if (!one.damage.empty()) return translate("{0}: damaged ({1})", mountPoint, one.damage);
    return translate("{0} ({1}) by {2}", mountPoint, inOneLine(one.device), one.provider);
  }

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
