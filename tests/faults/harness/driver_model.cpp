// The kernel driver's freeze requests, answered by a model.
#include "driver_model.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>

#include "support/driver_requests.h"
#include "support/foreign_framework.h"

namespace faults {

namespace {

DriverRequestKind kindOf(std::uint32_t number) {
  if (number == QM_FREEZE_ALL) return DriverRequestKind::freezeAll;
  return number == QM_FREEZE ? DriverRequestKind::freeze : DriverRequestKind::thaw;
}

int askKernel(int descriptor, std::uint32_t number, std::uintptr_t argument) {
  return syscall(SYS_ioctl, descriptor, number, argument) == 0 ? 0 : errno;
}

int openDirectory(const char* directory) {
  return open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

}  // namespace

DriverModel& driverModel() {
  static DriverModel model;
  return model;
}

namespace {

std::mutex requestMutex;

}  // namespace

void DriverModel::reset() {
  const bool useKernel = m_useKernel;
  *this = DriverModel();
  m_useKernel = useKernel;
}

void DriverModel::fail(DriverRequestKind kind, int number, int error) {
  const int index = static_cast<int>(kind);
  m_failures[index] = {number != 0 ? m_requests[index] + number : 0, error};
}

int DriverModel::plannedError(DriverRequestKind kind) const {
  const Failure& failure = m_failures[static_cast<int>(kind)];
  return failure.number == 0 || failure.number == requests(kind) ? failure.error : 0;
}

DriverModel::FileSystem* DriverModel::fileSystemOf(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return nullptr;
  for (int i = 0; i < m_count; ++i) {
    if (m_fileSystems[i].device == status.st_dev && m_fileSystems[i].inode == status.st_ino) return &m_fileSystems[i];
  }
  if (m_count == mostFileSystems) return nullptr;
  m_fileSystems[m_count] = {status.st_dev, status.st_ino, false, false};
  return &m_fileSystems[m_count++];
}

bool DriverModel::freezeFromOutside(const char* directory, std::int32_t timeout) {
  const int descriptor = openDirectory(directory);
  if (descriptor < 0) return false;
  const int error = m_useKernel ? askKernel(descriptor, QM_FREEZE, static_cast<std::uintptr_t>(timeout))
                                : freezeOne(descriptor, timeout);
  close(descriptor);
  return error == 0;
}

bool DriverModel::thawFromOutside(const char* directory) {
  return thawAgain(directory) == 0;
}

void DriverModel::passTimeouts() {
  for (int i = 0; i < m_count; ++i) {
    m_fileSystems[i].expired = m_fileSystems[i].expired || m_fileSystems[i].frozen;
    m_fileSystems[i].frozen = false;
  }
}

int DriverModel::thawAgain(const char* directory) {
  const int descriptor = openDirectory(directory);
  if (descriptor < 0) return errno;
  const int error = m_useKernel ? askKernel(descriptor, QM_THAW, 0) : thaw(descriptor);
  close(descriptor);
  return error;
}

int DriverModel::frozen() const {
  return static_cast<int>(std::count_if(m_fileSystems, m_fileSystems + m_count,
                                        [](const FileSystem& fileSystem) { return fileSystem.frozen; }));
}

int DriverModel::freezeOne(int descriptor, std::int32_t timeout) {
  FileSystem* const fileSystem = fileSystemOf(descriptor);
  if (fileSystem == nullptr) return EBADF;
  if (timeout < 1) return EINVAL;
  if (fileSystem->frozen) return EBUSY;
  fileSystem->frozen = true;
  fileSystem->expired = false;
  return 0;
}

int DriverModel::freezeTogether(std::uintptr_t record) {
  const auto& asked = *reinterpret_cast<const FreezeAllRecord*>(record);
  if (asked.count < 1) return EINVAL;
  for (std::int32_t i = 0; i < asked.count; ++i) {
    const int error = freezeOne(asked.descriptors[i], asked.timeout);
    if (error == 0) continue;
    // All or nothing.
    for (std::int32_t frozen = 0; frozen < i; ++frozen) fileSystemOf(asked.descriptors[frozen])->frozen = false;
    return error;
  }
  return 0;
}

int DriverModel::thaw(int descriptor) {
  FileSystem* const fileSystem = fileSystemOf(descriptor);
  if (fileSystem == nullptr) return EBADF;
  if (fileSystem->expired) {
    fileSystem->expired = false;
    return ETIMEDOUT;
  }
  if (!fileSystem->frozen) return EINVAL;
  fileSystem->frozen = false;
  return 0;
}

int DriverModel::request(int descriptor, std::uint32_t number, std::uintptr_t argument) {
  const DriverRequestKind kind = kindOf(number);
  ++m_requests[static_cast<int>(kind)];
  if (kind == DriverRequestKind::thaw && m_passAtThaw == requests(kind)) passTimeouts();
  if (kind == DriverRequestKind::freeze) m_lastTimeout = static_cast<std::int32_t>(argument);
  if (kind == DriverRequestKind::freezeAll) m_lastTimeout = reinterpret_cast<const FreezeAllRecord*>(argument)->timeout;
  if (const int error = plannedError(kind); error != 0) return error;
  if (m_useKernel) return askKernel(descriptor, number, argument);
  switch (kind) {
    case DriverRequestKind::freezeAll:
      return freezeTogether(argument);
    case DriverRequestKind::freeze:
      return freezeOne(descriptor, static_cast<std::int32_t>(argument));
    case DriverRequestKind::thaw:
      return thaw(descriptor);
  }
  return ENOTTY;
}

}  // namespace faults

int answerDriverRequest(int descriptor, std::uint32_t request, std::uintptr_t argument) {
  const std::lock_guard lock(faults::requestMutex);
  const int error = faults::driverModel().request(descriptor, request, argument);
  if (error == 0) return 0;
  errno = error;
  return -1;
}

extern "C" unsigned sleep(unsigned) {
  const std::lock_guard lock(faults::requestMutex);
  faults::driverModel().slept();
  return 0;
}
