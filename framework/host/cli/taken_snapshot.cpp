// From the options to the snapshot.
#include "cli/taken_snapshot.h"

#include "cli/mount_namespace.h"
#include "provider/claim.h"
#include "snapshot/own_snapshots.h"
#include "snapshot/process_limits.h"
#include "snapshot/snapshot_removal.h"
#include "volume/whole_mount.h"

namespace qmfi_host {

namespace {

// Before anything is opened: each file system of a snapshot needs several descriptors.
SnapshotRequest requestOf(const Settings& settings, const CreateOptions& options) {
  raiseDescriptorLimit();
  raiseFileSizeLimit();
  SnapshotRequest request = options.request(settings);
  if (!options.privateMounts()) requireMachinesMountNamespace();
  return request;
}

}  // namespace

RequestedSnapshot::RequestedSnapshot(const Settings& settings, const CreateOptions& options)
    : m_request(requestOf(settings, options)), m_splitters(options.splitters(settings)), m_providers(settings) {
  const std::vector<std::string> mountPoints = options.mountPoints();
  for (const std::string& mountPoint : mountPoints) {
    settings.progress->step(Step::claim, mountPoint);
    m_request.fileSystems.push_back(requireClaimed(m_providers, mountPoint));
  }
  requireOutside(settings.stateDirectory, mountPoints);
}

TakenSnapshot::TakenSnapshot(const Settings& settings, const CreateOptions& options, Phase whenComplete)
    : m_progress(*settings.progress), m_requested(settings, options), m_state(settings) {
  SnapshotRequest request = m_requested.request();
  for (const ClaimedFileSystem& fileSystem : request.fileSystems) {
    requireNoSnapshot(m_state.store(), fileSystem.mountPoint);
    requireWholeMount(fileSystem.mountPoint);
  }
  request.id = newSnapshotId();
  request.whenComplete = whenComplete;
  m_claim.emplace(m_state.claim(workOnSnapshot(request.id)));
  const KernelFileSystems fileSystems;
  const PrivateAlternateDirectories directories;
  SnapshotCreation creation(m_requested.providers(), m_requested.splitters(), directories, fileSystems, m_state.store(),
                            *settings.signals, m_state.unlocked(), m_progress);
  m_snapshot = creation.run(request);
}

void TakenSnapshot::remove() {
  SnapshotRemoval(m_requested.providers(), m_requested.splitters(), m_state.store(), m_state.unlocked(), m_progress)
      .remove(m_snapshot);
}

}  // namespace qmfi_host
