// qmfi provider show
#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/labelled_lines.h"
#include "failure/json_text.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

Json jsonOf(const ProviderIdentity& provider) {
  return {{"name", provider.name},
          {"version", provider.version},
          {"attributes", provider.attributes},
          {"fi_types", provider.fileSystemTypes}};
}

void printText(std::ostream& out, const ProviderIdentity& provider) {
  std::string attributes;
  for (const int one : provider.attributes) attributes += (attributes.empty() ? "" : " ") + std::to_string(one);
  std::string types;
  for (const std::string& one : provider.fileSystemTypes) types += (types.empty() ? "" : " ") + one;
  printLabelled(out, {{translate("provider"), provider.name},
                      {translate("version"), provider.version},
                      {translate("attributes"), attributes},
                      {translate("file systems"), types}});
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
