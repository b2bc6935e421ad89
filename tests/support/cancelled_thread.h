// Threads that are cancelled before a call or in the middle of it.
#ifndef SUPPORT_CANCELLED_THREAD_H
#define SUPPORT_CANCELLED_THREAD_H

#include <pthread.h>
#include <unistd.h>

#include <cstddef>
#include <functional>
#include <stdexcept>

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
#include <sanitizer/asan_interface.h>
#endif

// AddressSanitizer does not see frames go that are unwound by force, and would take what comes to stand there for an
// error. Tells it that the whole stack of this thread may be used.
inline void forgetFrames() {
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
  pthread_attr_t attributes;
  void* lowest = nullptr;
  std::size_t size = 0;
  ::pthread_getattr_np(::pthread_self(), &attributes);
  ::pthread_attr_getstack(&attributes, &lowest, &size);
  ::pthread_attr_destroy(&attributes);
  __asan_unpoison_memory_region(lowest, size);
#endif
}

// A place where a thread waits for ever and can be cancelled.
class EndlessWait {
 public:
  EndlessWait() {
    if (::pipe(m_entered) != 0 || ::pipe(m_endless) != 0) throw std::runtime_error("no pipe");
  }
  EndlessWait(const EndlessWait&) = delete;
  EndlessWait& operator=(const EndlessWait&) = delete;
  ~EndlessWait() {
    for (const int fd : {m_entered[0], m_entered[1], m_endless[0], m_endless[1]}) ::close(fd);
  }

  void enter() const {
    // The first to be destroyed when the thread is unwound.
    const struct AtUnwinding {
      ~AtUnwinding() { forgetFrames(); }
    } atUnwinding;
    char byte = 0;
    if (::write(m_entered[1], &byte, 1) == 1) static_cast<void>(::read(m_endless[0], &byte, 1));
  }

  void waitUntilEntered() const {
    char byte = 0;
    static_cast<void>(::read(m_entered[0], &byte, 1));
  }

 private:
  int m_entered[2] = {-1, -1};
  int m_endless[2] = {-1, -1};
};

// Makes the call on a thread of its own, which must enter the wait, and cancels it there. Whether that ended the
// thread.
inline bool endsWhenCancelled(const EndlessWait& wait, const std::function<void()>& call) {
  const auto start = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  pthread_t thread{};
  if (::pthread_create(&thread, nullptr, start, const_cast<std::function<void()>*>(&call)) != 0) return false;
  wait.waitUntilEntered();
  ::pthread_cancel(thread);
  void* result = nullptr;
  return ::pthread_join(thread, &result) == 0 && result == PTHREAD_CANCELED;
}

// Makes the call on a thread that has been cancelled before. Whether the call came to its end, and the thread to its
// own after it.
inline bool finishesThoughCancelled(const std::function<void()>& call) {
  struct Caller {
    const std::function<void()>& call;
    bool finished = false;
  } caller{call};
  const auto start = [](void* argument) -> void* {
    auto* const self = static_cast<Caller*>(argument);
    ::pthread_cancel(::pthread_self());
    self->call();
    self->finished = true;
    ::pthread_testcancel();
    return nullptr;
  };
  pthread_t thread{};
  void* result = nullptr;
  return ::pthread_create(&thread, nullptr, start, &caller) == 0 && ::pthread_join(thread, &result) == 0 &&
         result == PTHREAD_CANCELED && caller.finished;
}

#endif
