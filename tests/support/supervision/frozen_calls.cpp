// Noting of calls.
#include "support/supervision/frozen_calls.h"

#include <linux/fs.h>
#include <sys/syscall.h>

#include <sstream>

#include "support/foreign_framework.h"
#include "support/supervision/call_errors.h"
#include "support/text_file.h"

namespace faults {

namespace {

bool isRequest(const SystemCall& call, std::uint32_t request) {
  // The kernel looks at the lower half only.
  return call.number == SYS_ioctl && static_cast<std::uint32_t>(call.arguments[1]) == request;
}

std::string described(const SystemCall& call) {
  if (isFreezeAll(call)) return "ioctl QM_FREEZE_ALL";
  if (isRequest(call, QM_THAW)) return "ioctl QM_THAW";
  if (isRequest(call, QM_FREEZE)) return "ioctl QM_FREEZE";
  if (isRequest(call, FICLONERANGE)) return "ioctl FICLONERANGE";
  return callName(call.number);
}

// Major page faults so far.
std::uint64_t pagesReadBy(pid_t pid) {
  const std::string text = textOf("/proc/" + std::to_string(pid) + "/stat");
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
  return isRequest(call, QM_FREEZE_ALL);
}

bool isFreezeOfOne(const SystemCall& call) {
  return isRequest(call, FIFREEZE);
}

bool isThaw(const SystemCall& call) {
  return isRequest(call, QM_THAW) || isRequest(call, FITHAW);
}

Decision FrozenCalls::before(const SystemCall& call) {
  if (isFreezeAll(call)) {
    m_frozen = true;
    m_freezer = call.pid;
    m_pagesRead = pagesReadBy(call.pid);
  }
  if (m_frozen && call.pid == m_freezer) m_calls.push_back(described(call));
  return {};
}

void FrozenCalls::after(const SystemCall& call, std::int64_t /*result*/) {
  if (!m_frozen || !isThaw(call) || --m_thawsLeft > 0) return;
  m_frozen = false;
  m_pagesRead = pagesReadBy(call.pid) - m_pagesRead;
}

}  // namespace faults
