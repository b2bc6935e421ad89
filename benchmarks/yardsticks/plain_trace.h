// A trace record formatted on the stack and written at once.
#pragma once

namespace bench {

// Writes one line like those of the trace log. False when that fails.
bool writeLine(int file, int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

}  // namespace bench
