// qmfi claim PATH...
#include "cli/command_session.h"
#include "cli/command_table.h"

namespace qmfi_host {

namespace {

// The paths are given to the providers as they stand, so that the answer is the provider's own.
class Claim : public Command {
 public:
  void declare(CommandOptions& options) override { options.arguments("PATH", m_paths, "Mount points of file systems"); }

  int run(const Settings& settings, std::ostream& out) override {
    OpenProviders providers(settings);
    bool allClaimed = true;
    for (const std::string& path : m_paths) {
      const ClaimAnswer answer = claim(providers, path);
      out << path << (answer.claimed ? ": claimed in group" : ": not claimed");
      for (const std::string& group : answer.groups) out << " " << group;
      out << "\n";
      allClaimed = allClaimed && answer.claimed;
    }
    return allClaimed ? success : failure;
  }

 private:
  // The first provider that claims it answers for all.
  static ClaimAnswer claim(Providers& providers, const std::string& path) {
    for (Provider* const provider : providers.started()) {
      ClaimAnswer answer = provider->claim(path);
      if (answer.claimed) return answer;
    }
    return {};
  }

  std::vector<std::string> m_paths;
};

}  // namespace

std::unique_ptr<Command> makeClaim() {
  return std::make_unique<Claim>();
}

}  // namespace qmfi_host
