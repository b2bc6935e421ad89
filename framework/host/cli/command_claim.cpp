// qmfi claim PATH...
#include "cli/command_session.h"
#include "cli/command_table.h"

namespace qmfi_host {

namespace {

// The paths are given to the provider as they stand, so that the answer is the provider's own.
class Claim : public Command {
 public:
  void declare(CommandOptions& options) override { options.arguments("PATH", m_paths, "Mount points of file systems"); }

  int run(const Settings& settings, std::ostream& out) override {
    LoadedProvider loaded(settings);
    bool allClaimed = true;
    for (const std::string& path : m_paths) {
      const ClaimAnswer answer = (*loaded).claim(path);
      out << path << (answer.claimed ? ": claimed in group" : ": not claimed");
      for (const std::string& group : answer.groups) out << " " << group;
      out << "\n";
      allClaimed = allClaimed && answer.claimed;
    }
    return allClaimed ? success : failure;
  }

 private:
  std::vector<std::string> m_paths;
};

}  // namespace

std::unique_ptr<Command> makeClaim() {
  return std::make_unique<Claim>();
}

}  // namespace qmfi_host
