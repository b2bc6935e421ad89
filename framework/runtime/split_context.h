// The split context: the time in which file systems are frozen and nothing of the framework touches a disk.
#ifndef SPLIT_CONTEXT_H
#define SPLIT_CONTEXT_H

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>

namespace qmfi_runtime {

// Told when the split context has closed.
class SplitContextObserver {
 public:
  // Called without a lock held, from the thread that closes the context or, when several close it one after another,
  // from the first of them.
  virtual void splitContextClosed() noexcept = 0;

 protected:
  ~SplitContextObserver() = default;
};

// Counts its users. May be used from any thread. What cannot fail goes on without its mutex when that fails.
class SplitContext {
 public:
  // Opens the context or adds a user, and waits, at most two seconds, for the handlers that other threads are running.
  // Returns 0 or an errno value; the context is open either way.
  int create() noexcept;
  // Takes a user off. The last one's call writes the trace records that were held back, then tells the observers.
  void close() noexcept;

  // Both bracket the calls of handlers, which may print or read files: enterHandler asks for leave and is false while
  // the context is open; after it was true, the same thread calls leaveHandler.
  bool enterHandler() noexcept;
  void leaveHandler() noexcept;

  // Throws std::bad_alloc when memory is short.
  void addObserver(SplitContextObserver& observer);
  // Waits for a call of the observer that another thread is making; afterwards it is never called again.
  void removeObserver(const SplitContextObserver& observer) noexcept;

 private:
  bool takeUserOff() noexcept;
  void tellObservers() noexcept;

  std::mutex m_mutex;
  std::condition_variable m_handlersIdle;
  unsigned m_users = 0;
  unsigned m_handlers = 0;  // that create has to wait for

  std::mutex m_observerMutex;
  std::condition_variable m_observerIdle;
  std::map<std::uint64_t, SplitContextObserver*> m_observers;  // by order of registration
  std::uint64_t m_lastRegistration = 0;
  unsigned m_closings = 0;  // not yet told
  const SplitContextObserver* m_called = nullptr;
  std::thread::id m_caller;
};

// The process's own.
SplitContext& splitContext();

}  // namespace qmfi_runtime

#endif
