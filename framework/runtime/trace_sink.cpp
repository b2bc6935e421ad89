// Opening and writing of trace files.
#include "trace_sink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "cancellation_disabled.h"
#include "paths.h"

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

}  // namespace

CFiTraceSink::CFiTraceSink(const std::string& directory, const std::string& name) {
  if (!qmfi_runtime::isPlainName(name)) return;
  mkdir(directory.c_str(), directoryMode);
  // Without O_NONBLOCK a pipe under that name would block the open.
  const std::string path = directory + "/" + name + ".log";
  constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  qmfi_runtime::UniqueFd file(open(path.c_str(), flags, fileMode));
  if (!file.valid() || !isOrdinaryFile(file.get())) return;
  restrictMode(file.get());
  m_file = std::move(file);
}

void CFiTraceSink::write(std::string_view record) const {
  const qmfi_runtime::CancellationDisabled whole;
  while (::write(m_file.get(), record.data(), record.size()) < 0 && errno == EINTR) {
  }
}

}  // namespace qmfi_pdk_4_4
