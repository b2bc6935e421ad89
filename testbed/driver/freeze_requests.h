// The freeze requests of the qmfs kernel driver, as its callers issue them with ioctl.
#ifndef FREEZE_REQUESTS_H
#define FREEZE_REQUESTS_H

#include <cstddef>
#include <cstdint>

namespace testbed {

constexpr std::uint32_t requestFreeze = 0x514D4601;     // argument: the time-out in seconds, as a value
constexpr std::uint32_t requestThaw = 0x514D4602;       // argument: 0
constexpr std::uint32_t requestFreezeAll = 0x514D4603;  // argument: address of a FreezeAllRecord

// What a freeze-all request points to, in the caller's memory.
struct FreezeAllRecord {
  std::int32_t count;         // descriptors in the list, 1 to 65536
  std::int32_t timeout;       // seconds, 1 or more
  std::uint64_t descriptors;  // address of `count` 32-bit descriptors in the caller's memory
};
static_assert(sizeof(FreezeAllRecord) == 16);
static_assert(offsetof(FreezeAllRecord, timeout) == 4);
static_assert(offsetof(FreezeAllRecord, descriptors) == 8);

// The most descriptors that one freeze-all request may list.
constexpr std::int32_t maximumDescriptors = 65536;

// The three requests.
enum class RequestKind { freeze, thaw, freezeAll };
constexpr std::size_t requestKinds = 3;

}  // namespace testbed

#endif
