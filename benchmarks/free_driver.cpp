// A kernel driver whose answers cost nothing: the program's own ioctl takes the freeze requests and agrees.
#include "free_driver.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>

#include "qmfs_ioctl.h"

namespace {

long requests = 0;

}  // namespace

namespace bench {

long freezeRequests() {
  return requests;
}

}  // namespace bench

// The dynamic linker finds this one before the C library's.
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
  const auto number = static_cast<std::uint32_t>(request);
  if (number == QM_FREEZE || number == QM_THAW || number == QM_FREEZE_ALL) {
    ++requests;
    return 0;
  }
  std::va_list arguments;
  va_start(arguments, request);
  const auto argument = va_arg(arguments, std::uintptr_t);
  va_end(arguments);
  return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}
