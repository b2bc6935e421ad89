// A trace record formatted on the stack and written at once.
#ifndef PLAIN_TRACE_H
#define PLAIN_TRACE_H

namespace bench {

// Writes one line like those of the trace log. False when that fails.
bool writeLine(int file, int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

}  // namespace bench

#endif
