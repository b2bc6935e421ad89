// Tells a call that returns from one that waits for ever.
#ifndef SUPPORT_BOUNDED_CALL_H
#define SUPPORT_BOUNDED_CALL_H

#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <utility>

// Whether the call returns when another thread makes it. A call that does not is left behind, so what it refers to must
// outlive the test.
template <typename Call>
bool returnsOnAnotherThread(Call call) {
  constexpr std::chrono::seconds bound(20);
  const auto done = std::make_shared<std::promise<void>>();
  std::thread([done, call = std::move(call)]() mutable {
    call();
    done->set_value();
  }).detach();
  return done->get_future().wait_for(bound) == std::future_status::ready;
}

#endif
