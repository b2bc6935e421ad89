// Noting of calls.
#include "frozen_calls.h"

#include <linux/fs.h>
#include <sys/syscall.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "call_errors.h"

namespace faults {

namespace {

constexpr std::uint64_t thawRequest = 0x514D4602;
constexpr std::uint64_t freezeAllRequest = 0x514D4603;

bool isRequest(const SystemCall& call, std::uint64_t request) {
  // The kernel looks at the lower half only.
  return call.number == SYS_ioctl && static_cast<std::uint32_t>(call.arguments[1]) == request;
}

std::string textOf(const SystemCall& call) {
  if (isFreezeAll(call)) return "ioctl QM_FREEZE_ALL";
  if (isThaw(call)) return "ioctl QM_THAW";
  if (isRequest(call, FICLONE)) return "ioctl FICLONE";
  return callName(call.number);
}

// Major page faults so far.
std::uint64_t pagesReadBy(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  constexpr int fieldsBetween = 9;  // from the end of the name to the number
  std::istringstream fields(text.substr(text.rfind(')') + 1));
  std::string skipped;
  for (int i = 0; i < fieldsBetween; ++i) fields >> skipped;
  std::uint64_t count = 0;
  fields >> count;
  return count;
}

}  // namespace

bool isFreezeAll(const SystemCall& call) {
  return isRequest(call, freezeAllRequest);
}

bool isThaw(const SystemCall& call) {
  return isRequest(call, thawRequest);
}

Decision FrozenCalls::before(const SystemCall& call) {
  if (isFreezeAll(call)) {
    m_frozen = true;
    m_pagesRead = pagesReadBy(call.pid);
  }
  if (m_frozen) m_calls.push_back(textOf(call));
  return {};
}

void FrozenCalls::after(const SystemCall& call, std::int64_t /*result*/) {
  if (!m_frozen || !isThaw(call) || --m_thawsLeft > 0) return;
  m_frozen = false;
  m_pagesRead = pagesReadBy(call.pid) - m_pagesRead;
}

}  // namespace faults
