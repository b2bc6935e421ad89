// qmfi provider show [--json]
#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"

namespace qmfi_host {

namespace {

using Json = nlohmann::ordered_json;

void printJson(std::ostream& out, const ProviderIdentity& provider) {
  const Json json = {{"name", provider.name},
                     {"version", provider.version},
                     {"attributes", provider.attributes},
                     {"fi_types", provider.fileSystemTypes}};
  out << json.dump(2) << "\n";
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
  void declare(CommandOptions& options) override { options.flag("--json", m_json, "Print JSON"); }

  int run(const Settings& settings, std::ostream& out) override {
    OpenProviders providers(settings);
    for (Provider* const provider : providers.started()) {
      const ProviderIdentity identity = provider->identity();
      if (m_json) {
        printJson(out, identity);
      } else {
        printText(out, identity);
      }
    }
    return providers.tellOfOthers() ? failure : success;
  }

 private:
  bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> makeProviderShow() {
  return std::make_unique<ProviderShow>();
}

}  // namespace qmfi_host
