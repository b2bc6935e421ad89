// Static objects that end with the process that made them, and not with a child that was forked from it.
#ifndef CFIPROCESSOWNED_H
#define CFIPROCESSOWNED_H

#include <cxxabi.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <new>

// What stands for the library or program that this is compiled into, each of which has its own.
extern "C" [[gnu::visibility("hidden")]] void* __dso_handle;

namespace qmfi_pdk_4_4 {

// Holds a static object of type T, which is destroyed when the process that made it exits or unloads its library. A
// forked child leaves its copy as it is when it exits: the locks that other threads held when it was forked are never
// given back there, and what the object stands for, as files or frozen file systems, is still the parent's. The child's
// memory goes with the child.
//
// Only for objects of static storage duration. It asks for its end itself, since a static object that the language has
// destroyed is silently kept for ever when memory is too short to note its end down.
template <typename T>
class [[gnu::visibility("hidden")]] CFiProcessOwned {
 public:
  // Makes the object. Throws what T's constructor throws, and std::bad_alloc when its end cannot be noted down; it is
  // destroyed then.
  CFiProcessOwned() : CFiProcessOwned(std::nothrow) {
    if (m_isNotedDown) return;
    get().~T();
    throw std::bad_alloc();
  }

  // For objects that are made while their library is loaded, when nobody could be told: one whose end cannot be noted
  // down is never destroyed. Throws what T's constructor throws.
  explicit CFiProcessOwned(std::nothrow_t) : m_process(::getpid()) {
    new (m_storage) T();
    m_isNotedDown = abi::__cxa_atexit(end, this, &__dso_handle) == 0;
  }

  CFiProcessOwned(const CFiProcessOwned&) = delete;
  CFiProcessOwned& operator=(const CFiProcessOwned&) = delete;

  // The object, in a forked child its copy. Thread rules are T's own.
  T& get() {
    return *std::launder(reinterpret_cast<T*>(m_storage));
  }

 private:
  static void end(void* object) {
    auto& owned = *static_cast<CFiProcessOwned*>(object);
    if (::getpid() == owned.m_process) owned.get().~T();
  }

  // Bytes, which the language does not destroy.
  alignas(T) std::byte m_storage[sizeof(T)];
  const pid_t m_process;
  bool m_isNotedDown = false;
};

}  // namespace qmfi_pdk_4_4

#endif
