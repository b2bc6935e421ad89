// The process that issued a freeze request, as the driver reaches into it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

#include "common/descriptor.h"
#include "driver/freeze_requests.h"

namespace testbed {

// The error number that a request fails with.
struct RequestError {
  int number;
};

// One thread of a calling process. All operations throw RequestError.
class Caller {
 public:
  explicit Caller(pid_t thread);

  // The record at `address` of the caller's memory and the descriptors that it lists; EFAULT where there is no memory,
  // EINVAL for a count out of range.
  FreezeAllRecord readRecord(std::uint64_t address) const;
  std::vector<std::int32_t> readDescriptors(const FreezeAllRecord& record) const;

  // A copy of the caller's descriptor; EBADF when it has none of that number.
  Descriptor takeDescriptor(std::int32_t number) const;

 private:
  void read(std::uint64_t address, void* target, std::size_t length) const;

  pid_t m_thread;
  Descriptor m_process;
};

}  // namespace testbed
