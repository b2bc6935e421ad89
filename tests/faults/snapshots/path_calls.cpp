// Reading of paths out of a supervised process.
#include "path_calls.h"

#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <utility>

#include "support/supervision/call_errors.h"

namespace faults {

namespace {

constexpr int noArgument = -1;

struct CallWithPath {
  long number;
  int argument;
};

constexpr std::array callsWithPaths = {
    CallWithPath{SYS_access, 0},
    CallWithPath{SYS_chdir, 0},
    CallWithPath{SYS_chmod, 0},
    CallWithPath{SYS_chown, 0},
    CallWithPath{SYS_execve, 0},
    CallWithPath{SYS_faccessat, 1},
    CallWithPath{SYS_faccessat2, 1},
    CallWithPath{SYS_fchmodat, 1},
    CallWithPath{SYS_fchownat, 1},
    CallWithPath{SYS_getxattr, 0},
    CallWithPath{SYS_ioctl, noArgument},
    CallWithPath{SYS_lgetxattr, 0},
    CallWithPath{SYS_link, 0},
    CallWithPath{SYS_linkat, 1},
    CallWithPath{SYS_lstat, 0},
    CallWithPath{SYS_mkdir, 0},
    CallWithPath{SYS_mkdirat, 1},
    CallWithPath{SYS_mknod, 0},
    CallWithPath{SYS_mknodat, 1},
    CallWithPath{SYS_mount, 1},
    CallWithPath{SYS_move_mount, 3},
    CallWithPath{SYS_mount_setattr, 1},
    CallWithPath{SYS_name_to_handle_at, 1},
    CallWithPath{SYS_newfstatat, 1},
    CallWithPath{SYS_open, 0},
    CallWithPath{SYS_open_tree, 1},
    CallWithPath{SYS_openat, 1},
    CallWithPath{SYS_openat2, 1},
    CallWithPath{SYS_quotactl, 1},
    CallWithPath{SYS_readlink, 0},
    CallWithPath{SYS_readlinkat, 1},
    CallWithPath{SYS_rename, 0},
    CallWithPath{SYS_renameat, 1},
    CallWithPath{SYS_renameat2, 1},
    CallWithPath{SYS_rmdir, 0},
    CallWithPath{SYS_stat, 0},
    CallWithPath{SYS_statfs, 0},
    CallWithPath{SYS_statx, 1},
    CallWithPath{SYS_symlink, 0},
    CallWithPath{SYS_symlinkat, 2},
    CallWithPath{SYS_syncfs, noArgument},
    CallWithPath{SYS_umount2, 0},
    CallWithPath{SYS_unlink, 0},
    CallWithPath{SYS_unlinkat, 1},
};

// A path may end just before memory that cannot be read.
std::string textAt(pid_t process, std::uint64_t address) {
  constexpr std::uint64_t page = 4096;
  std::string text;
  while (text.size() < PATH_MAX) {
    std::array<char, page> piece{};
    const std::size_t size = page - (address + text.size()) % page;
    const iovec local{piece.data(), size};
    const iovec remote{reinterpret_cast<void*>(address + text.size()), size};  // an address over there
    const ssize_t count = process_vm_readv(process, &local, 1, &remote, 1, 0);
    if (count <= 0) return text;
    const char* const end = std::find(piece.data(), piece.data() + count, '\0');
    text.append(static_cast<const char*>(piece.data()), end);
    if (end != piece.data() + count) return text;
  }
  return text;
}

// Nobody else has a say in these directories, and every program begins with them.
bool isLoaders(const std::string& path) {
  constexpr std::array directories = {"/lib/", "/lib64/", "/usr/lib/x86_64-linux-gnu/", "/etc/ld.so",
                                      "/usr/lib/locale/"};
  return std::any_of(directories.begin(), directories.end(),
                     [&](const char* directory) { return path.starts_with(directory); });
}

}  // namespace

std::string PathCall::text() const {
  return callName(number) + " \"" + path + "\", call " + std::to_string(place) + " of process " +
         std::to_string(process) + " (" + program + ")";
}

std::optional<std::string> pathOf(const SystemCall& call) {
  const auto* const found = std::find_if(callsWithPaths.begin(), callsWithPaths.end(),
                                         [&](const CallWithPath& one) { return one.number == call.number; });
  if (found == callsWithPaths.end()) return std::nullopt;
  if (found->argument == noArgument) return std::string();
  return textAt(call.pid, call.arguments.at(static_cast<std::size_t>(found->argument)));
}

Decision PathCallRecorder::before(const SystemCall& call) {
  const std::optional<std::string> path = pathOf(call);
  if (path && !isLoaders(*path)) m_calls.push_back({call.process, call.place, call.number, call.program, *path});
  return {};
}

Decision ActFromCall::before(const SystemCall& call) {
  if (m_since == 0 && !isReached(call)) return {};
  if (m_since > 0 && !pathOf(call)) return {};
  return m_action(m_since++) ? Decision{Decision::Kind::lookAway} : Decision{};
}

bool ActFromCall::isReached(const SystemCall& call) const {
  return call.process == m_call.process && call.place >= m_call.place && call.number == m_call.number;
}

}  // namespace faults
