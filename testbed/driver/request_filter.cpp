// The filter that hands freeze requests of the filtered processes to the driver.
#include "driver/request_filter.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "driver/freeze_requests.h"
#include "system/checked.h"

namespace testbed {

using qmfi_system::checked;
using qmfi_system::Descriptor;

namespace {

void require(int result, const char* what) {
  if (result >= 0) return;
  errno = -result;
  checked(-1, what);
}

std::vector<sock_filter> filterProgram() {
  const std::unique_ptr<void, void (*)(void*)> filter(seccomp_init(SCMP_ACT_ALLOW), seccomp_release);
  if (!filter) require(-ENOMEM, "making the request filter");
  // Programs of another architecture run unfiltered rather than not at all.
  require(seccomp_attr_set(filter.get(), SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_ALLOW), "request filter architecture");
  for (const auto request : {requestFreeze, requestThaw, requestFreezeAll}) {
    // Only the low half of a request number counts.
    const scmp_arg_cmp isRequest = SCMP_A1(SCMP_CMP_MASKED_EQ, 0xffffffffULL, request);
    require(seccomp_rule_add(filter.get(), SCMP_ACT_NOTIFY, SCMP_SYS(ioctl), 1, isRequest), "request filter rule");
  }
  const Descriptor file(checked(memfd_create("request-filter", MFD_CLOEXEC), "memfd_create"));
  require(seccomp_export_bpf(filter.get(), file.get()), "writing the request filter");
  const auto length = checked(lseek(file.get(), 0, SEEK_END), "seek in the request filter");
  std::vector<sock_filter> program(static_cast<std::size_t>(length) / sizeof(sock_filter));
  checked(pread(file.get(), program.data(), static_cast<std::size_t>(length), 0), "reading the request filter");
  return program;
}

}  // namespace

Descriptor installRequestFilter() {
  auto program = filterProgram();
  const sock_fprog loaded{static_cast<unsigned short>(program.size()), program.data()};
  // libseccomp's own loading would forbid set-user-id programs, and cannot ask for the second flag: a signal must not
  // interrupt a request that the driver is acting on, because the call would be issued again.
  constexpr unsigned flags = SECCOMP_FILTER_FLAG_NEW_LISTENER | SECCOMP_FILTER_FLAG_WAIT_KILLABLE_RECV;
  return Descriptor(static_cast<int>(
      checked(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &loaded), "installing the request filter")));
}

}  // namespace testbed
