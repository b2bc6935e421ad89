// Plans of volumes and alternates, and what keeps from carrying them out.
#include "snapshot/snapshot_planning.h"

#include <sys/stat.h>

#include <utility>

#include "failure/host_error.h"
#include "provider/freeze_timeout.h"
#include "volume/possible_name.h"

namespace qmfi_host {

namespace {

dev_t fileSystemOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throw systemError(path + " cannot be read").about(path);
  return status.st_dev;
}

// Providers hand names to programs as words, and refuse such a one only when they do so, after the freeze.
void requireWord(const std::string& what, const std::string& name) {
  if (name.find_first_of(" \t\n") == std::string::npos) return;
  throw HostError("no snapshot can be taken with " + what + " \"" + name +
                  "\": a name with a blank, a tab or a line feed cannot be given to the programs that mount; use "
                  "another name");
}

}  // namespace

Node& SnapshotPlanning::initialise(const ClaimedFileSystem& fileSystem) {
  Part& part = partOf(fileSystem);
  Node& node = m_nodes.emplace_back(*part.provider, fileSystem.mountPoint);
  node.initialise(&*part.config);
  return node;
}

SnapshotPlanning::Part& SnapshotPlanning::partOf(const ClaimedFileSystem& fileSystem) {
  const auto known = m_parts.find(fileSystem.provider);
  if (known != m_parts.end()) return *known->second;
  auto part = std::make_unique<Part>();
  part->provider = &m_providers.named(fileSystem.provider);
  part->config.emplace(*part->provider, fileSystem.group, ObjectKind::object);
  part->config->initialise(nullptr);
  part->timeout = m_request.freezeTimeout ? *m_request.freezeTimeout : configuredFreezeTimeout(*part->provider);
  const std::optional<ProviderDescriptor::Timeout>& timeout = part->provider->descriptor().timeout;
  if (timeout) part->config->configure(timeout->parameter, std::to_string(part->timeout.count()));
  return *m_parts.emplace(fileSystem.provider, std::move(part)).first->second;
}

SnapshotNode SnapshotPlanning::plan(Node& node, const Snapshot& snapshot) const {
  const std::vector<std::string> devices = node.subObjects();
  if (devices.empty()) throw HostError(node.name() + " has no device");
  requireWord("the mount point", node.name());
  requireWord("the device", devices.front());
  SnapshotNode planned;
  const ProviderDescriptor& descriptor = node.provider().descriptor();
  planned.provider = node.provider().name();
  planned.thawRequest = descriptor.thawRequest;
  planned.mountPoint = node.name();
  planned.volume = splitterFor(devices.front(), node.name()).plan(devices.front(), snapshot.id);
  planned.volume.rawDevice = rawDeviceOf(descriptor, planned.volume.snapshotDevice);
  planned.alternate = m_directories.plan(m_request.alternateDirectory, snapshot.name, node.name());
  for (const std::string& path : {planned.alternate, planned.volume.rawDevice}) requirePossibleName(path);
  return planned;
}

const VolumeSplitter& SnapshotPlanning::splitterFor(const std::string& device, const std::string& mountPoint) const {
  const auto chosen = m_request.splitters.find(mountPoint);
  return m_splitters.choose(device, chosen != m_request.splitters.end() ? chosen->second : m_request.splitter);
}

FileSystemPlace placeOf(const SnapshotNode& planned, const Provider& provider) {
  const ProviderDescriptor& driver = provider.descriptor();
  return {planned.mountPoint, planned.volume.device, driver.freezeRequest, driver.thawRequest};
}

void requireVolumesOutside(const Snapshot& planned, const Splitters& splitters) {
  std::map<dev_t, std::string> frozen;
  for (const SnapshotNode& node : planned.nodes) frozen.emplace(fileSystemOf(node.mountPoint), node.mountPoint);
  for (const SnapshotNode& node : planned.nodes) {
    const std::string place = splitters.named(node.volume.splitter).workPlace(node.volume);
    const auto found = place.empty() ? frozen.end() : frozen.find(fileSystemOf(place));
    if (found == frozen.end()) continue;
    const bool isVolume = place == node.volume.volumeFile;
    throw HostError((isVolume ? "the volume of " + node.mountPoint + " lies on "
                              : "what splits the volume of " + node.mountPoint + " writes to " + place + " on ") +
                    found->second + ", which is to be frozen with it");
  }
}

}  // namespace qmfi_host
