// The stand-in for the file system's kernel driver: answers the freeze requests of the filtered processes.
#include "driver/driver.h"

#include <seccomp.h>

#include <cerrno>
#include <system_error>
#include <thread>

namespace testbed {

using qmfi_system::Descriptor;

struct Driver::Request {
  int listener;
  std::uint64_t id;  // of the notification
  pid_t thread;
  RequestKind kind;
  std::int32_t descriptor;
  std::uint64_t argument;
  unsigned ordinal;  // among those of its kind, from 1
};

namespace {

RequestKind kindOf(std::uint64_t number) {
  switch (static_cast<std::uint32_t>(number)) {
    case requestFreeze:
      return RequestKind::freeze;
    case requestThaw:
      return RequestKind::thaw;
    default:
      return RequestKind::freezeAll;
  }
}

std::chrono::seconds checkedTimeout(std::int32_t seconds) {
  if (seconds < 1) throw RequestError{EINVAL};
  return std::chrono::seconds(seconds);
}

}  // namespace

Driver::Driver(dev_t pool, WatchdogLink& watchdog, std::vector<Fault> faults)
    : m_faults(std::move(faults)), m_registry(pool, watchdog) {}

Driver::~Driver() {
  stop();
}

void Driver::serve(int listener) {
  seccomp_notif* notification = nullptr;
  if (seccomp_notify_alloc(&notification, nullptr) != 0) return;
  if (seccomp_notify_receive(listener, notification) == 0) {
    const auto& data = notification->data;
    Request request{.listener = listener,
                    .id = notification->id,
                    .thread = static_cast<pid_t>(notification->pid),
                    .kind = kindOf(data.args[1]),
                    .descriptor = static_cast<std::int32_t>(data.args[0]),
                    .argument = data.args[2],
                    .ordinal = 0};
    request.ordinal = ++m_counts[static_cast<std::size_t>(request.kind)];
    begin(request);
  }
  seccomp_notify_free(notification, nullptr);
}

void Driver::begin(const Request& request) {
  {
    const std::lock_guard lock(m_mutex);
    ++m_underWay;
  }
  try {
    std::thread([this, request] { answer(request, perform(request)); }).detach();
  } catch (const std::system_error& error) {
    answer(request, error.code().value());
  }
}

void Driver::answer(const Request& request, int error) {
  seccomp_notif_resp* response = nullptr;
  if (seccomp_notify_alloc(nullptr, &response) == 0) {
    response->id = request.id;
    response->error = -error;
    seccomp_notify_respond(request.listener, response);
    seccomp_notify_free(nullptr, response);
  }
  const std::lock_guard lock(m_mutex);
  --m_underWay;
  m_changed.notify_all();
}

int Driver::perform(const Request& request) {
  try {
    if (const int error = inject(request); error != 0) return error;
    return act(request);
  } catch (const RequestError& error) {
    return error.number;
  }
}

int Driver::act(const Request& request) {
  const Caller caller(request.thread);
  std::vector<Descriptor> descriptors;
  descriptors.push_back(caller.takeDescriptor(request.descriptor));
  std::chrono::seconds timeout{0};
  if (request.kind == RequestKind::freeze) timeout = checkedTimeout(static_cast<std::int32_t>(request.argument));
  if (request.kind == RequestKind::freezeAll) {
    const auto record = caller.readRecord(request.argument);
    timeout = checkedTimeout(record.timeout);
    descriptors.clear();
    for (const auto number : caller.readDescriptors(record)) descriptors.push_back(caller.takeDescriptor(number));
  }
  // A caller that was killed meanwhile may have left its number to another process, whose descriptors these are then.
  if (seccomp_notify_id_valid(request.listener, request.id) != 0) return ESRCH;
  return request.kind == RequestKind::thaw ? m_registry.thaw(descriptors[0])
                                           : m_registry.freeze(std::move(descriptors), timeout);
}

// Waits and answers with an error as the command line asked for.
int Driver::inject(const Request& request) {
  int error = 0;
  std::unique_lock lock(m_mutex);
  for (const auto& fault : m_faults) {
    if (fault.request != request.kind || fault.ordinal != request.ordinal) continue;
    m_changed.wait_for(lock, fault.delay, [this] { return m_stopping; });
    if (fault.error != 0) error = fault.error;
  }
  return m_stopping ? ENODEV : error;
}

void Driver::stop() {
  {
    const std::lock_guard lock(m_mutex);
    m_stopping = true;
    m_changed.notify_all();
  }
  // First the thaw: a request under way may wait for a file system that is frozen.
  m_registry.thawEverything();
  std::unique_lock lock(m_mutex);
  m_changed.wait(lock, [this] { return m_underWay == 0; });
}

}  // namespace testbed
