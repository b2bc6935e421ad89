// The kernel driver's freeze requests, taken over from ioctl. A program that has this source in it answers them itself;
// every other request goes to the kernel. The program exports its symbols where a library is to come here.
#ifndef SUPPORT_DRIVER_REQUESTS_H
#define SUPPORT_DRIVER_REQUESTS_H

#include <cstdint>

// Answers a request as ioctl does, with a result and errno. The program defines it.
int answerDriverRequest(int descriptor, std::uint32_t request, std::uintptr_t argument);

#endif
