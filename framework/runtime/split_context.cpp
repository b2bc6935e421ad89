// Opening and closing of the split context.
#include "split_context.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "cfiprocessowned.h"
#include "kfi.h"
#include "lock_if_possible.h"
#include "trace_output.h"

namespace qmfi_runtime {

namespace {

// For handlers that other threads run. One of them may itself wait for what the thread holds that opens the context;
// nothing is frozen yet, but neither may the host stand still for ever.
constexpr std::chrono::seconds patience(2);

// Made when the library is loaded, so it outlives the static objects of every plug-in. In a forked child there may be
// threads waiting at it that do not exist there.
qmfi_pdk_4_4::CFiProcessOwned<SplitContext> theSplitContext(std::nothrow);

// Handlers that the calling thread is within; more than one when a handler pushes to another manager. In the space that
// every thread has from its start, as it must not be lacking when memory is short.
[[gnu::tls_model("initial-exec")]] thread_local unsigned ownHandlers = 0;

}  // namespace

SplitContext& splitContext() {
  return theSplitContext.get();
}

int SplitContext::create() noexcept {
  auto lock = lockIfPossible(m_mutex);
  const int error = m_users++ == 0 ? traceOutput().beginHolding() : 0;
  if (!lock.owns_lock()) return ENOLCK;
  // A handler that opens the context waits neither for itself nor, with nobody to end it, for another one that does so.
  m_handlers -= ownHandlers;
  m_handlersIdle.notify_all();
  m_handlersIdle.wait_for(lock, patience, [this] { return m_handlers == 0; });
  m_handlers += ownHandlers;
  return error;
}

bool SplitContext::enterHandler() noexcept {
  const auto lock = lockIfPossible(m_mutex);
  if (m_users != 0) return false;
  ++m_handlers;
  ++ownHandlers;
  return true;
}

void SplitContext::leaveHandler() noexcept {
  const auto lock = lockIfPossible(m_mutex);
  --ownHandlers;
  if (--m_handlers == 0) m_handlersIdle.notify_all();
}

void SplitContext::close() noexcept {
  if (takeUserOff()) tellObservers();
}

// Whether that was the last user.
bool SplitContext::takeUserOff() noexcept {
  const auto lock = lockIfPossible(m_mutex);
  if (m_users == 0 || --m_users != 0) return false;
  traceOutput().endHolding();
  return true;
}

void SplitContext::addObserver(SplitContextObserver& observer) {
  const std::lock_guard<std::mutex> lock(m_observerMutex);
  m_observers.emplace(++m_lastRegistration, &observer);
}

void SplitContext::removeObserver(const SplitContextObserver& observer) noexcept {
  auto lock = lockIfPossible(m_observerMutex);
  std::erase_if(m_observers, [&](const auto& entry) { return entry.second == &observer; });
  // Nobody can be waited for without the mutex.
  if (!lock.owns_lock()) return;
  m_observerIdle.wait(lock, [&] { return m_called != &observer || m_caller == std::this_thread::get_id(); });
}

void SplitContext::tellObservers() noexcept {
  auto lock = lockIfPossible(m_observerMutex);
  // A thread that is telling them already, which may be this one, goes on to tell them of this closing too.
  if (m_closings++ != 0) return;
  m_caller = std::this_thread::get_id();
  for (unsigned told = 0; told != m_closings;) {
    told = m_closings;
    for (auto entry = m_observers.begin(); entry != m_observers.end();) {
      const std::uint64_t registration = entry->first;
      SplitContextObserver* const observer = entry->second;
      m_called = observer;
      if (lock.owns_lock()) lock.unlock();
      observer->splitContextClosed();
      lock = lockIfPossible(m_observerMutex);
      m_called = nullptr;
      m_observerIdle.notify_all();
      entry = m_observers.upper_bound(registration);
    }
  }
  m_closings = 0;
}

}  // namespace qmfi_runtime

int qmfi_create_context(void) {
  return qmfi_runtime::splitContext().create();
}

void qmfi_close_context(void) {
  qmfi_runtime::splitContext().close();
}
