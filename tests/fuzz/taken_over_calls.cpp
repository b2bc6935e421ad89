// The calls of the provider that a fuzz target takes over: those that would reach the machine, and the writing of the
// trace log, which would make it slow.
#include <mntent.h>
#include <spawn.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "cfiexecpipe.h"
#include "cfitracelog.h"
#include "stand_in_machine.h"

// The linker's names for calls and for what they called.
extern "C" {

int __real_open64(const char* path, int flags, ...);
int __real_close(int descriptor);
int __real_fcntl(int descriptor, int command, ...);
int __real_ioctl(int descriptor, unsigned long request, ...);
int __real_stat(const char* path, struct stat* status);
int __real_rmdir(const char* path);
unsigned __real_sleep(unsigned seconds);
std::FILE* __real_setmntent(const char* path, const char* mode);

int __wrap_open64(const char* path, int flags, ...) {
  if (standInMachine != nullptr) return standInMachine->openMountPoint();
  std::va_list arguments;
  va_start(arguments, flags);
  const auto mode = va_arg(arguments, unsigned);
  va_end(arguments);
  return __real_open64(path, flags, mode);
}

int __wrap_close(int descriptor) {
  if (standInMachine == nullptr || descriptor < 0) return __real_close(descriptor);
  return standInMachine->close(descriptor);
}

int __wrap_fcntl(int descriptor, int command, ...) {
  if (StandInMachine::owns(descriptor)) return 0;
  std::va_list arguments;
  va_start(arguments, command);
  const auto argument = va_arg(arguments, std::uintptr_t);
  va_end(arguments);
  return __real_fcntl(descriptor, command, argument);
}

int __wrap_ioctl(int descriptor, unsigned long request, ...) {
  std::va_list arguments;
  va_start(arguments, request);
  const auto argument = va_arg(arguments, std::uintptr_t);
  va_end(arguments);
  if (standInMachine == nullptr) return __real_ioctl(descriptor, request, argument);
  return standInMachine->driver(descriptor, static_cast<std::uint32_t>(request), argument);
}

int __wrap_stat(const char* path, struct stat* status) {
  if (standInMachine == nullptr) return __real_stat(path, status);
  std::memset(status, 0, sizeof *status);
  if (standInMachine->exists()) return 0;
  errno = ENOENT;
  return -1;
}

int __wrap_rmdir(const char* path) {
  return standInMachine == nullptr ? __real_rmdir(path) : 0;
}

unsigned __wrap_sleep(unsigned seconds) {
  return standInMachine == nullptr ? __real_sleep(seconds) : 0;
}

std::FILE* __wrap_setmntent(const char* path, const char* mode) {
  return standInMachine == nullptr ? __real_setmntent(path, mode) : standInMachine->openMountTable();
}

// The framework's library would come here if it started a program after all.
int posix_spawn(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*, char* const*,
                char* const*) {
  require(false, "no program is started");
  return EPERM;
}
}

namespace qmfi_pdk_4_4 {

int CFiExecPipeBase::Exec(const std::string& command, std::vector<std::string>& output, const std::string&,
                          int timeoutSeconds, const std::string&, const std::string&, const std::string&) {
  require(timeoutSeconds > 0, "a command has a time-out");
  const StandInMachine::ProgramResult result = standInMachine->run(command);
  output.insert(output.end(), result.lines.begin(), result.lines.end());
  const std::string text = result.lines.empty() ? "" : result.lines.front();
  m_lastError = EFiExecPipe(text, result.code, result.exitStatus);
  return result.code;
}

// Records are formatted, so that their arguments are looked at, and dropped.
void CFiTraceLog::trace(int, const char* format, ...) {
  char text[256];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
}

}  // namespace qmfi_pdk_4_4
