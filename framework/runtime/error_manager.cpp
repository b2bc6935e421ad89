// The queue of pushed messages and its handlers.
#include <cstddef>
#include <iterator>
#include <list>
#include <mutex>

#include "cfierrormanager.h"
#include "lock_if_possible.h"
#include "split_context.h"
#include "system/thread_cancellation.h"

namespace qmfi_pdk_4_4 {

namespace {

constexpr std::size_t mostKept = 64;

}  // namespace

struct [[gnu::visibility("hidden")]] CFiErrorManager::Implementation final : qmfi_runtime::SplitContextObserver {
  void splitContextClosed() noexcept override {
    handOut();
  }
  void handOut() noexcept;

  mutable std::mutex mutex;
  std::list<CFiMessageSPtr> kept;     // newest first
  std::list<CFiMessageSPtr> waiting;  // for the handlers, oldest first
  std::vector<std::unique_ptr<CFiErrorHandlerBase>> handlers;
  bool handingOut = false;

 private:
  bool takeNext(CFiMessageSPtr & message) noexcept;
  void giveToHandlers(const CFiMessageSPtr& message) const noexcept;
  CFiErrorHandlerBase* handlerAt(std::size_t index) const noexcept;
};

// Gives the waiting messages to the handlers, unless another call is doing so, which then takes care of all.
void CFiErrorManager::Implementation::handOut() noexcept {
  const qmfi_system::CancellationDisabled whole;
  {
    const auto lock = qmfi_runtime::lockIfPossible(mutex);
    if (handingOut) return;
    handingOut = true;
  }
  for (CFiMessageSPtr message; takeNext(message);) {
    giveToHandlers(message);
    qmfi_runtime::splitContext().leaveHandler();
  }
}

void CFiErrorManager::Implementation::giveToHandlers(const CFiMessageSPtr& message) const noexcept {
  for (std::size_t i = 0; CFiErrorHandlerBase* const handler = handlerAt(i); ++i) {
    // A message that a handler cannot pass on is kept for getLastError all the same.
    try {
      handler->handleMessage(message);
    } catch (...) {
      continue;
    }
  }
}

// The next message that may be handed out now, with the leave to call the handlers. Without one the handing out is
// over, under the same lock, so that a message which comes later finds it so.
bool CFiErrorManager::Implementation::takeNext(CFiMessageSPtr& message) noexcept {
  message.release();
  const auto lock = qmfi_runtime::lockIfPossible(mutex);
  handingOut = !waiting.empty() && qmfi_runtime::splitContext().enterHandler();
  if (handingOut) {
    message.swap(waiting.front());
    waiting.pop_front();
  }
  return handingOut;
}

// Null behind the last one.
CFiErrorHandlerBase* CFiErrorManager::Implementation::handlerAt(std::size_t index) const noexcept {
  const auto lock = qmfi_runtime::lockIfPossible(mutex);
  return index < handlers.size() ? handlers[index].get() : nullptr;
}

CFiErrorManager::CFiErrorManager() : m_implementation(std::make_unique<Implementation>()) {
  qmfi_runtime::splitContext().addObserver(*m_implementation);
}

CFiErrorManager::~CFiErrorManager() {
  qmfi_runtime::splitContext().removeObserver(*m_implementation);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): plug-ins import it under this signature.
int CFiErrorManager::pushError(CFiMessageSPtr message) {
  // Made ahead of the lock, so that it is in both queues or, when memory is short, in none.
  std::list<CFiMessageSPtr> forHandlers(1, message);
  std::list<CFiMessageSPtr> forKeeping(1, message);
  if (!forHandlers.front() || !forKeeping.front()) return 0;
  // What gives way is destroyed when the mutex is free again.
  std::list<CFiMessageSPtr> oldest;
  {
    const std::lock_guard<std::mutex> lock(m_implementation->mutex);
    std::list<CFiMessageSPtr>& kept = m_implementation->kept;
    m_implementation->waiting.splice(m_implementation->waiting.end(), forHandlers);
    kept.splice(kept.begin(), forKeeping);
    if (kept.size() > mostKept) oldest.splice(oldest.end(), kept, std::prev(kept.end()));
  }
  m_implementation->handOut();
  return 0;
}

int CFiErrorManager::registerHandler(CFiErrorHandlerBase* handler) {
  if (handler == nullptr) return 0;
  std::unique_ptr<CFiErrorHandlerBase> owned(handler);
  const std::lock_guard<std::mutex> lock(m_implementation->mutex);
  m_implementation->handlers.push_back(std::move(owned));
  return 0;
}

std::vector<CFiMessageSPtr> CFiErrorManager::messages() const {
  const std::lock_guard<std::mutex> lock(m_implementation->mutex);
  std::vector<CFiMessageSPtr> copies;
  copies.reserve(m_implementation->kept.size());
  for (const CFiMessageSPtr& message : m_implementation->kept) copies.push_back(countedCopy(message));
  return copies;
}

void CFiErrorManager::clear() {
  std::list<CFiMessageSPtr> forgotten;
  const std::lock_guard<std::mutex> lock(m_implementation->mutex);
  forgotten.swap(m_implementation->kept);
}

}  // namespace qmfi_pdk_4_4
