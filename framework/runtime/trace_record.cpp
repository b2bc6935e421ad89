// Formatting of trace records.
#include "trace_record.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>

namespace qmfi_runtime {

namespace {

// Enough for the longest head.
constexpr std::size_t headRoom = 96;

// Counts the forks that led to this process, so that what a thread remembers of its parent is not believed.
std::atomic<unsigned> forks{1};

const int forksCounted = pthread_atfork(nullptr, nullptr, [] { forks.fetch_add(1, std::memory_order_relaxed); });

// The calling thread's numbers. The kernel is asked once a thread only, since a call takes as long as a third of a
// write.
struct ThreadNumbers {
  unsigned forks;
  pid_t process;
  pid_t thread;
};

const ThreadNumbers& threadNumbers() noexcept {
  // In the space that every thread has from its start: taken on first use, it would abort the process when memory is
  // short.
  [[gnu::tls_model("initial-exec")]] thread_local ThreadNumbers numbers{0, 0, 0};
  const unsigned now = forks.load(std::memory_order_relaxed);
  if (numbers.forks != now || forksCounted != 0) numbers = {now, getpid(), gettid()};
  return numbers;
}

// Writes a number with leading zeros; returns its end.
char* putDigits(char* out, unsigned number, int digits) noexcept {
  for (int i = digits - 1; i >= 0; --i) {
    out[i] = static_cast<char>('0' + number % 10);
    number /= 10;
  }
  return out + digits;
}

char* putNumber(char* out, int number) noexcept {
  return std::to_chars(out, out + 16, number).ptr;
}

char* putTime(char* out) noexcept {
  using namespace std::chrono;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const sys_seconds time{seconds(now.tv_sec)};
  const sys_days day = floor<days>(time);
  const year_month_day date(day);
  const auto second = static_cast<unsigned>((time - day).count());
  out = putDigits(out, static_cast<unsigned>(static_cast<int>(date.year())), 4);
  *out++ = '-';
  out = putDigits(out, static_cast<unsigned>(date.month()), 2);
  *out++ = '-';
  out = putDigits(out, static_cast<unsigned>(date.day()), 2);
  *out++ = 'T';
  out = putDigits(out, second / 3600, 2);
  *out++ = ':';
  out = putDigits(out, second / 60 % 60, 2);
  *out++ = ':';
  out = putDigits(out, second % 60, 2);
  *out++ = '.';
  out = putDigits(out, static_cast<unsigned>(now.tv_nsec / 1000), 6);
  *out++ = 'Z';
  return out;
}

// Writes what precedes the text; returns its length, at most headRoom.
std::size_t putHead(char* const start, int level) noexcept {
  const ThreadNumbers& numbers = threadNumbers();
  char* out = putTime(start);
  *out++ = ' ';
  out = putNumber(out, numbers.process);
  *out++ = '.';
  out = putNumber(out, numbers.thread);
  *out++ = ' ';
  *out++ = 'L';
  out = putNumber(out, level);
  *out++ = ' ';
  return static_cast<std::size_t>(out - start);
}

}  // namespace

bool TraceRecord::format(int level, const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  const bool formatted = vformat(level, format, arguments);
  va_end(arguments);
  return formatted;
}

bool TraceRecord::vformat(int level, const char* format, std::va_list arguments) noexcept {
  static_assert(sizeof m_inPlace > 2 * headRoom);
  const int callersError = errno;
  const std::size_t head = putHead(m_inPlace, level);
  const std::size_t room = sizeof m_inPlace - head;
  std::va_list again;
  va_copy(again, arguments);
  errno = callersError;
  const int wanted = std::vsnprintf(m_inPlace + head, room, format, again);
  va_end(again);
  std::size_t length = wanted > 0 ? static_cast<std::size_t>(wanted) : 0;
  char* record = m_inPlace;
  if (length >= room) {
    m_long.reset(new (std::nothrow) char[head + length + 1]);
    if (m_long != nullptr) {
      record = m_long.get();
      std::memcpy(record, m_inPlace, head);
      errno = callersError;
      std::vsnprintf(record + head, length + 1, format, arguments);
    } else {
      length = room - 1;
    }
  }
  record[head + length] = '\n';
  m_text = {record, head + length + 1};
  return wanted >= 0;
}

}  // namespace qmfi_runtime
