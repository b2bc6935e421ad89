// Reading and judging numbers.
#include "ledger.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "demo_error.h"
#include "system/small_file.h"

namespace demo {

namespace {

constexpr std::size_t numberDigits = 20;

// Far more than a writer that was delayed for an hour logs.
constexpr std::size_t largestLog = std::size_t{1} << 30;

}  // namespace

std::string numberFile(const std::string& tree) {
  return tree + "/number";
}

std::string numberText(std::uint64_t number) {
  std::string digits = std::to_string(number);
  return std::string(numberDigits - digits.size(), '0') + digits + "\n";
}

std::uint64_t readNumber(const std::string& tree) {
  const std::string text = qmfi_system::readSmallFile(numberFile(tree)).value_or("");
  if (text.empty() || text == std::string(text.size(), '\0')) return 0;
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || text.compare(0, numberDigits + 1, numberText(number)) != 0) {
    throw DemoError(numberFile(tree) + " holds something that was never written");
  }
  return number;
}

bool isOneMoment(const Numbers& numbers) {
  return std::is_sorted(numbers.rbegin(), numbers.rend()) && numbers.front() - numbers.back() <= 1;
}

std::vector<LogEntry> readLog(const std::string& file) {
  const std::string bytes = qmfi_system::readSmallFile(file, largestLog).value_or("");
  std::vector<LogEntry> log(bytes.size() / sizeof(LogEntry));
  if (!log.empty()) std::memcpy(log.data(), bytes.data(), log.size() * sizeof(LogEntry));
  return log;
}

std::string contradiction(const Numbers& numbers, const std::vector<LogEntry>& log, Clock::time_point before,
                          Clock::time_point after) {
  for (const LogEntry& entry : log) {
    const std::uint64_t copied = numbers.at(entry.fileSystem);
    const std::string number = std::to_string(entry.number) + " of " + ledgerMountPoints.at(entry.fileSystem);
    if (entry.ended <= before && entry.number > copied) {
      return number + " was on the disk before the snapshot and is missing";
    }
    if (entry.begun >= after && entry.number <= copied) return number + " was begun after the snapshot and is there";
  }
  return {};
}

Clock::duration longestWrite(const std::vector<LogEntry>& log, Clock::time_point from, Clock::time_point to) {
  Clock::duration longest{0};
  for (const LogEntry& entry : log) {
    if (entry.ended >= from && entry.begun <= to) longest = std::max(longest, entry.ended - entry.begun);
  }
  return longest;
}

}  // namespace demo
