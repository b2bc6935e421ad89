// The watchdog: a second process that holds every frozen file system, so that the supervisor's death cannot leave one
// frozen.
#include "driver/watchdog.h"

#include <linux/fs.h>
#include <sys/ioctl.h>

#include "common/local_socket.h"
#include "common/loop_device.h"

namespace testbed {

using qmfi_system::Descriptor;

void WatchdogLink::call(const WatchdogMessage& message, int descriptor) {
  const std::lock_guard lock(m_mutex);
  char answer;
  if (!m_socket.valid()) return;
  if (!sendMessage(m_socket.get(), &message, sizeof message, descriptor) ||
      !receiveMessage(m_socket.get(), &answer, sizeof answer)) {
    m_socket.reset();
  }
}

bool Watchdog::serve() {
  WatchdogMessage message{};
  Descriptor passed;
  if (!receiveMessage(m_socket.get(), &message, sizeof message, &passed)) {
    thawAll();
    m_socket.reset();
    return false;
  }
  if (message.kind == WatchdogMessage::hold && passed.valid()) {
    m_held.insert_or_assign(message.device, std::move(passed));
  }
  if (message.kind == WatchdogMessage::release) m_held.erase(message.device);
  if (message.kind == WatchdogMessage::pool) m_pool = message.device;
  const char answer = 0;
  sendMessage(m_socket.get(), &answer, sizeof answer);
  return true;
}

void Watchdog::thawAll() {
  for (const auto& [device, descriptor] : m_held) ioctl(descriptor.get(), FITHAW, 0);
  m_held.clear();
}

void Watchdog::detachLeftovers() const {
  if (m_pool != 0) detachLoopDevicesOf(m_pool);
}

}  // namespace testbed
