// qmfi claim PATH...
#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "failure/json_text.h"
#include "failure/one_line.h"

namespace qmfi_host {

namespace {

struct PathClaim {
  std::string path;
  ClaimAnswer answer;
  std::optional<std::string> provider;  // that claims it
};

void printText(std::ostream& out, const PathClaim& claim) {
  out << inOneLine(claim.path) << (claim.answer.claimed ? ": claimed in group" : ": not claimed");
  for (const std::string& group : claim.answer.groups) out << " " << group;
  out << "\n";
}

void printJson(std::ostream& out, const std::vector<PathClaim>& claims) {
  Json array = Json::array();
  for (const PathClaim& claim : claims) {
    array.push_back({{"path", claim.path},
                     {"outcome", claim.answer.claimed ? "claimed" : "not_claimed"},
                     {"provider", claim.provider ? Json(*claim.provider) : Json()},
                     {"groups", claim.answer.groups}});
  }
  out << jsonDocument(array);
}

// The paths are given to the providers as they stand, so that the answer is the provider's own.
class Claim : public Command {
 public:
  void declare(CommandOptions& options) override { options.arguments("PATH", m_paths, "Mount points of file systems"); }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    OpenProviders providers(settings);
    std::vector<PathClaim> claims;
    for (const std::string& path : m_paths) {
      claims.push_back(claim(providers, path));
      if (!settings.json) printText(out, claims.back());
    }
    if (settings.json) printJson(out, claims);
    const bool allClaimed =
        std::all_of(claims.begin(), claims.end(), [](const PathClaim& one) { return one.answer.claimed; });
    return allClaimed ? ExitStatus::done : ExitStatus::notFound;
  }

 private:
  // The first provider that claims it answers for all.
  static PathClaim claim(Providers& providers, const std::string& path) {
    for (Provider* const provider : providers.started()) {
      ClaimAnswer answer = provider->claim(path);
      if (answer.claimed) return {path, std::move(answer), provider->name()};
    }
    return {path, {}, {}};
  }

  std::vector<std::string> m_paths;
};

}  // namespace

std::unique_ptr<Command> makeClaim() {
  return std::make_unique<Claim>();
}

}  // namespace qmfi_host
