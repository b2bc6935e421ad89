// What the driver can be made to do wrong.
#ifndef FAULT_H
#define FAULT_H

#include <chrono>

#include "driver/freeze_requests.h"

namespace testbed {

// Something that the driver does to the n-th request of a kind before it acts on it.
struct Fault {
  RequestKind request;
  unsigned ordinal;                    // counted from 1, each kind for itself
  int error = 0;                       // the request fails with this error number; 0: it does not
  std::chrono::milliseconds delay{0};  // the request waits this long first
};

}  // namespace testbed

#endif
