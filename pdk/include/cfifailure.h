// Failures of operations that say by a message of the provider's catalogs what is wrong.
#ifndef CFIFAILURE_H
#define CFIFAILURE_H

#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "cficatchladder.h"
#include "cfistatus.h"

namespace qmfi_pdk_4_4 {

// What an errno value means, in English.
inline std::string errorText(int error) {
  return std::generic_category().message(error);
}

// Thrown by an operation that gives up: the status of the call, and the message that tells the user why. Does not
// change once made, so it may be read from any thread.
class CFiFailure {
 public:
  // id names the text in the provider's catalogs, the arguments are those of the text, in order; location is where it
  // is thrown.
  CFiFailure(CFiStatus status, std::string id, std::vector<std::string> arguments = {},
             const CFiSourceLocation& location = CFiSourceLocation::here())
      : m_status(status), m_id(std::move(id)), m_arguments(std::move(arguments)), m_location(location) {}

  CFiStatus status() const { return m_status; }
  const std::string& id() const { return m_id; }
  const std::vector<std::string>& arguments() const { return m_arguments; }

  // Pushes the message. Throws std::bad_alloc when memory is short.
  void report() const {
    std::vector<icu::Formattable> arguments;
    arguments.reserve(m_arguments.size());
    for (const std::string& argument : m_arguments) arguments.push_back(messageText(argument));
    pushMessage(m_id.c_str(), arguments, KFI_SEVERITY_ERROR, m_location);
  }

 private:
  CFiStatus m_status;
  std::string m_id;
  std::vector<std::string> m_arguments;
  CFiSourceLocation m_location;
};

// An argument that an operation cannot do without. what: its name, for the message. Throws CFiFailure 3 with the
// message MSG_ERROR_INVALID_ARGUMENT when it is null.
template <typename T>
T* given(T* argument, const char* what, const CFiSourceLocation& location = CFiSourceLocation::here()) {
  if (argument == nullptr) {
    throw CFiFailure(CFI_STATUS_INVALID_ARGUMENT, "MSG_ERROR_INVALID_ARGUMENT", {what}, location);
  }
  return argument;
}

// Runs an operation's body and returns its status: that of a failure it throws, whose message is pushed, and what the
// catch ladder makes of anything else, reported under the location.
template <typename Body>
int answered(Body&& body, const CFiSourceLocation& location = CFiSourceLocation::here()) {
  return guarded(
      [&]() -> int {
        try {
          return body();
        } catch (const CFiFailure& failure) {
          failure.report();
          return failure.status();
        }
      },
      nullptr, location);
}

}  // namespace qmfi_pdk_4_4

#endif
