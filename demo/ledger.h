// The numbers that the writer leaves in three file systems, and what a copy of all three must look like.
//
// The writer writes 1 to the first file system, to the second, to the third, then 2 to the first, and so on, each write
// forced to disk before the next. So at any moment the three hold n, then n or n-1, then n or n-1, never rising.
#ifndef LEDGER_H
#define LEDGER_H

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace demo {

// How many file systems there are, and where they are mounted in the testbed.
inline constexpr std::size_t fileSystems = 3;
inline const std::array<std::string, fileSystems> ledgerMountPoints = {"/mnt/orders", "/mnt/invoices", "/mnt/ledger"};

using Clock = std::chrono::steady_clock;  // the same in every process
using Numbers = std::array<std::uint64_t, fileSystems>;

// One write, as the writer's log holds it: begun before the number was written, ended when it was on the disk.
struct LogEntry {
  std::uint64_t fileSystem;
  std::uint64_t number;
  Clock::time_point begun;
  Clock::time_point ended;
};

// The file with the number in a tree.
std::string numberFile(const std::string& tree);

// The number in a tree; 0 where nothing has been written yet. Throws DemoError when the file holds anything else.
std::uint64_t readNumber(const std::string& tree);

// How a number stands in its file: always the same number of bytes.
std::string numberText(std::uint64_t number);

// Whether the three numbers can have been there at one moment.
bool isOneMoment(const Numbers& numbers);

// The whole log; a record that is still being written is left out.
std::vector<LogEntry> readLog(const std::string& file);

// What contradicts the log in a copy that was made between two moments: a number that was on the disk before is
// missing, or one is there that was begun only afterwards. Empty when nothing does.
std::string contradiction(const Numbers& numbers, const std::vector<LogEntry>& log, Clock::time_point before,
                          Clock::time_point after);

// The longest write of those that overlap the time between two moments.
Clock::duration longestWrite(const std::vector<LogEntry>& log, Clock::time_point from, Clock::time_point to);

}  // namespace demo

#endif
