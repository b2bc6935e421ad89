// qmfi provider show [--json]
#include <nlohmann/json.hpp>

#include "cfiscopeexit.h"
#include "cli/command_session.h"
#include "cli/command_table.h"

namespace qmfi_host {

namespace {

using Json = nlohmann::ordered_json;

std::string versionText(const kfi_version& version) {
  return std::to_string(version.kv_major) + "." + std::to_string(version.kv_minor) + "." +
         std::to_string(version.kv_patch) + "." + std::to_string(version.kv_build);
}

std::vector<std::string> typesOf(const kfi_provider_list& provider) {
  std::vector<std::string> types;
  for (const kfi_string_list* type = provider.kpl_fitypes; type != nullptr; type = type->ksl_next) {
    types.emplace_back(type->ksl_value);
  }
  return types;
}

void printJson(std::ostream& out, const kfi_provider_list& provider) {
  const Json json = {{"name", provider.kpl_name},
                     {"version", versionText(provider.kpl_version)},
                     {"attributes", {provider.kpl_attr[0], provider.kpl_attr[1]}},
                     {"fi_types", typesOf(provider)}};
  out << json.dump(2) << "\n";
}

void printText(std::ostream& out, const kfi_provider_list& provider) {
  out << "provider     " << provider.kpl_name << "\nversion      " << versionText(provider.kpl_version)
      << "\nattributes   " << provider.kpl_attr[0] << " " << provider.kpl_attr[1] << "\nfile systems";
  for (const std::string& type : typesOf(provider)) out << " " << type;
  out << "\n";
}

class ProviderShow : public Command {
 public:
  void declare(CommandOptions& options) override { options.flag("--json", m_json, "Print JSON"); }

  int run(const Settings& settings, std::ostream& out) override {
    LoadedProvider loaded(settings);
    kfi_provider_list* list = nullptr;
    const qmfi_pdk_4_4::CFiScopeExit release([&] { qmfi_free_providerlist(list); });
    (*loaded).run("the provider does not say what it is",
                  [&](const ProviderEntryPoints& provider) { return provider.fi_pgn_get_provider_info(&list); });
    if (list == nullptr) throw HostError("the provider does not say what it is");
    if (m_json) {
      printJson(out, *list);
    } else {
      printText(out, *list);
    }
    return success;
  }

 private:
  bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> makeProviderShow() {
  return std::make_unique<ProviderShow>();
}

}  // namespace qmfi_host
