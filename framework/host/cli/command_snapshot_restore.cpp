// qmfi snapshot restore SNAPSHOT [PATH...] (--to DIR | --in-place) [--force] [--checksum] [--overcommit] [--dry-run]
#include <unistd.h>

#include <ctime>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/create_options.h"
#include "cli/dated_name.h"
#include "cli/object_results.h"
#include "cli/present_status.h"
#include "cli/taken_snapshot.h"
#include "failure/one_line.h"
#include "failure/shell_word.h"
#include "snapshot/file_restoration.h"
#include "snapshot/file_system_users.h"
#include "snapshot/snapshot_mounting.h"
#include "snapshot/snapshot_removal.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

std::vector<std::string> mountPointsOf(const std::vector<RestoredPart>& parts) {
  std::set<std::string> mountPoints;
  for (const RestoredPart& part : parts) mountPoints.insert(part.node.mountPoint);
  return {mountPoints.begin(), mountPoints.end()};
}

// Works on a snapshot that is mounted; one that is not is mounted for the time.
class MountedForAWhile {
 public:
  MountedForAWhile(const Settings& settings, LockedState& state, Snapshot& snapshot)
      : m_settings(settings), m_state(state), m_snapshot(snapshot) {}

  template <typename Action>
  void run(Action action) {
    if (isMounted(presentStatus(m_settings, m_snapshot))) {
      for (const SnapshotNode& node : m_snapshot.nodes) PrivateAlternateDirectories().secure(node);
      return action();
    }
    mount();
    try {
      action();
    } catch (...) {
      tryOrReport([&] { unmount(); });
      throw;
    }
    unmount();
  }

 private:
  void mount() {
    OpenProviders providers(m_settings);
    const MachineSplitters splitters(splitterSettings(m_settings));
    requireProviders(providers, m_snapshot);
    mountSnapshot(providers, splitters.all(), PrivateAlternateDirectories(), m_state.store(), m_snapshot,
                  m_state.unlocked(), *m_settings.progress, Phase::remounting);
  }

  void unmount() {
    OpenProviders providers(m_settings);
    const MachineSplitters splitters(splitterSettings(m_settings));
    requireProviders(providers, m_snapshot);
    m_settings.signals->deliverDuringLong([&] {
      SnapshotRemoval(providers, splitters.all(), m_state.store(), m_state.unlocked(), *m_settings.progress)
          .unmount(m_snapshot);
    });
  }

  const Settings& m_settings;
  LockedState& m_state;
  Snapshot& m_snapshot;
};

