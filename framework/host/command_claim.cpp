// qmfi claim PATH...
#include "command_session.h"
#include "command_table.h"
#include "node.h"

namespace qmfi_host {

namespace {

// The paths are given to the provider as they stand, so that the answer is the provider's own.
class Claim : public Command {
 public:
  void declare(CommandOptions& options) override { options.arguments("PATH", m_paths, "Mount points of file systems"); }

  int run(const Settings& settings, std::ostream& out) override {
    LoadedProvider loaded(settings);
    bool allClaimed = true;
    for (const std::string& path : m_paths) allClaimed = claim(*loaded, path, out) && allClaimed;
    return allClaimed ? kSuccess : kFailure;
  }

 private:
  static bool claim(Provider& provider, const std::string& path, std::ostream& out) {
    qmfi_objid** groups = nullptr;
    int count = 0;
    const int answer = provider.entryPoints().fi_pgn_claim(objectOf(path, ObjectKind::path), &groups, &count);
    if (answer != 0 && answer != 1) throw provider.failure(path + " could not be claimed", answer);
    out << path << (answer == 1 ? ": claimed" : ": not claimed");
    for (int i = 0; answer == 1 && i < count; ++i) out << (i == 0 ? " in group " : " ") << groups[i]->vid_name;
    out << "\n";
    return answer == 1;
  }

  std::vector<std::string> m_paths;
};

}  // namespace

std::unique_ptr<Command> makeClaim() {
  return std::make_unique<Claim>();
}

}  // namespace qmfi_host
