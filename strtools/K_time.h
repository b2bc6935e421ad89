// Time conversions that keep their results in the caller's own records and buffers, and so may be called from any
// thread.
#ifndef K_TIME_H
#define K_TIME_H

#include <cstddef>
#include <ctime>

extern "C" {

// Seconds since the epoch of the broken-down time `time`, which is taken as UTC and brought into its normal ranges; -1
// for a null `time` or one that a time_t cannot hold.
std::time_t K_timegm(std::tm* time);

// Both break `*time` down into `*result`: K_gmtime in UTC, K_localtime in local time. Return `result`, or null for a
// null pointer or a year that the record cannot hold.
std::tm* K_gmtime(const std::time_t* time, std::tm* result);
std::tm* K_localtime(const std::time_t* time, std::tm* result);

// Both write a time as the fixed 25 characters "Thu Jan  1 00:00:00 1970\n" and a terminating zero into `buffer`, which
// needs room for at least 26 characters (`size`); K_ctime in local time. Return `buffer`, or null for a null pointer, a
// year of more than four digits, or a buffer too small, which sets `errno` to ERANGE.
char* K_asctime(const std::tm* time, char* buffer, std::size_t size);
char* K_ctime(const std::time_t* time, char* buffer, std::size_t size);

}  // extern "C"

#endif
