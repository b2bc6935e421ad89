// A thread that has been cancelled and comes to know of it in the middle of a call.
#ifndef CANCELLED_CALLER_H
#define CANCELLED_CALLER_H

#include <pthread.h>

#include <functional>

// Makes the call on a thread that has been cancelled before. Whether the call came to its end, and the thread to its
// own after it.
inline bool finishesThoughCancelled(const std::function<void()>& call) {
  struct Caller {
    const std::function<void()>& call;
    bool finished = false;
  } caller{call};
  const auto start = [](void* argument) -> void* {
    auto* const self = static_cast<Caller*>(argument);
    pthread_cancel(pthread_self());
    self->call();
    self->finished = true;
    pthread_testcancel();
    return nullptr;
  };
  pthread_t thread{};
  void* result = nullptr;
  return pthread_create(&thread, nullptr, start, &caller) == 0 && pthread_join(thread, &result) == 0 &&
         result == PTHREAD_CANCELED && caller.finished;
}

#endif
