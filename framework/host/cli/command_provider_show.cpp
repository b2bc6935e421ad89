// qmfi provider show
#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "failure/json_text.h"

namespace qmfi_host {

namespace {

Json jsonOf(const ProviderIdentity& provider) {
  return {{"name", provider.name},
          {"version", provider.version},
          {"attributes", provider.attributes},
          {"fi_types", provider.fileSystemTypes}};
}

void printText(std::ostream& out, const ProviderIdentity& provider) {
  out << "provider     " << provider.name << "\nversion      " << provider.version << "\nattributes  ";
  for (const int attribute : provider.attributes) out << " " << attribute;
  out << "\nfile systems";
  for (const std::string& type : provider.fileSystemTypes) out << " " << type;
  out << "\n";
}

class ProviderShow : public Command {
 public:
  void declare(CommandOptions& /*options*/) override {}

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    OpenProviders providers(settings);
    Json array = Json::array();
    for (Provider* const provider : providers.started()) {
      const ProviderIdentity identity = provider->identity();
      if (settings.json) {
        array.push_back(jsonOf(identity));
      } else {
        printText(out, identity);
      }
    }
    if (settings.json) out << jsonDocument(array);
    return providers.tellOfOthers() ? ExitStatus::failed : ExitStatus::done;
  }
};

}  // namespace

std::unique_ptr<Command> makeProviderShow() {
  return std::make_unique<ProviderShow>();
}

}  // namespace qmfi_host
