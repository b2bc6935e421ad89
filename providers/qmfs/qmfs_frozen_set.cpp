// The file systems of one quiesce, from the opening of their mount points to the thaw.
#include "qmfs_frozen_set.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace {

// Required: opened with no flag at all; close-on-exec follows as a second step.
int openMountPoint(const char* path) {
  const int descriptor = ::open64(path, 0);
  if (descriptor >= 0) ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  return descriptor;
}

}  // namespace

void closeEach(const std::int32_t* descriptors, std::int32_t count) {
  if (descriptors == nullptr) return;
  const qmfi_pdk_4_4::CFiUndisturbed undisturbed;
  for (std::int32_t i = 0; i < count; ++i) ::close(descriptors[i]);
}

void CQmFSFrozenSet::hold(std::vector<FileSystem> fileSystems) {
  m_descriptors = std::make_unique<std::int32_t[]>(fileSystems.size());
  m_fileSystems = std::move(fileSystems);
  m_opened = 0;
  m_frozen = 0;
  m_process = ::getpid();
}

bool CQmFSFrozenSet::openNext() {
  const int descriptor = openMountPoint(m_fileSystems[static_cast<std::size_t>(m_opened)].mountPoint.c_str());
  if (descriptor < 0) return false;
  m_descriptors[m_opened++] = descriptor;
  return true;
}

void CQmFSFrozenSet::release() {
  m_descriptors.reset();
  m_opened = 0;
  m_frozen = 0;
}

bool CQmFSFrozenSet::isOfThisProcess() const {
  return ::getpid() == m_process;
}
