// Plans of volumes and alternates, and what keeps from carrying them out.
#include "snapshot/snapshot_planning.h"

#include <sys/stat.h>

#include <utility>

#include "failure/host_error.h"
#include "provider/freeze_timeout.h"
#include "texts/translation.h"
#include "volume/possible_name.h"

namespace qmfi_host {

namespace {

dev_t fileSystemOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throw systemError(translate("{0} cannot be read", path)).about(path);
  return status.st_dev;
}

// Providers hand names to programs as words, and refuse such a one only when they do so, after the freeze.
bool isWord(const std::string& name) {
  return name.find_first_of(" \t\n") == std::string::npos;
}

void requireWords(const std::string& mountPoint, const std::string& device) {
  if (!isWord(mountPoint)) {
    throw HostError(
        translate("no snapshot can be taken with the mount point \"{0}\": a name with a blank, a tab or a line feed "
                  "cannot be given to the programs that mount; use another name",
                  mountPoint));
  }
  if (!isWord(device)) {
    throw HostError(
        translate("no snapshot can be taken with the device \"{0}\": a name with a blank, a tab or a line feed cannot "
                  "be given to the programs that mount; use another name",
                  device));
  }
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
  if (devices.empty()) throw HostError(translate("{0} has no device", node.name()));
  requireWords(node.name(), devices.front());
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
    if (place == node.volume.volumeFile) {
      throw HostError(
          translate("the volume of {0} lies on {1}, which is to be frozen with it", node.mountPoint, found->second));
    }
    throw HostError(translate("what splits the volume of {0} writes to {1} on {2}, which is to be frozen with it",
                              node.mountPoint, place, found->second));
  }
}

}  // namespace qmfi_host
