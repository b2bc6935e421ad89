// qmfi claim PATH...
#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "failure/json_text.h"
#include "failure/one_line.h"
#include "system/mount_point.h"

namespace qmfi_host {

namespace {

struct PathClaim {
  std::string path;
  ClaimAnswer answer;
  std::optional<std::string> provider;    // that claims it
  std::optional<std::string> above = {};  // the claimed mount point that a path lies below which is not claimed itself
};

void printText(std::ostream& out, const PathClaim& claim) {
  out << inOneLine(claim.path) << (claim.answer.claimed ? ": claimed in group" : ": not claimed");
  for (const std::string& group : claim.answer.groups) out << " " << group;
  if (claim.above) out << "; it lies in the file system on " << inOneLine(*claim.above);
  out << "\n";
}

void printJson(std::ostream& out, const std::vector<PathClaim>& claims) {
  Json array = Json::array();
  for (const PathClaim& claim : claims) {
    array.push_back({{"path", claim.path},
                     {"outcome", claim.answer.claimed ? "claimed" : "not_claimed"},
                     {"provider", claim.provider ? Json(*claim.provider) : Json()},
                     {"groups", claim.answer.groups},
                     {"below", claim.above ? Json(*claim.above) : Json()}});
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
      claims.push_back(claimOrAbove(providers, path));
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

  // Who names a directory may mean the file system that it lies in.
  static PathClaim claimOrAbove(Providers& providers, const std::string& path) {
    PathClaim result = claim(providers, path);
    if (result.answer.claimed) return result;
    const std::string above = qmfi_system::mountPointAbove(path);
    if (!above.empty() && above != path && claim(providers, above).answer.claimed) result.above = above;
    return result;
  }

  std::vector<std::string> m_paths;
};

}  // namespace

std::unique_ptr<Command> makeClaim() {
  return std::make_unique<Claim>();
}

}  // namespace qmfi_host
