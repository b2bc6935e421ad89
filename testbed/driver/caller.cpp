// The process that issued a freeze request, as the driver reaches into it.
#include "driver/caller.h"

#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <sstream>
#include <string>

#include "system/small_file.h"

namespace testbed {

using qmfi_system::Descriptor;

namespace {

// A descriptor can only be taken from a process by its first thread's number.
pid_t processOf(pid_t thread) {
  std::istringstream status(qmfi_system::readSmallFile("/proc/" + std::to_string(thread) + "/status").value_or(""));
  const std::string key = "Tgid:";
  for (std::string word; status >> word;) {
    pid_t process;
    if (word == key && status >> process) return process;
  }
  throw RequestError{ESRCH};
}

}  // namespace

Caller::Caller(pid_t thread)
    : m_thread(thread), m_process(static_cast<int>(syscall(SYS_pidfd_open, processOf(thread), 0))) {
  if (!m_process.valid()) throw RequestError{ESRCH};
}

void Caller::read(std::uint64_t address, void* target, std::size_t length) const {
  const iovec local{target, length};
  const iovec remote{std::bit_cast<void*>(address), length};
  if (process_vm_readv(m_thread, &local, 1, &remote, 1, 0) != static_cast<ssize_t>(length)) throw RequestError{EFAULT};
}

FreezeAllRecord Caller::readRecord(std::uint64_t address) const {
  FreezeAllRecord record{};
  read(address, &record, sizeof record);
  return record;
}

std::vector<std::int32_t> Caller::readDescriptors(const FreezeAllRecord& record) const {
  if (record.count < 1 || record.count > maximumDescriptors) throw RequestError{EINVAL};
  std::vector<std::int32_t> descriptors(static_cast<std::size_t>(record.count));
  read(record.descriptors, descriptors.data(), descriptors.size() * sizeof descriptors[0]);
  return descriptors;
}

Descriptor Caller::takeDescriptor(std::int32_t number) const {
  Descriptor taken(static_cast<int>(syscall(SYS_pidfd_getfd, m_process.get(), number, 0)));
  if (!taken.valid()) throw RequestError{EBADF};
  return taken;
}

}  // namespace testbed
