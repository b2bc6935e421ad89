// The steps before a freeze, each as far as it goes.
#include "cli/snapshot_preview.h"

#include <unistd.h>

#include <functional>
#include <utility>

#include "cli/command_session.h"
#include "cli/mount_namespace.h"
#include "provider/claim.h"
#include "snapshot/hook_directory.h"
#include "snapshot/own_snapshots.h"
#include "snapshot/snapshot_planning.h"
#include "snapshot/storage_space.h"
#include "texts/translation.h"
#include "volume/machine_splitters.h"
#include "volume/whole_mount.h"

namespace qmfi_host {

namespace {

// Runs an action; what keeps it from being done is put behind the others.
void attempt(std::vector<Obstacle>& obstacles, const std::function<void()>& action) {
  try {
    action();
  } catch (const HostError& error) {
    obstacles.push_back({error.exitStatus(), error.what(), jsonOf(error)});
  }
}

// The state is root's: others are told that they do not see all.
std::optional<StateStore> readableState(const Settings& settings, std::vector<Obstacle>& obstacles) {
  std::optional<StateStore> store;
  if (geteuid() == 0) {
    attempt(obstacles, [&] { store.emplace(openState(settings)); });
    return store;
  }
  try {
    store.emplace(openState(settings));
  } catch (const HostError& error) {
    printNotice(translate("the snapshots that there are cannot be looked at without root's rights: {0}", error.what()));
  }
  return store;
}

// What is known of the snapshot as a whole.
class Preview {
 public:
  Preview(const Settings& settings, const CreateOptions& options)
      : m_settings(settings),
        m_options(options),
        m_request(options.request(settings)),
        m_splitters(options.splitters(settings)),
        m_providers(settings) {
    m_snapshot.id = previewId;
    m_snapshot.name = m_request.name.empty() ? previewId : m_request.name;
  }

  SnapshotPreview run() {
    m_preview.name = m_snapshot.name;
    lookAtPlace();
    for (const std::string& mountPoint : m_options.mountPoints()) add(mountPoint);
    lookAtAll();
    return std::move(m_preview);
  }

 private:
  void lookAtPlace() {
    std::vector<Obstacle>& obstacles = m_preview.obstacles;
    if (!m_options.privateMounts()) attempt(obstacles, requireMachinesMountNamespace);
    attempt(obstacles, [&] { requireOutside(m_settings.stateDirectory, m_options.mountPoints()); });
    attempt(obstacles, [&] { m_preview.hooks = hooksIn(m_request.hooks.directory).programs; });
    m_store = readableState(m_settings, obstacles);
    if (m_store) attempt(obstacles, [&] { m_store->requireUnknown(m_snapshot); });
  }

  void lookAtAll() {
    std::vector<Obstacle>& obstacles = m_preview.obstacles;
    attempt(obstacles, [&] { requireVolumesOutside(m_snapshot, m_splitters.all()); });
    if (m_request.overcommit || !m_store) return;
    attempt(obstacles, [&] { requireSpace(m_splitters.all(), m_snapshot, m_store->snapshots()); });
  }

  void add(const std::string& mountPoint) {
    PreviewedFileSystem& fileSystem = m_preview.fileSystems.emplace_back(PreviewedFileSystem{mountPoint});
    attempt(fileSystem.obstacles, [&] { look(fileSystem); });
  }

  void look(PreviewedFileSystem& fileSystem) {
    const ClaimedFileSystem claimed = requireClaimed(m_providers, fileSystem.mountPoint);
    if (m_store) requireNoSnapshot(*m_store, fileSystem.mountPoint);
    requireWholeMount(fileSystem.mountPoint);
    Node& node = m_planning.initialise(claimed);
    fileSystem.timeout = m_planning.timeoutOf(claimed.provider);
    SnapshotNode planned = m_planning.plan(node, m_snapshot);
    fileSystem.volume = m_splitters.all().look(planned.volume, LookAt::everything);
    m_snapshot.nodes.push_back(planned);
    fileSystem.node = std::move(planned);
    m_fileSystems.open(placeOf(*fileSystem.node, node.provider()));
  }

  const Settings& m_settings;
  const CreateOptions& m_options;
  SnapshotRequest m_request;
  MachineSplitters m_splitters;
  OpenProviders m_providers;
  PrivateAlternateDirectories m_directories;
  KernelFileSystems m_fileSystems;
  SnapshotPlanning m_planning{m_providers, m_splitters.all(), m_directories, m_request};
  std::optional<StateStore> m_store;
  Snapshot m_snapshot;
  SnapshotPreview m_preview;
};

}  // namespace

SnapshotPreview previewOf(const Settings& settings, const CreateOptions& options) {
  return Preview(settings, options).run();
}

std::vector<Obstacle> allObstacles(const SnapshotPreview& preview) {
  std::vector<Obstacle> all;
  for (const PreviewedFileSystem& fileSystem : preview.fileSystems) {
    all.insert(all.end(), fileSystem.obstacles.begin(), fileSystem.obstacles.end());
  }
  all.insert(all.end(), preview.obstacles.begin(), preview.obstacles.end());
  return all;
}

}  // namespace qmfi_host
