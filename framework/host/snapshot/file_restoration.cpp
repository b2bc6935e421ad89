// Finding the directories that rsync works on, by descriptors.
#include "snapshot/file_restoration.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <utility>

#include "cfimounttable.h"
#include "failure/host_error.h"
#include "snapshot/nested_nodes.h"
#include "snapshot/own_snapshots.h"
#include "texts/translation.h"
#include "trust/trusted_path.h"
#include "volume/block_device.h"

namespace qmfi_host {

namespace fs = std::filesystem;

using qmfi_system::Descriptor;

namespace {

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// A directory that a part is copied into, and what rsync is told of it.
struct Place {
  Descriptor directory;
  fs::path name;  // of where the task's paths begin
  RsyncTask task;
};

HostError cannotBeEntered(const std::string& path) {
  return systemError(translate("{0}, where files are to be restored, cannot be entered", path)).about(path);
}

struct statx lookAt(const Descriptor& directory, const std::string& path) {
  struct statx status {};
  if (statx(directory.get(), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_MNT_ID, &status) != 0) {
    throw systemError(translate("{0} cannot be read", path)).about(path);
  }
  return status;
}

bool isWholeMount(const struct statx& root) {
  const std::string number = std::to_string(root.stx_mnt_id);
  return (root.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0 &&
         qmfi_pdk_4_4::findWholeMount(qmfi_pdk_4_4::readMountTable(), qmfi_pdk_4_4::CFiMountKey::number, number);
}

// The root of the file system that a part was taken from.
Descriptor openOriginal(const SnapshotNode& node) {
  const std::string& mountPoint = node.mountPoint;
  Descriptor root(open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!root.valid()) throw systemErrorOfNamed(translate("{0} cannot be opened", mountPoint)).about(mountPoint);
  const struct statx status = lookAt(root, mountPoint);
  const bool isSame = blockDeviceAt(node.volume.device) == makedev(status.stx_dev_major, status.stx_dev_minor);
  if (isSame && isWholeMount(status)) return root;
  throw HostError(
      translate("the file system of {0}, of which the snapshot was taken, is not mounted on {1} as a whole; "
                "\"findmnt --target {1}\" shows what is there",
                node.volume.device, mountPoint))
      .about(mountPoint)
      .advise(translate("mount it there, or restore into a directory by --to"));
}

void requireWritable(const Descriptor& root, const std::string& mountPoint) {
  struct statvfs status {};
  if (fstatvfs(root.get(), &status) != 0) {
    throw systemError(translate("{0} cannot be read", mountPoint)).about(mountPoint);
  }
  if ((status.f_flag & ST_RDONLY) == 0) return;
  throw HostError(Failure::readOnly,
                  translate("{0} is mounted read-only; \"mount -o remount,rw {0}\" makes it writable", mountPoint))
      .about(mountPoint);
}

std::vector<std::string> allMountPoints() {
  const std::string table = qmfi_pdk_4_4::readMountTable();
  std::vector<std::string> mountPoints;
  for (std::string_view rest = table; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    const std::vector<std::string_view> words = qmfi_pdk_4_4::wordsOf(line);
    const std::size_t place = qmfi_pdk_4_4::CFI_MOUNT_POINT;
    if (words.size() > place) mountPoints.push_back(qmfi_pdk_4_4::plainWord(words[place]));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
  return mountPoints;
}

HostError somethingMountedOn(const std::string& path) {
  return HostError(ExitStatus::busy,
                   translate("something else is mounted on {0}, where files are to be restored; unmount it", path))
      .about(path)
      .advise(translate("unmount it"));
}

// What is mounted there would be changed in place of what lies below it. The snapshot's own are where they were.
void requireNothingElseMounted(const Snapshot& snapshot, const RestoredPart& part) {
  for (const std::string& mountPoint : allMountPoints()) {
    const bool isOfSnapshot = std::any_of(snapshot.nodes.begin(), snapshot.nodes.end(),
                                          [&](const SnapshotNode& node) { return node.mountPoint == mountPoint; });
    if (isOfSnapshot || !isWithin(mountPoint, part.node.mountPoint)) continue;
    if (isWithin(mountPoint, part.path) || isWithin(part.path, mountPoint)) throw somethingMountedOn(mountPoint);
  }
}

// The names that follow the first one of a path.
fs::path withoutFirst(const fs::path& path) {
  fs::path rest;
  for (auto name = std::next(path.begin()); name != path.end(); ++name) rest /= *name;
  return rest;
}

// The innermost directory above the part that is there; what is missing is made as it was.
Place placeInPlace(const RestoredPart& part) {
  Place place{openOriginal(part.node), part.node.mountPoint, {.from = part.node.alternate, .deletes = true}};
  fs::path ahead = part.inside;
  for (; ahead.has_parent_path(); ahead = withoutFirst(ahead)) {
    const fs::path name = *ahead.begin();
    Descriptor next(openat(place.directory.get(), name.c_str(), directoryFlags));
    if (!next.valid() && errno == ENOENT) break;
    if (!next.valid()) throw cannotBeEntered(place.name / name);
    place.directory = std::move(next);
    place.name /= name;
    place.task.from += "/" + name.string();
  }
  place.task.what = ahead;
  return place;
}

// The original mount point below a directory. makes: what is missing of it.
Place placeBelow(const fs::path& directory, const RestoredPart& part, bool makes) {
  const fs::path above = directory.parent_path();
  Place place{
      Descriptor(open(above.c_str(), directoryFlags)), above, {.from = part.node.alternate, .what = part.inside}};
  if (!place.directory.valid()) throw cannotBeEntered(above);
  fs::path ahead = directory.filename() / fs::path(part.node.mountPoint).relative_path();
  for (; !ahead.empty(); ahead = withoutFirst(ahead)) {
    const fs::path name = *ahead.begin();
    const fs::path named = place.name / name;
    if (makes && mkdirat(place.directory.get(), name.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
      throw systemError(translate("the directory {0} cannot be made", named.string())).about(named);
    }
    Descriptor next(openat(place.directory.get(), name.c_str(), directoryFlags));
    if (!next.valid() && errno == ENOENT && !makes) break;
    if (!next.valid()) throw cannotBeEntered(named);
    const bool isSameMount = lookAt(place.directory, named).stx_mnt_id == lookAt(next, named).stx_mnt_id;
    if (named != directory && !isSameMount) throw somethingMountedOn(named);
    place.directory = std::move(next);
    place.name = named;
  }
  place.name /= ahead;
  place.task.missing = ahead;
  return place;
}

HostError failureOf(const RestoredPart& part, const RsyncEnd& end) {
  constexpr int partlyTransferred = 23;
  const std::vector<std::string>& reasons = end.messages;
  const std::string cause = reasons.empty() ? translate("rsync ended with status {0}", end.status) : reasons.front();
  const bool isFull = std::any_of(reasons.begin(), reasons.end(), [](const std::string& line) {
    return line.ends_with("(" + std::to_string(ENOSPC) + ")") || line.ends_with("(" + std::to_string(EDQUOT) + ")");
  });
  const Failure kind = isFull ? Failure::storageFull : Failure::failed;
  if (end.status != partlyTransferred) {
    return HostError(kind, translate("{0} could not be restored: {1}", part.path, cause))
        .about(part.path)
        .because(cause);
  }
  return HostError(kind, translate("{0} could be restored only in part", part.path), reasons)
      .about(part.path)
      .because(cause);
}

}  // namespace

std::string requireRestoreDirectory(const StateStore& store, const std::string& name, bool force) {
  fs::path named = fs::absolute(name).lexically_normal();
  if (!named.has_filename()) named = named.parent_path();
  requireTrusted(named);
  const fs::path directory = fs::weakly_canonical(named);
  const bool isThere = fs::exists(directory);
  const fs::path above = isThere ? directory : directory.parent_path();
  if (!fs::is_directory(above)) {
    throw HostError(Failure::notFound,
                    translate("{0} is no directory, so nothing can be restored into it", above.string()))
        .about(above);
  }
  requireNoSnapshot(store, above);
  requireNoSnapshot(store, directory);
  if (!isThere || fs::is_empty(directory) || force) return directory;
  throw HostError(Failure::forceNeeded, translate("{0} is not empty; --force restores into it all the same, and "
                                                  "replaces what has the names of restored files",
                                                  directory.string()))
      .about(directory);
}

void requireRestorableInPlace(const Snapshot& snapshot, const RestoredPart& part) {
  const Descriptor root = openOriginal(part.node);
  requireWritable(root, part.node.mountPoint);
  requireNothingElseMounted(snapshot, part);
  placeInPlace(part);
}

void requireInCopy(const Snapshot& snapshot, const RestoredPart& part) {
  const Descriptor copy(open(part.node.alternate.c_str(), directoryFlags));
  if (!copy.valid()) {
    throw systemError(translate("{0} cannot be opened", part.node.alternate)).about(part.node.alternate);
  }
  if (part.inside.empty()) return;
  open_how how{};
  how.flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
  const Descriptor found(static_cast<int>(syscall(SYS_openat2, copy.get(), part.inside.c_str(), &how, sizeof(how))));
  if (found.valid()) return;
  // What lies behind a link is not in the snapshot by this name.
  if (errno == ENOENT || errno == ENOTDIR || errno == ELOOP) throw notInSnapshot(snapshot.name, part.path);
  throw systemError(translate("{0} cannot be looked up in the snapshot {1}", part.path, snapshot.name))
      .about(part.path);
}

std::string targetOf(const RestoredPart& part, const RestoreWay& way) {
  return way.directory ? fs::path(*way.directory) / fs::path(part.path).relative_path() : fs::path(part.path);
}

bool restorePart(const RestoredPart& part, const RestoreWay& way, const DeferredSignals& signals,
                 const std::function<void(const FileChange&)>& tell) {
  Place place = way.directory ? placeBelow(*way.directory, part, !way.onlyTells) : placeInPlace(part);
  place.task.compares = way.compares;
  place.task.onlyTells = way.onlyTells;
  const auto tellWhole = [&](const FileChange& change) {
    tell({change.how, change.path == "./" ? place.name : place.name / change.path});
  };
  const RsyncEnd end = runRsync(place.task, place.directory, signals, tellWhole);
  if (end.isInterrupted) return false;
  if (end.status != 0) throw failureOf(part, end);
  if (!way.onlyTells && syncfs(place.directory.get()) != 0) {
    throw systemError(translate("{0} could not be written out", part.path)).about(part.path);
  }
  return true;
}

}  // namespace qmfi_host
