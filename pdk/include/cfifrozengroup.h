// File systems that are frozen at one moment, by the request that all file systems know, and thawed at one moment.
#ifndef CFIFROZENGROUP_H
#define CFIFROZENGROUP_H

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cfidescriptor.h"

namespace qmfi_pdk_4_4 {

// What is asked of a file system by a descriptor on it; tests have one of their own. All answer 0 or an errno value,
// and are called by several threads.
class CFiFreezeRequests {
 public:
  virtual ~CFiFreezeRequests() = default;
  // Each is asked of one file system. This one writes out what is in memory, so that the freeze has little left to do.
  virtual int flush(int descriptor) const noexcept {
    if (::syncfs(descriptor) != 0) return errno;
    // A freeze of ext4 empties its journal while everything stands still. The others do not know this request, for
    // which older systems have no header.
    constexpr unsigned long emptyJournal = _IOW('f', 43, std::uint32_t);
    std::uint32_t plainly = 0;
    ::ioctl(descriptor, emptyJournal, &plainly);
    return 0;
  }
  // Freezes it.
  virtual int freeze(int descriptor) const noexcept { return ::ioctl(descriptor, FIFREEZE, 0) == 0 ? 0 : errno; }
  // Ends a freeze.
  virtual int thaw(int descriptor) const noexcept { return ::ioctl(descriptor, FITHAW, 0) == 0 ? 0 : errno; }
};

// One of them, as messages name it, and what its requests answered: 0 or an errno value.
struct CFiFrozenMember {
  std::string mountPoint;
  CFiDescriptor descriptor;  // on it
  int freezeError = 0;
  int thawError = 0;
  bool isFrozen = false;
};

// Each has a thread of its own, which waits until it is needed next: nothing is made, written or looked up between the
// freeze and the thaw. One thread at a time, of the process that made it; in a forked child it is left alone.
class CFiFrozenGroup {
 public:
  // Starts the threads, and has them write out what can be written before the freeze. Throws std::system_error when
  // there can be no such thread, and std::bad_alloc. requests must outlive the group.
  CFiFrozenGroup(const CFiFreezeRequests& requests, std::vector<CFiFrozenMember> members)
      : m_requests(requests), m_members(std::move(members)) {
    m_threads.reserve(m_members.size());
    try {
      for (CFiFrozenMember& member : m_members) m_threads.emplace_back([this, &member] { work(member); });
    } catch (...) {
      endThreads();
      throw;
    }
    perform(Step::flush);
  }
  CFiFrozenGroup(const CFiFrozenGroup&) = delete;
  CFiFrozenGroup& operator=(const CFiFrozenGroup&) = delete;
  // Thaws what is frozen.
  ~CFiFrozenGroup() {
    thaw();
    endThreads();
  }

  // Freezes all or none; false when it is none.
  bool freeze() noexcept {
    perform(Step::freeze);
    const bool areAllFrozen =
        std::all_of(m_members.begin(), m_members.end(), [](const CFiFrozenMember& member) { return member.isFrozen; });
    if (!areAllFrozen) thaw();
    return areAllFrozen;
  }

  // Thaws what is frozen. A group is frozen and thawed once.
  void thaw() noexcept { perform(Step::thaw); }

  const std::vector<CFiFrozenMember>& members() const { return m_members; }

 private:
  // In this order. An int is what the system waits for without a lock.
  enum class Step : int { none, flush, freeze, thaw, end };

  // A step that has been taken already, as the thaw after a freeze that failed, is over.
  void perform(Step step) noexcept {
    if (m_step.load() >= step) return;
    m_unfinished = static_cast<int>(m_members.size());
    m_step = step;
    m_step.notify_all();
    for (int left = m_unfinished.load(); left != 0; left = m_unfinished.load()) m_unfinished.wait(left);
  }

  void work(CFiFrozenMember& member) noexcept {
    for (Step step = Step::none;;) {
      m_step.wait(step);
      step = m_step.load();
      if (step == Step::end) return;
      workOn(member, step);
      if (m_unfinished.fetch_sub(1) == 1) m_unfinished.notify_one();
    }
  }

  void workOn(CFiFrozenMember& member, Step step) const noexcept {
    const int descriptor = member.descriptor.get();
    if (step == Step::flush) m_requests.flush(descriptor);
    if (step == Step::freeze) {
      member.freezeError = m_requests.freeze(descriptor);
      member.isFrozen = member.freezeError == 0;
    }
    if (step == Step::thaw && member.isFrozen) {
      member.thawError = m_requests.thaw(descriptor);
      member.isFrozen = false;
    }
  }

  void endThreads() noexcept {
    m_step = Step::end;
    m_step.notify_all();
    for (std::thread& thread : m_threads) thread.join();
  }

  const CFiFreezeRequests& m_requests;
  std::vector<CFiFrozenMember> m_members;
  std::atomic<Step> m_step{Step::none};
  std::atomic<int> m_unfinished{0};
  std::vector<std::thread> m_threads;
};

}  // namespace qmfi_pdk_4_4

#endif
