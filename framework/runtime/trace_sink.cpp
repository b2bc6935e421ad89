// Opening and writing of trace files.
#include "trace_sink.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "lock_if_possible.h"
#include "paths.h"
#include "system/descriptor.h"
#include "system/thread_cancellation.h"

namespace qmfi_pdk_4_4 {

namespace {

constexpr mode_t directoryMode = 0700;
constexpr mode_t fileMode = 0600;

// Required: the log may lie where others can write, so nothing is followed and nothing but an ordinary file is filled.
bool isOrdinaryFile(int fd) {
  struct stat status;
  return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

// Takes away what others may do with a log of ours that somebody left open to them. Another user's stays as it is: its
// owner could change it back.
void restrictMode(int fd) {
  struct stat status;
  const bool isOurs = fstat(fd, &status) == 0 && status.st_uid == geteuid();
  if (isOurs && (status.st_mode & ALLPERMS & ~fileMode) != 0) fchmod(fd, fileMode);
}

// The log's descriptor; -1 when there is no file to write to.
int openLog(const std::string& path) {
  const qmfi_system::CancellationDisabled whole;
  // Without O_NONBLOCK a pipe under that name would block the open.
  constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  const int file = open(path.c_str(), flags, fileMode);
  if (file < 0) return -1;
  if (!isOrdinaryFile(file)) {
    close(file);
    return -1;
  }
  restrictMode(file);
  return file;
}

}  // namespace

CFiTraceSink::CFiTraceSink(const std::string& directory, const std::string& name) {
  if (!qmfi_runtime::isPlainName(name)) return;
  mkdir(directory.c_str(), directoryMode);
  m_path = directory + "/" + name + ".log";
  keep(openLog(m_path));
}

CFiTraceSink::~CFiTraceSink() {
  const qmfi_system::Descriptor closed(isOurs(m_file) ? m_file.load() : -1);
}

void CFiTraceSink::write(std::string_view record) {
  const qmfi_system::CancellationDisabled whole;
  if (!isOurs(m_file) || !isInPlace()) repair();
  while (m_file >= 0 && ::write(m_file, record.data(), record.size()) < 0 && errno == EINTR) {
  }
}

bool CFiTraceSink::isOurs(int file) const {
  struct stat status;
  return fstat(file, &status) == 0 && status.st_dev == m_device && status.st_ino == m_inode;
}

bool CFiTraceSink::isInPlace() const {
  struct stat status;
  return lstat(m_path.c_str(), &status) == 0 && status.st_dev == m_device && status.st_ino == m_inode;
}

// Another thread may have done it meanwhile. The number stays where it is ours, since others may be writing to it.
void CFiTraceSink::repair() {
  const auto lock = qmfi_runtime::lockIfPossible(m_mutex);
  const bool ours = isOurs(m_file);
  if (ours && isInPlace()) return;
  if (!ours) return keep(openLog(m_path));
  const qmfi_system::Descriptor file(openLog(m_path));
  if (file.valid() && dup3(file.get(), m_file, O_CLOEXEC) >= 0) keep(m_file);
}

void CFiTraceSink::keep(int file) {
  struct stat status {};
  if (file >= 0 && fstat(file, &status) != 0) return;
  m_device = status.st_dev;
  m_inode = status.st_ino;
  m_file = file;
}

}  // namespace qmfi_pdk_4_4
