// The process that issued a freeze request, as the driver reaches into it.
#ifndef CALLER_H
#define CALLER_H

#include <sys/types.h>

#include <cstdint>
#include <vector>

#include "driver/freeze_requests.h"
#include "system/descriptor.h"

namespace testbed {

// Thrown: the error number that a request fails with.
struct RequestError {
  int number;
};

// One thread of a calling process. All operations throw RequestError.
class Caller {
 public:
  // thread: of the process that waits for the driver's answer. ESRCH when it has gone.
  explicit Caller(pid_t thread);

  // Both read the caller's memory: the record at `address`, and the descriptors that it lists; EFAULT where there is
  // none, EINVAL for a count out of range.
  FreezeAllRecord readRecord(std::uint64_t address) const;
  std::vector<std::int32_t> readDescriptors(const FreezeAllRecord& record) const;

  // A copy of the caller's descriptor; EBADF when it has none of that number.
  qmfi_system::Descriptor takeDescriptor(std::int32_t number) const;

 private:
  void read(std::uint64_t address, void* target, std::size_t length) const;

  pid_t m_thread;
  qmfi_system::Descriptor m_process;
};

}  // namespace testbed

#endif
