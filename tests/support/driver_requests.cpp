// The program's own ioctl, which the dynamic linker finds before the C library's.
#include "support/driver_requests.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>

#include "support/foreign_framework.h"

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, request);
  const auto argument = va_arg(arguments, std::uintptr_t);
  va_end(arguments);
  // The kernel looks at the lower half only.
  const auto number = static_cast<std::uint32_t>(request);
  if (number == QM_FREEZE || number == QM_THAW || number == QM_FREEZE_ALL) {
    return answerDriverRequest(descriptor, number, argument);
  }
  return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}
