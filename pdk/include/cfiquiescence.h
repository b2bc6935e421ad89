// A freeze of several file systems by the request that all file systems know, with everything that belongs to it.
#ifndef CFIQUIESCENCE_H
#define CFIQUIESCENCE_H

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "cfifailure.h"
#include "cfifreezewatchdog.h"
#include "cfifrozengroup.h"
#include "cfinode.h"
#include "cfistringtool.h"
#include "cfiundisturbed.h"
#include "kfi.h"

namespace qmfi_pdk_4_4 {

// The split context, open as long as this lives. Throws std::system_error when it cannot be opened.
class CFiSplitContext {
 public:
  // Counts one more user of the context.
  CFiSplitContext() {
    const int error = qmfi_create_context();
    if (error == 0) return;
    qmfi_close_context();
    throw std::system_error(error, std::generic_category(), "the split context cannot be opened");
  }
  CFiSplitContext(const CFiSplitContext&) = delete;
  CFiSplitContext& operator=(const CFiSplitContext&) = delete;
  ~CFiSplitContext() { qmfi_close_context(); }
};

// A group with a watchdog over it, and the split context open from before its freeze until this ends. One thread at a
// time; it must end in the process that made it.
class CFiQuiescence {
 public:
  // Makes and starts all that the freeze needs, and flushes. Throws std::system_error when something cannot be had, and
  // std::bad_alloc. requests must outlive it.
  CFiQuiescence(const CFiFreezeRequests& requests, std::vector<CFiFrozenMember> members)
      : m_watchdog(freezable(members)), m_group(requests, std::move(members)) {}

  // Freezes all or none, until thaw() or the end of the time. False when it is none. Throws std::system_error when
  // nobody would watch over the freeze.
  bool freeze(std::chrono::seconds time) {
    if (m_watchdog.watchUntil(CFiFreezeWatchdog::Clock::now() + time)) return m_group.freeze();
    throw std::system_error(ECHILD, std::generic_category(), "the watchdog over the freeze has ended");
  }

  // Thaws what is frozen.
  void thaw() noexcept { m_group.thaw(); }

  // The group's, with what their requests have answered.
  const std::vector<CFiFrozenMember>& members() const { return m_group.members(); }

  // Whether the calling process is the one that made it, and not a child, which has none of its threads.
  bool isOfThisProcess() const { return ::getpid() == m_process; }

 private:
  static std::vector<CFiFreezableFileSystem> freezable(const std::vector<CFiFrozenMember>& members) {
    std::vector<CFiFreezableFileSystem> fileSystems;
    fileSystems.reserve(members.size());
    for (const CFiFrozenMember& member : members) fileSystems.push_back({member.descriptor.get()});
    return fileSystems;
  }

  const pid_t m_process = ::getpid();
  // Before there are threads of the group's.
  CFiFreezeWatchdog m_watchdog;
  CFiSplitContext m_context;
  CFiFrozenGroup m_group;
};

// Opens the root of a file system that is to be frozen. Throws CFiFailure 6 with MSG_ERROR_NOT_THERE when the path
// leads to another file system than that of the device number, or cannot be opened.
inline CFiFrozenMember openToFreeze(const std::string& mountPoint, dev_t device) {
  CFiDescriptor directory(::open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct stat status {};
  const bool isReadable = directory.isOpen() && ::fstat(directory.get(), &status) == 0;
  if (isReadable && status.st_dev == device) return {mountPoint, std::move(directory)};
  const std::string reason = isReadable ? "another file system is there" : errorText(errno);
  throw CFiFailure(CFI_STATUS_FAILED, "MSG_ERROR_NOT_THERE", {mountPoint, reason});
}

// Pushes a message for each that could not be frozen or thawed, with the mount point and the reason:
// MSG_ERROR_FROZEN_ALREADY, MSG_ERROR_FREEZE, MSG_ERROR_FREEZE_ENDED and MSG_ERROR_THAW. Throws std::bad_alloc when
// memory is short.
inline void reportFailures(const std::vector<CFiFrozenMember>& members) {
  const auto push = [](const CFiFrozenMember& member, int error, int others, const char* othersId, const char* id) {
    if (error == 0) return;
    const bool isByOthers = error == others;
    CFiFailure(CFI_STATUS_FAILED, isByOthers ? othersId : id, {member.mountPoint, errorText(error)}).report();
  };
  for (const CFiFrozenMember& member : members) {
    push(member, member.freezeError, EBUSY, "MSG_ERROR_FROZEN_ALREADY", "MSG_ERROR_FREEZE");
    push(member, member.thawError, EINVAL, "MSG_ERROR_FREEZE_ENDED", "MSG_ERROR_THAW");
  }
}

// The one quiesce of a provider that can be outstanding. Any thread may call; whoever comes second waits. Neither
// signals nor cancellation end a call halfway.
class CFiOutstandingQuiesce {
 public:
  CFiOutstandingQuiesce() = default;
  CFiOutstandingQuiesce(const CFiOutstandingQuiesce&) = delete;
  CFiOutstandingQuiesce& operator=(const CFiOutstandingQuiesce&) = delete;
  // Thaws, without a word: the error manager may be gone already. A child that was forked meanwhile leaves alone what
  // its parent has frozen.
  ~CFiOutstandingQuiesce() {
    if (m_quiescence != nullptr && !m_quiescence->isOfThisProcess()) static_cast<void>(m_quiescence.release());
  }

  // Freezes all or none, for the time at most. Returns the status of quiesce; each file system that could not be frozen
  // is reported. Throws CFiFailure 6 with MSG_ERROR_OUTSTANDING when others are frozen, and as CFiQuiescence does.
  int quiesce(std::vector<CFiFrozenMember> members, std::chrono::seconds time) {
    const CFiUndisturbed undisturbed;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_quiescence != nullptr) throw CFiFailure(CFI_STATUS_FAILED, "MSG_ERROR_OUTSTANDING");
    auto quiescence = std::make_unique<CFiQuiescence>(m_requests, std::move(members));
    if (quiescence->freeze(time)) {
      m_quiescence = std::move(quiescence);
      return CFI_STATUS_SUCCESS;
    }
    reportFailures(quiescence->members());
    return CFI_STATUS_FAILED;
  }

  // Thaws what is frozen, if anything is, and reports each that could not be thawed.
  void thaw() {
    const CFiUndisturbed undisturbed;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_quiescence == nullptr || !m_quiescence->isOfThisProcess()) return;
    const std::unique_ptr<CFiQuiescence> quiescence = std::move(m_quiescence);
    quiescence->thaw();
    reportFailures(quiescence->members());
  }

 private:
  const CFiFreezeRequests m_requests{};
  std::mutex m_mutex;
  std::unique_ptr<CFiQuiescence> m_quiescence;
};

// The time-out in seconds of a parameter that the framework has set in a configuration domain, at least 1; the other
// one where it has not. Throws CFiFailure 3 for a domain without private data.
inline std::chrono::seconds freezeTimeoutOf(kfi_domain* config, const char* parameter, std::chrono::seconds otherwise) {
  const CFiPrivateDataSPtr data = privateDataOf(given(config, "configuration domain"));
  const CFiConfigDataList& values = *given(data.get(), "configuration")->configDataList(0);
  const auto found = values.find(parameter);
  if (found == values.end()) return otherwise;
  return std::chrono::seconds(std::max(CFiStringTool::str2int(found->second.value.c_str()), 1));
}

}  // namespace qmfi_pdk_4_4

#endif
