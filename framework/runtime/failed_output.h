// What the last command that failed has printed.
#ifndef FAILED_OUTPUT_H
#define FAILED_OUTPUT_H

#include <span>
#include <string>

namespace qmfi_runtime {

// Remembers the end of a failed command's output, in place of an earlier one's. lines: what it printed; joined: the
// same as it stands in the error record. Does nothing while another thread does the same.
void rememberFailedOutput(std::span<const std::string> lines, const std::string& joined) noexcept;

}  // namespace qmfi_runtime

#endif
