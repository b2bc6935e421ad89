// The order of all calls by which the plug-in freezes and thaws.
#include "freeze_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <utility>

namespace {

constexpr const char* pushErrorSymbol =
    "_ZN12qmfi_pdk_4_415CFiErrorManager9pushErrorENS_11CFiSmartPtrINS_10CFiMessageENS_16CFiNullAllocatorIS2_EEEE";

std::string lastPart(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

// The C library's own function behind one that this program takes over.
template <typename Function>
Function* original(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

std::string pathOfDescriptor(int descriptor) {
  std::array<char, 4096> path{};
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t length = readlink(link.c_str(), path.data(), path.size());
  return length >= 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : "descriptor is not open";
}

FreezeCalls& freezeCalls() {
  // Never destroyed: descriptors are closed until the very end of the program.
  static auto& calls = *new FreezeCalls;
  return calls;
}

void FreezeCalls::reset(void* library) {
  forget();
  const std::lock_guard lock(m_mutex);
  m_watched.clear();
  m_pushAction = nullptr;
  m_pushError = nullptr;
  if (library != nullptr) m_pushError = reinterpret_cast<int (*)(void*, void*)>(dlsym(library, pushErrorSymbol));
}

void FreezeCalls::watch(const std::string& path) {
  const std::lock_guard lock(m_mutex);
  m_watched.insert(path);
}

void FreezeCalls::doInPush(std::function<void()> action) {
  const std::lock_guard lock(m_mutex);
  m_pushAction = std::move(action);
}

void FreezeCalls::note(const std::string& call) {
  const std::lock_guard lock(m_mutex);
  m_calls.push_back(call);
}

std::vector<std::string> FreezeCalls::noted() const {
  const std::lock_guard lock(m_mutex);
  return m_calls;
}

void FreezeCalls::forget() {
  const std::lock_guard lock(m_mutex);
  m_calls.clear();
}

void FreezeCalls::opening(const char* path, int flags) {
  const std::lock_guard lock(m_mutex);
  if (m_watched.count(path) != 0) m_calls.push_back("open " + lastPart(path) + " flags " + std::to_string(flags));
}

void FreezeCalls::descriptorCall(const std::string& call, int descriptor) {
  const std::lock_guard lock(m_mutex);
  // Looked up only where somebody watches, since this program closes many.
  if (m_watched.empty()) return;
  const int callersError = errno;
  const std::string path = pathOfDescriptor(descriptor);
  if (m_watched.count(path) != 0) m_calls.push_back(call + " " + lastPart(path));
  errno = callersError;
}

int FreezeCalls::pushError(void* manager, void* message) {
  std::function<void()> action;
  {
    const std::lock_guard lock(m_mutex);
    m_calls.emplace_back("push");
    action = std::exchange(m_pushAction, nullptr);
  }
  if (action) action();
  // Its handlers may call back.
  return m_pushError(manager, message);
}

extern "C" {

int open64(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const auto mode = static_cast<mode_t>((flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, int) : 0);
  va_end(arguments);
  freezeCalls().opening(path, flags);
  static auto* const real = original<int(const char*, int, ...)>("open64");
  return real(path, flags, mode);
}

int fcntl(int descriptor, int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  const auto argument = va_arg(arguments, std::uintptr_t);
  va_end(arguments);
  if (command == F_SETFD) {
    freezeCalls().descriptorCall(argument == FD_CLOEXEC ? "mark close-on-exec" : "mark otherwise", descriptor);
  }
  return static_cast<int>(syscall(SYS_fcntl, descriptor, command, argument));
}

int close(int descriptor) {
  freezeCalls().descriptorCall("close", descriptor);
  static auto* const real = original<int(int)>("close");
  return real(descriptor);
}

// CFiErrorManager::pushError, whose argument is passed by its address. NOLINTNEXTLINE
int pushErrorOfThePlugin(void* manager, void* message) asm(
    "_ZN12qmfi_pdk_4_415CFiErrorManager9pushErrorENS_11CFiSmartPtrINS_10CFiMessageENS_16CFiNullAllocatorIS2_EEEE");

int pushErrorOfThePlugin(void* manager, void* message) {
  return freezeCalls().pushError(manager, message);
}
}
