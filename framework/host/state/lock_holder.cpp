// The word of a holder, and waiting for him.
#include "state/lock_holder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "failure/host_error.h"
#include "system/descriptor.h"
#include "system/small_file.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

constexpr timespec moment{0, 50'000'000};

// In whole seconds: the holder writes his word when he gets the lock.
std::string heldFor(const fs::path& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return {};
  const auto seconds = std::max<std::time_t>(std::time(nullptr) - status.st_mtim.tv_sec, 0);
  return " for " + std::to_string(seconds) + " s";
}

}  // namespace

// Only those who wait read it, so nothing depends on its being written: what makes room has to work without any.
void writeHolder(const fs::path& file, const std::string& command) {
  const qmfi_system::Descriptor opened(
      open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
  if (!opened.valid()) {
    if (errno == ENOSPC || errno == EDQUOT) return;
    throw systemError("the file " + file.string() + " cannot be written").about(file.string());
  }
  const std::string text = "process " + std::to_string(getpid()) + ", " + command + "\n";
  [[maybe_unused]] const ssize_t written = write(opened.get(), text.data(), text.size());
}

std::string holderText(const fs::path& file, const std::string& hasDone) {
  const std::string text = qmfi_system::readSmallFile(file).value_or("");
  const std::string word = text.substr(0, text.find('\n'));
  const std::string who = word.empty() ? "another process" : "qmfi (" + word + ")";
  return who + ", which has " + hasDone + heldFor(file);
}

void WaitingPauses::pause(const std::function<std::string()>& holder) {
  if (m_end && Clock::now() >= *m_end) {
    const std::string who = holder();
    throw HostError(ExitStatus::locked, "does not wait longer for " + who).because("waited for " + who);
  }
  if (Clock::now() >= m_nextReport) {
    m_report("waits for " + holder());
    m_nextReport = Clock::now() + betweenReports;
  }
  ppoll(nullptr, 0, &moment, nullptr);
}

}  // namespace qmfi_host
