// The word of a holder, and waiting for him.
#include "state/lock_holder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <string_view>

#include "failure/host_error.h"
#include "system/descriptor.h"
#include "system/small_file.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

constexpr timespec moment{0, 50'000'000};

// The word of a holder begins so. It is told to others, in whatever language theirs is.
constexpr std::string_view processWord = "process ";

// In whole seconds: the holder writes his word when he gets the lock.
std::optional<std::time_t> secondsSince(const fs::path& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return std::nullopt;
  return std::max<std::time_t>(std::time(nullptr) - status.st_mtim.tv_sec, 0);
}

// Who a word is of, as others are told.
std::string holderOf(const std::string& word) {
  if (word.empty()) return translate("another process");
  if (!word.starts_with(processWord)) return "qmfi (" + word + ")";
  return translate("qmfi (process {0})", word.substr(processWord.size()));
}

}  // namespace

// Only those who wait read it, so nothing depends on its being written: what makes room has to work without any.
void writeHolder(const fs::path& file, const std::string& command) {
  const qmfi_system::Descriptor opened(
      open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
  if (!opened.valid()) {
    if (errno == ENOSPC || errno == EDQUOT) return;
    throw systemError(translate("the file {0} cannot be written", file.string())).about(file.string());
  }
  const std::string text = std::string(processWord) + std::to_string(getpid()) + ", " + command + "\n";
  [[maybe_unused]] const ssize_t written = write(opened.get(), text.data(), text.size());
}

std::string holderText(const fs::path& file, const std::string& hasDone) {
  const std::string text = qmfi_system::readSmallFile(file).value_or("");
  const std::string who = holderOf(text.substr(0, text.find('\n')));
  const std::optional<std::time_t> seconds = secondsSince(file);
  if (!seconds) return translate("{0}, which has {1}", who, hasDone);
  return translate("{0}, which has {1} for {2} s", who, hasDone, *seconds);
}

void WaitingPauses::pause(const std::function<std::string()>& holder) {
  if (m_end && Clock::now() >= *m_end) {
    const std::string who = holder();
    throw HostError(ExitStatus::locked, translate("does not wait longer for {0}", who))
        .because(translate("waited for {0}", who));
  }
  if (Clock::now() >= m_nextReport) {
    m_report(translate("waits for {0}", holder()));
    m_nextReport = Clock::now() + betweenReports;
  }
  ppoll(nullptr, 0, &moment, nullptr);
}

}  // namespace qmfi_host
