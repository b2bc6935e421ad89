// Cloning, and what can be known of it before.
#include "volume/file_split.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>

#include "failure/host_error.h"
#include "texts/translation.h"
#include "volume/file_pieces.h"

namespace qmfi_host {

using qmfi_system::Descriptor;

namespace {

struct stat statusOf(const Descriptor& volume, const SplitPlan& plan) {
  struct stat status {};
  if (fstat(volume.get(), &status) == 0) return status;
  throw systemError(translate("{0} cannot be read", plan.volumeFile)).about(plan.volumeFile);
}

// The kernel would end the process in its freeze for a copy that is larger than its files may be.
void requireFileSize(const Descriptor& volume, const SplitPlan& plan) {
  const struct stat status = statusOf(volume, plan);
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || static_cast<rlim_t>(status.st_size) <= limit.rlim_cur) return;
  throw HostError(translate("the volume {0} is larger than files of this process may be ({1} bytes); \"ulimit -f "
                            "unlimited\" lifts that limit; nothing was frozen",
                            plan.device, limit.rlim_cur))
      .about(plan.device)
      .advise(translate("\"ulimit -f unlimited\" lifts that limit"));
}

// Cloning the first block tells, before anything is frozen, whether the whole can be cloned.
void tryToShareBlocks(const Descriptor& volume, const Descriptor& snapshot, const SplitPlan& plan) {
  const struct stat status = statusOf(volume, plan);
  file_clone_range firstBlock{volume.get(), 0, static_cast<__u64>(status.st_blksize), 0};
  if (status.st_size < status.st_blksize) firstBlock.src_length = 0;
  if (ioctl(snapshot.get(), FICLONERANGE, &firstBlock) != 0) {
    HostError error = systemError(
        translate("the volume {0} cannot be split: the file system of {1} does not share blocks between files",
                  plan.device, plan.volumeFile));
    error.setFailure(Failure::cannotBeSplit);
    throw HostError(error.about(plan.device));
  }
}

}  // namespace

FileSplit::FileSplit(const SplitPlan& plan) : m_name(plan.volumeFile) {
  m_volume.reset(open(plan.volumeFile.c_str(), O_RDONLY | O_CLOEXEC));
  if (!m_volume.valid()) {
    throw systemError(translate("the volume file {0} cannot be opened", plan.volumeFile)).about(plan.volumeFile);
  }
  requireFileSize(m_volume, plan);
  m_snapshot.reset(open(plan.snapshotFile.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!m_snapshot.valid()) {
    throw systemError(translate("the snapshot file {0} could not be made", plan.snapshotFile)).about(plan.snapshotFile);
  }
  tryToShareBlocks(m_volume, m_snapshot, plan);
}

void FileSplit::flush() {
  if (fdatasync(m_volume.get()) != 0) {
    throw systemError(translate("{0} could not be written out", m_name)).about(m_name);
  }
  m_pieceEnds = pieceEndsOf(m_volume.get(), m_name);
}

int FileSplit::split(std::chrono::steady_clock::time_point deadline) noexcept {
  std::uint64_t offset = 0;
  for (const std::uint64_t end : m_pieceEnds) {
    const int error = clonePiece(offset, end - offset, deadline);
    if (error != 0) return error;
    offset = end;
  }
  constexpr std::uint64_t toTheEnd = 0;
  return clonePiece(offset, toTheEnd, deadline);
}

int FileSplit::clonePiece(std::uint64_t offset, std::uint64_t length,
                          std::chrono::steady_clock::time_point deadline) noexcept {
  if (std::chrono::steady_clock::now() >= deadline) return ETIME;
  const file_clone_range piece{m_volume.get(), offset, length, offset};
  return ioctl(m_snapshot.get(), FICLONERANGE, &piece) == 0 ? 0 : errno;
}

}  // namespace qmfi_host
