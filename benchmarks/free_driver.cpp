// A kernel driver whose answers cost nothing: the program takes the freeze requests itself and agrees.
#include "free_driver.h"

#include "support/driver_requests.h"

namespace {

long requests = 0;

}  // namespace

namespace bench {

long freezeRequests() {
  return requests;
}

}  // namespace bench

int answerDriverRequest(int, std::uint32_t, std::uintptr_t) {
  ++requests;
  return 0;
}
