// Which errors system calls may report.
#ifndef CALL_ERRORS_H
#define CALL_ERRORS_H

#include <span>
#include <string>

namespace faults {

// The errno values that a call may fail with for reasons outside its caller's reach, as its manual page lists them;
// none for a call that cannot fail, and for one that tells its failure in another way.
std::span<const int> errorsOf(long number);

// "openat", or the number where the call is not known.
std::string callName(long number);

}  // namespace faults

#endif
