// A trace record formatted on the stack and written at once.
#include "yardsticks/plain_trace.h"

#include <unistd.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace bench {

bool writeLine(int file, int level, const char* format, ...) {
  std::array<char, 1024> line;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm date{};
  gmtime_r(&now.tv_sec, &date);
  int length = std::snprintf(line.data(), line.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%06ldZ %d.%d L%d ",
                             date.tm_year + 1900, date.tm_mon + 1, date.tm_mday, date.tm_hour, date.tm_min, date.tm_sec,
                             now.tv_nsec / 1000, getpid(), gettid(), level);
  std::va_list arguments;
  va_start(arguments, format);
  length += std::vsnprintf(line.data() + length, line.size() - static_cast<std::size_t>(length), format, arguments);
  va_end(arguments);
  line[static_cast<std::size_t>(length)] = '\n';
  return write(file, line.data(), static_cast<std::size_t>(length) + 1) == length + 1;
}

}  // namespace bench
