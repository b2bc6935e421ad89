// The table of calls and their errors.
#include "support/supervision/call_errors.h"

#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace faults {

namespace {

struct CallErrors {
  long number;
  const char* name;
  std::vector<int> errors;
};

#define CALL(name, ...)  \
  CallErrors {           \
    SYS_##name, #name, { \
      __VA_ARGS__        \
    }                    \
  }

// Not among them: getpid, umask, exit_group and the like, which cannot fail; brk, which tells by the address; futex,
// prctl and arch_prctl, whose failures the C library takes for its own defects; wait4, whose errors come only to
// callers that have asked for them by their handling of signals; rt_sigaction and rt_sigprocmask, which fail for wrong
// arguments only. Those of them that are named have no errors here.
// NOLINTNEXTLINE(readability-function-size): it is one list.
const std::vector<CallErrors>& table() {
  static const std::vector<CallErrors> calls = {
      CALL(access, EACCES, EIO, ENOENT, ENOMEM, EROFS),
      CALL(chdir, EACCES, EIO, ENOENT, ENOMEM, ENOTDIR),
      CALL(chmod, EIO, ENOENT, ENOMEM, EPERM, EROFS),
      CALL(chown, EIO, ENOENT, ENOMEM, EPERM, EROFS),
      CALL(clone, EAGAIN, ENOMEM, ENOSPC),
      CALL(clone3, EAGAIN, ENOMEM, ENOSPC),
      CALL(close, EDQUOT, EINTR, EIO, ENOSPC),
      CALL(close_range, EMFILE, ENOMEM),
      CALL(dup, EBADF, EMFILE),
      CALL(dup2, EBADF, EBUSY, EINTR, EMFILE),
      CALL(dup3, EBADF, EBUSY, EINTR, EMFILE),
      CALL(execve, E2BIG, EACCES, EAGAIN, EIO, EMFILE, ENFILE, ENOENT, ENOEXEC, ENOMEM, ETXTBSY),
      CALL(faccessat, EACCES, EIO, ENOENT, ENOMEM, EROFS),
      CALL(faccessat2, EACCES, EIO, ENOENT, ENOMEM, ENOSYS, EROFS),
      CALL(fadvise64, EBADF, EINVAL, ESPIPE),
      CALL(fchmod, EIO, EPERM, EROFS),
      CALL(fchown, EIO, EPERM, EROFS),
      CALL(fcntl, EACCES, EAGAIN, EBADF, EDEADLK, EINTR, EMFILE, ENOLCK),
      CALL(fdatasync, EDQUOT, EINTR, EIO, ENOSPC, EROFS),
      CALL(flock, EBADF, EINTR, ENOLCK),
      CALL(fstat, EBADF, ENOMEM),
      CALL(fstatfs, EINTR, EIO, ENOMEM, ENOSYS),
      CALL(fsync, EDQUOT, EINTR, EIO, ENOSPC, EROFS),
      CALL(ftruncate, EFBIG, EINTR, EIO, EPERM, EROFS),
      CALL(getdents64, EBADF, ENOENT, ENOTDIR),
      CALL(getrandom, EAGAIN, EINTR, ENOSYS),
      CALL(ioctl, EBADF, EBUSY, EINTR, EINVAL, EIO, ENOMEM, ENOSPC, ENOTTY, EOPNOTSUPP, EPERM),
      CALL(link, EDQUOT, EEXIST, EIO, ENOMEM, ENOSPC, EROFS),
      CALL(lseek, EBADF, EINVAL, ESPIPE),
      CALL(lstat, EACCES, ENOENT, ENOMEM),
      CALL(memfd_create, EMFILE, ENFILE, ENOMEM),
      CALL(mkdir, EDQUOT, EIO, EMLINK, ENOMEM, ENOSPC, EROFS),
      CALL(mkdirat, EDQUOT, EIO, EMLINK, ENOMEM, ENOSPC, EROFS),
      CALL(mknodat, EDQUOT, EIO, ENOMEM, ENOSPC, EPERM, EROFS),
      CALL(mlock, EAGAIN, ENOMEM, EPERM),
      CALL(mlockall, EAGAIN, ENOMEM, EPERM),
      CALL(mmap, EACCES, EAGAIN, ENFILE, ENODEV, ENOMEM),
      CALL(mount, EACCES, EBUSY, EINVAL, EIO, ENODEV, ENOMEM, EPERM, EROFS),
      CALL(mprotect, EACCES, ENOMEM),
      CALL(mremap, EAGAIN, ENOMEM),
      CALL(munlockall, ENOMEM, EPERM),
      CALL(munmap, EINVAL, ENOMEM),
      CALL(newfstatat, EACCES, EBADF, ELOOP, ENOENT, ENOMEM),
      CALL(openat, EACCES, EDQUOT, EINTR, EIO, EMFILE, ENFILE, ENOENT, ENOMEM, ENOSPC, EROFS),
      CALL(pidfd_open, EMFILE, ENFILE, ENODEV, ENOMEM),
      CALL(pipe, EMFILE, ENFILE),
      CALL(pipe2, EMFILE, ENFILE),
      CALL(poll, EINTR, ENOMEM),
      CALL(ppoll, EINTR, ENOMEM),
      CALL(pread64, EINTR, EIO),
      CALL(prlimit64, EPERM, ESRCH),
      CALL(pwrite64, EDQUOT, EFBIG, EINTR, EIO, ENOSPC, EPERM),
      CALL(read, EAGAIN, EINTR, EIO),
      CALL(readlink, EACCES, EIO, ENOENT, ENOMEM),
      CALL(readlinkat, EACCES, EIO, ENOENT, ENOMEM),
      CALL(rename, EBUSY, EDQUOT, EIO, ENOMEM, ENOSPC, EROFS),
      CALL(renameat2, EBUSY, EDQUOT, EIO, ENOMEM, ENOSPC, EROFS),
      CALL(rmdir, EBUSY, EIO, ENOMEM, EPERM, EROFS),
      CALL(rt_sigprocmask),
      CALL(select, EINTR, ENOMEM),
      CALL(setgid, EPERM),
      CALL(setpgid, EACCES, EPERM, ESRCH),
      CALL(setuid, EAGAIN, EPERM),
      CALL(stat, EACCES, ENOENT, ENOMEM),
      CALL(statfs, EACCES, EINTR, EIO, ENOENT, ENOMEM, ENOSYS),
      CALL(statx, EACCES, ENOENT, ENOMEM),
      CALL(symlink, EDQUOT, EEXIST, EIO, ENOMEM, ENOSPC, EROFS),
      CALL(sync_file_range, EIO, ENOMEM, ENOSPC),
      CALL(syncfs, EDQUOT, EIO, ENOSPC),
      CALL(sysinfo, EFAULT),
      CALL(umount2, EAGAIN, EBUSY, EINVAL, ENOMEM, EPERM),
      CALL(uname, EFAULT),
      CALL(unlink, EBUSY, EIO, ENOMEM, EPERM, EROFS),
      CALL(unlinkat, EBUSY, EIO, ENOMEM, EPERM, EROFS),
      CALL(waitid, ECHILD, EINTR),
      CALL(write, EAGAIN, EDQUOT, EFBIG, EINTR, EIO, ENOSPC, EPERM),
      CALL(writev, EAGAIN, EDQUOT, EFBIG, EINTR, EIO, ENOSPC, EPERM),
  };
  return calls;
}

#undef CALL

const CallErrors* find(long number) {
  const auto& calls = table();
  const auto found =
      std::find_if(calls.begin(), calls.end(), [&](const CallErrors& call) { return call.number == number; });
  return found != calls.end() ? &*found : nullptr;
}

}  // namespace

std::span<const int> errorsOf(long number) {
  const CallErrors* const call = find(number);
  return call != nullptr ? std::span<const int>(call->errors) : std::span<const int>();
}

std::string callName(long number) {
  const CallErrors* const call = find(number);
  return call != nullptr ? call->name : "call " + std::to_string(number);
}

}  // namespace faults