class SnapshotRestore : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.argument("SNAPSHOT", m_snapshotName, translatable("Id or name of the snapshot"));
    options.optionalArguments("PATH", m_paths,
                              translatable("Original paths of files and directories (default: all file systems)"));
    options.text("--to", m_directory, "DIR",
                 translatable("Into this directory, new or empty and root's alone, with the original paths"));
    options.flag("--in-place", m_isInPlace,
                 translatable("To where they were, as they were; what is there now is kept in a snapshot of its own"));
    options.flag("--force", m_way.force,
                 translatable("Also below the users of a file system, or into a directory that is not empty"));
    options.flag("--checksum", m_way.compares, translatable("Compare contents also where size and time are the same"));
    options.flag("--overcommit", m_overcommit,
                 translatable("As of \"snapshot create\", for the snapshot of what is there now (default: settings "
                              "files)"));
    options.flag("--dry-run", m_way.onlyTells, translatable("Only tell what would be changed"));
    options.examples({"qmfi snapshot restore nightly /mnt/orders/2026 --to /root/restored",
                      "qmfi snapshot restore nightly /mnt/orders/2026 --in-place --dry-run",
                      "qmfi snapshot restore nightly --in-place"});
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    if (m_directory.has_value() == m_isInPlace) {
      throw UsageError(translate("either --to DIR or --in-place says where files go"));
    }
    LockedState state(settings);
    if (m_directory) m_way.directory = requireRestoreDirectory(state.store(), *m_directory, m_way.force);
    requireRsync();
    // None stands in its own way where qmfi was started within it.
    if (chdir("/") != 0) throw systemError(translate("{0} cannot be entered", "/")).about("/");
    const std::string id = requireKnown(state.store(), m_snapshotName);
    const WorkClaim claim = state.claim(workOnSnapshot(id));
    Snapshot snapshot = requireSnapshot(state.store(), id);
    requireComplete(snapshot);
    const std::vector<RestoredPart> parts = partsOf(snapshot, m_paths);
    const std::vector<WorkClaim> claims = claimsOn(state, parts);
    settings.signals->throwIfPending();
    ObjectResults results(settings, out);
    MountedForAWhile(settings, state, snapshot).run([&] {
      for (const RestoredPart& part : parts) requireInCopy(snapshot, part);
      requirePossible(snapshot, parts);
      if (m_isInPlace && !m_way.onlyTells) keepPresent(settings, state, parts, results, out);
      state.unlocked()([&] { restore(settings, parts, results); });
    });
    return results.finish();
  }

 private:
  // Nobody unmounts them meanwhile, or restores them from another snapshot. In an order that all have.
  std::vector<WorkClaim> claimsOn(LockedState& state, const std::vector<RestoredPart>& parts) const {
    std::vector<WorkClaim> claims;
    if (!m_isInPlace) return claims;
    for (const std::string& mountPoint : mountPointsOf(parts)) claims.push_back(state.claim(mountPoint));
    return claims;
  }

  void requirePossible(const Snapshot& snapshot, const std::vector<RestoredPart>& parts) const {
    if (!m_isInPlace) return;
    for (const RestoredPart& part : parts) requireRestorableInPlace(snapshot, part);
    if (!m_way.force && !m_way.onlyTells) requireUnused(mountPointsOf(parts));
  }

  // Takes the snapshot that brings back what is there now.
  void keepPresent(const Settings& settings, LockedState& state, const std::vector<RestoredPart>& parts,
                   ObjectResults& results, std::ostream& out) {
    const std::string dated = datedName("before-restore-%F-%H%M%S", std::time(nullptr));
    m_before = dated;
    for (int number = 2; state.store().find(m_before); ++number) m_before = dated + "-" + std::to_string(number);
    // It takes the lock itself.
    state.unlocked()([&] { TakenSnapshot(settings, CreateOptions(mountPointsOf(parts), m_before, m_overcommit)); });
    results.tell(translate("snapshot {0} holds what was there before", m_before));
    out.flush();
  }

  void restore(const Settings& settings, const std::vector<RestoredPart>& parts, ObjectResults& results) const {
    for (auto part = parts.begin(); part != parts.end(); ++part) {
      settings.progress->step(Step::restore, part->path);
      bool isWhole = true;
      const Json names = {
          {"path", part->path}, {"to", targetOf(*part, m_way)}, {"before", m_before.empty() ? Json() : Json(m_before)}};
      results.add(names, [&](Json& object) {
        isWhole = restoreOne(settings, *part, object, results);
        return m_way.onlyTells ? "would be restored" : "restored";
      });
      if (isWhole) continue;
      if (!m_way.onlyTells) reportPartly({part, parts.end()});
      settings.signals->throwIfPending();
    }
  }

  // False when it was interrupted.
  bool restoreOne(const Settings& settings, const RestoredPart& part, Json& object,
                  const ObjectResults& results) const {
    Json changes = Json::array();
    const auto tell = [&](const FileChange& change) {
      constexpr std::size_t lengthOfHow = 11;
      results.tell(change.how + std::string(lengthOfHow - change.how.size() + 1, ' ') + inOneLine(change.path));
      if (settings.json) changes.push_back({{"change", change.how}, {"path", change.path}});
    };
    try {
      if (!restorePart(part, m_way, *settings.signals, tell)) return false;
    } catch (const HostError& error) {
      if (m_way.onlyTells) throw;
      throw withWayOn(error, part.path);
    }
    if (m_way.onlyTells) {
      object["changes"] = std::move(changes);
    } else {
      const std::string path = inOneLine(part.path);
      results.tell(m_isInPlace ? translate("{0} restored", path)
                               : translate("{0} restored to {1}", path, inOneLine(targetOf(part, m_way))));
    }
    return true;
  }

  // At once: what else is to be done before the end may be ended by the signal. parts: that which was interrupted, and
  // those behind it.
  void reportPartly(const std::vector<RestoredPart>& parts) const {
    const std::string& path = parts.front().path;
    std::vector<std::string> lines;
    for (auto part = std::next(parts.begin()); part != parts.end(); ++part) {
      lines.push_back(translate("{0}: not begun", part->path));
    }
    const std::string text = translate("{0} is restored only in part", path);
    reportError(withWayOn(HostError(Failure::interrupted, text, lines), path));
  }

  std::string wayOn(const std::string& path) const {
    if (!m_isInPlace) return translate("the same command with --force goes on from there");
    return translate(
        "the same command goes on from there, and \"qmfi snapshot restore {0} {1} --in-place\" brings back "
        "what was there before",
        m_before, shellWord(path));
  }

  HostError withWayOn(const HostError& error, const std::string& path) const {
    const std::string way = wayOn(path);
    HostError result(error.failure(), error.what() + ("; " + way), error.lines());
    result.about(path).advise(way);
    if (error.cause()) result.because(*error.cause());
    return result;
  }

  std::string m_snapshotName;
  std::vector<std::string> m_paths;
  std::optional<std::string> m_directory;
  std::optional<bool> m_overcommit;
  bool m_isInPlace = false;
  RestoreWay m_way;
  std::string m_before;  // the snapshot of what was there; empty as long as there is none
};

}  // namespace

std::unique_ptr<Command> makeSnapshotRestore() {
  return std::make_unique<SnapshotRestore>();
}

}  // namespace qmfi_host
