// qmfi claim PATH...
#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "failure/json_text.h"
#include "failure/one_line.h"
#include "system/mount_point.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

struct PathClaim {
  std::string path;
  ClaimAnswer answer;
  std::optional<std::string> provider;    // that claims it
  std::optional<std::string> above = {};  // the claimed mount point that a path lies below which is not claimed itself
};

std::string textOfClaimed(const std::string& path, const std::vector<std::string>& groups) {
  std::string names;
  for (const std::string& group : groups) names += (names.empty() ? "" : " ") + group;
  return names.empty() ? translate("{0}: claimed in group", path) : translate("{0}: claimed in group {1}", path, names);
}

std::string textOf(const PathClaim& claim) {
  const std::string path = inOneLine(claim.path);
  if (claim.answer.claimed) return textOfClaimed(path, claim.answer.groups);
  if (!claim.above) return translate("{0}: not claimed", path);
  return translate("{0}: not claimed; it lies in the file system on {1}", path, inOneLine(*claim.above));
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
  void declare(CommandOptions& options) override {
    options.arguments("PATH", m_paths, translatable("Mount points of file systems"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    OpenProviders providers(settings);
    std::vector<PathClaim> claims;
    for (const std::string& path : m_paths) {
      claims.push_back(claimOrAbove(providers, path));
      if (!settings.json) out << textOf(claims.back()) << "\n";
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
