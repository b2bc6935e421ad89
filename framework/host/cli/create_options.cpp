// Reading of the options of a new snapshot.
#include "cli/create_options.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <iterator>
#include <utility>

#include "cli/command_session.h"
#include "cli/dated_name.h"
#include "failure/host_error.h"
#include "provider/freeze_timeout.h"
#include "texts/translation.h"
#include "volume/snapshot_size.h"

namespace qmfi_host {

CreateOptions::CreateOptions(std::vector<std::string> mountPoints, std::string name, std::optional<bool> overcommit)
    : m_mountPoints(std::move(mountPoints)), m_name(std::move(name)), m_overcommit(overcommit) {}

void CreateOptions::declare(CommandOptions& options) {
  options.arguments("MOUNTPOINT", m_mountPoints, translatable("File systems that are frozen together"));
  options.text(
      "--name", m_name, "NAME",
      translatable("Name of the snapshot, with the time in the place of %F, %H and the like (default: its id)"));
  options.number("--freeze-timeout", m_freezeTimeout, shortestFreezeTimeout, longestFreezeTimeout, "SECONDS",
                 translatable("Time after which the freeze ends by itself (default: settings files, the provider's "
                              "configuration)"));
  options.texts("--splitter", m_splitters, "[MOUNTPOINT=]NAME",
                translatable("What splits the volumes, or that of one file system (default: by what the volume is)"));
  options.text("--snapshot-size", m_snapshotSize, "SIZE",
               translatable("Room for a classic snapshot of a logical volume, as 20% of it or 512M (default: settings "
                            "files, 20%)"));
  options.flag("--overcommit", m_overcommit,
               translatable("Also where the storage has no room for an overwrite of the volumes (default: settings "
                            "files)"));
  options.text("--require", m_required, "LEVEL",
               translatable("What must be proven of the freeze, group or none; a snapshot of which less is proven is "
                            "not kept (default: settings files, none)"));
  options.flag("--private-mounts", m_privateMounts,
               translatable("Also in another mount namespace than that of process 1"));
  options.flag("--no-hooks", m_withoutHooks,
               translatable("Without the programs that run around the freeze: see qmfi-hooks(7)"));
  options.text("--alternate-dir", m_alternateDirectory, "DIR",
               translate("Where the directories lie in which snapshots are mounted, root's alone (default: "
                         "QMFI_ALTERNATE_DIR, settings files, {0})",
                         standardAlternateDirectory));
}

std::vector<std::string> CreateOptions::mountPoints() const {
  std::vector<std::string> mountPoints;
  std::transform(m_mountPoints.begin(), m_mountPoints.end(), std::back_inserter(mountPoints), canonicalPath);
  std::vector<std::string> sorted = mountPoints;
  std::sort(sorted.begin(), sorted.end());
  const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
  if (twice != sorted.end()) throw UsageError(translate("{0} is given twice", *twice));
  return mountPoints;
}

SnapshotRequest CreateOptions::request(const Settings& settings) const {
  SnapshotRequest request;
  if (m_name) {
    request.name = datedName(*m_name, std::time(nullptr));
    requireUsersSnapshotName(request.name);
  }
  request.overcommit = m_overcommit.value_or(settings.create.overcommit);
  request.alternateDirectory = alternateDirectory(settings);
  request.required = levelOfName(m_required.value_or(settings.create.required));
  const std::optional<int> timeout = m_freezeTimeout ? m_freezeTimeout : settings.create.freezeTimeout;
  if (timeout) request.freezeTimeout = std::chrono::seconds(*timeout);
  if (!m_withoutHooks) request.hooks.directory = settings.create.hookDirectory;
  request.hooks.time = std::chrono::seconds(settings.create.hookTime);
  readSplitters(request);
  return request;
}

SplitterSettings CreateOptions::splitters(const Settings& settings) const {
  SplitterSettings chosen = splitterSettings(settings);
  chosen.snapshotSize = snapshotSizeOf(m_snapshotSize.value_or(settings.create.snapshotSize));
  return chosen;
}

// A mount point may hold "=", the name of a splitter does not.
void CreateOptions::readSplitters(SnapshotRequest& request) const {
  const std::vector<std::string> asked = mountPoints();
  for (const std::string& choice : m_splitters) {
    const std::size_t end = choice.rfind('=');
    if (end == std::string::npos) {
      request.splitter = choice;
      continue;
    }
    const std::string mountPoint = canonicalPath(choice.substr(0, end));
    if (std::find(asked.begin(), asked.end(), mountPoint) == asked.end()) {
      throw UsageError(translate("--splitter: no snapshot of {0} is asked for", mountPoint));
    }
    request.splitters[mountPoint] = choice.substr(end + 1);
  }
}

std::string CreateOptions::alternateDirectory(const Settings& settings) const {
  if (!m_alternateDirectory) return settings.create.alternateDirectory;
  if (m_alternateDirectory->empty()) {
    throw UsageError(translate("{0}: the name of a directory is empty", "--alternate-dir"));
  }
  return *m_alternateDirectory;
}

}  // namespace qmfi_host
