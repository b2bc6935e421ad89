// Limits.
#include "snapshot/process_limits.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <string_view>

namespace qmfi_host {

namespace {

void writeWhole(const qmfi_system::Descriptor& file, std::string_view text) {
  // What is refused is done without.
  [[maybe_unused]] const ssize_t written = pwrite(file.get(), text.data(), text.size(), 0);
}

}  // namespace

void raiseDescriptorLimit() noexcept {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

void raiseFileSizeLimit() noexcept {
  rlimit limit{RLIM_INFINITY, RLIM_INFINITY};
  if (setrlimit(RLIMIT_FSIZE, &limit) == 0 || getrlimit(RLIMIT_FSIZE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_FSIZE, &limit);
}

LastToBeEnded::LastToBeEnded(const char* score) : m_score(open(score, O_RDWR | O_CLOEXEC)) {
  std::array<char, 16> text{};
  const ssize_t length = pread(m_score.get(), text.data(), text.size(), 0);
  if (length <= 0) return;
  m_before.assign(text.data(), static_cast<std::size_t>(length));
  writeWhole(m_score, "-1000\n");
}

LastToBeEnded::~LastToBeEnded() {
  if (!m_before.empty()) writeWhole(m_score, m_before);
}

}  // namespace qmfi_host
