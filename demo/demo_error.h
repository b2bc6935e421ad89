// What ends the demonstration.
#ifndef DEMO_ERROR_H
#define DEMO_ERROR_H

#include <stdexcept>

namespace demo {

// Something did not go as it must; the text says what.
class DemoError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace demo

#endif
