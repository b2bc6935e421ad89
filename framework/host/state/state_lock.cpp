// Taking the lock, and telling who has it.
#include "state/state_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

using qmfi_system::Descriptor;

namespace {

fs::path holderFileIn(const fs::path& directory) {
  return directory / "lock";
}

HostError cannotBeLocked(const fs::path& directory) {
  return systemError(translate("the state directory {0} cannot be locked", directory.string()));
}

Descriptor openDirectory(const fs::path& directory) {
  Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened.valid()) throw cannotBeLocked(directory);
  return opened;
}

// Whether the path still names the directory that is open.
bool isStillThere(const Descriptor& opened, const fs::path& directory) {
  struct stat own {};
  struct stat named {};
  return fstat(opened.get(), &own) == 0 && stat(directory.c_str(), &named) == 0 && own.st_dev == named.st_dev &&
         own.st_ino == named.st_ino;
}

Descriptor waitForLock(const fs::path& directory, const WaitingReport& report, WaitingEnd end) {
  WaitingPauses pauses(report, end);
  Descriptor opened = openDirectory(directory);
  for (;;) {
    if (flock(opened.get(), LOCK_EX | LOCK_NB) == 0) {
      if (isStillThere(opened, directory)) return opened;
      opened = openDirectory(directory);
      continue;
    }
    if (errno != EWOULDBLOCK && errno != EINTR) throw cannotBeLocked(directory);
    pauses.pause([&] {
      return holderText(holderFileIn(directory), translate("held the state directory {0}", directory.string()));
    });
  }
}

}  // namespace

StateLock::StateLock(fs::path directory, std::string command, WaitingReport report, WaitingEnd end)
    : m_directory(std::move(directory)), m_command(std::move(command)), m_report(std::move(report)) {
  acquire(end);
}

void StateLock::acquire(WaitingEnd end) {
  m_lock = waitForLock(m_directory, m_report, end);
  writeHolder(holderFileIn(m_directory), m_command);
}

}  // namespace qmfi_host
