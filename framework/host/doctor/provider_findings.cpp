// Starting of each provider.
#include "doctor/provider_findings.h"

#include "failure/host_error.h"
#include "failure/shell_word.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

std::string identityText(const ProviderIdentity& identity) {
  std::string types;
  for (const std::string& type : identity.fileSystemTypes) types += " " + type;
  return translate("{0} {1} works; file systems:{2}", identity.name, identity.version, types);
}

Finding findingOf(Providers& providers, const std::string& name) {
  try {
    return {Weight::good, "provider", identityText(providers.named(name).identity())};
  } catch (const HostError& error) {
    return {Weight::problem, "provider", translate("{0} does not work: {1}", name, error.what()),
            "qmfi --provider " + shellWord(name) + " provider show"};
  }
}

}  // namespace

Findings providerFindings(Providers& providers, const std::vector<std::string>& names) {
  if (names.empty()) {
    return {{Weight::problem, "provider", translate("no provider is installed, so no file system can be frozen")}};
  }
  Findings findings;
  for (const std::string& name : names) findings.push_back(findingOf(providers, name));
  return findings;
}

}  // namespace qmfi_host
