// Re-entrant time conversions.
#include "K_time.h"

#include <cerrno>

namespace {

constexpr std::size_t timeTextSize = 26;

// Even a call with a null pointer says so when its buffer is too small: required.
bool holdsTimeText(std::size_t size) {
  if (size >= timeTextSize) return true;
  errno = ERANGE;
  return false;
}

}  // namespace

extern "C" {

std::time_t K_timegm(std::tm* time) {
  return time == nullptr ? std::time_t{-1} : timegm(time);
}

std::tm* K_gmtime(const std::time_t* time, std::tm* result) {
  return time == nullptr || result == nullptr ? nullptr : gmtime_r(time, result);
}

std::tm* K_localtime(const std::time_t* time, std::tm* result) {
  return time == nullptr || result == nullptr ? nullptr : localtime_r(time, result);
}

char* K_asctime(const std::tm* time, char* buffer, std::size_t size) {
  if (!holdsTimeText(size) || time == nullptr || buffer == nullptr) return nullptr;
  return asctime_r(time, buffer);
}

char* K_ctime(const std::time_t* time, char* buffer, std::size_t size) {
  if (!holdsTimeText(size) || time == nullptr || buffer == nullptr) return nullptr;
  return ctime_r(time, buffer);
}

}  // extern "C"
