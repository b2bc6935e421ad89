// Keeping and reporting of signals.
#include "failure/deferred_signals.h"

#include <chrono>
#include <cstring>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr auto signalsThatEnd = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

}  // namespace

DeferredSignals::DeferredSignals() : m_blocked(all()) {}

const sigset_t& DeferredSignals::all() {
  static const sigset_t signals = qmfi_system::signalSet(signalsThatEnd);
  return signals;
}

std::optional<std::string> DeferredSignals::pending() const {
  sigset_t come;
  sigpending(&come);
  for (const int signal : signalsThatEnd) {
    if (sigismember(&come, signal) == 1) return std::string("SIG") + sigabbrev_np(signal);
  }
  return std::nullopt;
}

void DeferredSignals::throwIfPending() const {
  if (const auto signal = pending()) {
    throw HostError(Failure::interrupted, translate("interrupted by {0}", *signal)).because(*signal);
  }
}

DeferredSignals::LateDelivery::~LateDelivery() {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isOver = true;
  }
  m_ended.notify_one();
  m_thread.join();
}

void DeferredSignals::LateDelivery::run() {
  constexpr std::chrono::seconds untilDelivery(1);
  std::unique_lock<std::mutex> lock(m_mutex);
  const auto isOver = [this] { return m_isOver; };
  if (m_ended.wait_for(lock, untilDelivery, isOver)) return;
  deliver(true);
  m_ended.wait(lock, isOver);
}

void DeferredSignals::deliver(bool now) {
  pthread_sigmask(now ? SIG_UNBLOCK : SIG_BLOCK, &all(), nullptr);
}

}  // namespace qmfi_host
