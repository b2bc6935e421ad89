// Turns the failure of a system call into an exception that says what was tried.
#ifndef SYSTEM_CHECKED_H
#define SYSTEM_CHECKED_H

#include <cerrno>
#include <string>
#include <system_error>

namespace qmfi_system {

// Returns the result of a system call, or throws std::system_error with errno when it is negative.
// `what`: the step that was tried, for the message.
template <typename Result>
Result checked(Result result, const std::string& what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

}  // namespace qmfi_system

#endif
