// The records of trace files.
#ifndef SUPPORT_TRACE_RECORDS_H
#define SUPPORT_TRACE_RECORDS_H

#include <algorithm>
#include <cctype>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/text_file.h"

// Two are equal when level and text are.
struct TraceRecord {
  int level = 0;
  std::string text;
  std::string numbers{};  // "<process>.<thread>"

  bool operator==(const TraceRecord& other) const { return level == other.level && text == other.text; }
};

inline std::ostream& operator<<(std::ostream& stream, const TraceRecord& record) {
  return stream << "L" << record.level << " " << record.text;
}

// The record that begins with a line such as "2026-11-21T06:07:08.123456Z 4711.4712 L3 text"; nothing when it goes on
// with the record before.
inline std::optional<TraceRecord> recordBegunBy(const std::string& line) {
  constexpr std::string_view time = "0000-00-00T00:00:00.000000Z ";
  const auto isDigit = [](char found) { return std::isdigit(static_cast<unsigned char>(found)) != 0; };
  const bool hasTime = line.size() > time.size() &&
                       std::equal(time.begin(), time.end(), line.begin(),
                                  [&](char form, char found) { return form == '0' ? isDigit(found) : found == form; });
  const std::size_t end = line.find(" L", time.size());
  constexpr std::size_t levelLength = 4;  // " L3 "
  if (!hasTime || end == std::string::npos || line.size() < end + levelLength) return std::nullopt;
  const std::string numbers = line.substr(time.size(), end - time.size());
  const std::size_t dot = numbers.find_first_not_of("0123456789");
  const bool hasNumbers = dot != 0 && dot != std::string::npos && numbers[dot] == '.' && dot + 1 < numbers.size() &&
                          numbers.find_first_not_of("0123456789", dot + 1) == std::string::npos;
  if (!hasNumbers || !isDigit(line[end + 2]) || line[end + 3] != ' ') return std::nullopt;
  return TraceRecord{line[end + 2] - '0', line.substr(end + levelLength), numbers};
}

// A text may hold line feeds. What stands before the first record is one of level 0, which no record has.
inline std::vector<TraceRecord> traceRecords(const std::string& path) {
  std::vector<TraceRecord> records;
  for (const std::string& line : linesOf(path)) {
    if (auto record = recordBegunBy(line)) {
      records.push_back(std::move(*record));
    } else if (records.empty()) {
      records.push_back({0, line});
    } else {
      records.back().text += "\n" + line;
    }
  }
  return records;
}

#endif
