// qmfi recover
#include <vector>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "snapshot/snapshot_recovery.h"
#include "volume/reflink_splitter.h"

namespace qmfi_host {

namespace {

// Run at boot or by hand. One snapshot that cannot be put in order does not keep the others.
class Recover : public Command {
 public:
  void declare(CommandOptions& /*options*/) override {}

  int run(const Settings& settings, std::ostream& out) override {
    LockedState state(settings);
    int status = success;
    // Everything is thawed first: writers wait for that, and it needs no provider.
    std::vector<Snapshot> thawed;
    for (const Snapshot& snapshot : state.store().snapshots()) {
      if (isAtRest(snapshot.phase)) continue;
      if (tryOrReport([&] { thawInterrupted(snapshot); })) {
        thawed.push_back(snapshot);
      } else {
        status = failure;
      }
    }
    OpenProviders providers(settings);
    for (Snapshot& snapshot : thawed) {
      if (!tryOrReport([&] { recover(providers, state.store(), snapshot, out); })) status = failure;
    }
    return status;
  }

 private:
  static void recover(Providers& providers, StateStore& store, Snapshot& snapshot, std::ostream& out) {
    requireProviders(providers, snapshot);
    recoverSnapshot(providers, ReflinkSplitter(), store, snapshot);
    out << "snapshot " << snapshot.id << (snapshot.phase == Phase::unmounted ? " unmounted\n" : " removed\n");
  }
};

}  // namespace

std::unique_ptr<Command> makeRecover() {
  return std::make_unique<Recover>();
}

}  // namespace qmfi_host
