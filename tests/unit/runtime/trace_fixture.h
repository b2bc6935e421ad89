// A trace log in a directory of its own, and the records in its file.
#ifndef TRACE_FIXTURE_H
#define TRACE_FIXTURE_H

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "cfitracelog.h"
#include "scoped_environment.h"
#include "temporary_directory.h"

struct TraceRecordText {
  std::string head;  // time, process and thread, level
  std::string text;
};

// Whether a text is "2026-11-21T06:07:08.123456Z 4711.4712 L3", with any digits.
inline bool isHead(const std::string& text) {
  constexpr std::string_view time = "dddd-dd-ddTdd:dd:dd.ddddddZ";
  const bool timeMatches =
      std::equal(time.begin(), time.end(), text.begin(), text.begin() + std::min(time.size(), text.size()),
                 [](char form, char found) { return form == 'd' ? std::isdigit(found) != 0 : form == found; });
  int end = -1;
  return timeMatches && sscanf(text.c_str() + time.size(), " %*d.%*d L%*1d%n", &end) == 0 &&
         time.size() + static_cast<std::size_t>(end) == text.size();
}

class TraceDirectory {
 public:
  const TemporaryDirectory& directory() const { return m_directory; }

  // Opens "sample.log" in it.
  void open(qmfi_pdk_4_4::CFiTraceLog& log, int level) const {
    ACE_String_Base<char> first;
    ACE_String_Base<char> second;
    log.initialize("sample", first, second, level, false);
  }

  std::string content() const { return m_directory.read("sample.log"); }

  // The records of the file; one that is not of the right form has an empty head.
  std::vector<TraceRecordText> records() const {
    std::vector<TraceRecordText> records;
    std::istringstream lines(content());
    for (std::string line; std::getline(lines, line);) {
      const std::size_t end = std::min(line.find(" L") + 3, line.size());
      const bool matches = isHead(line.substr(0, end));
      records.push_back(matches ? TraceRecordText{line.substr(0, end), line.substr(end + 1)}
                                : TraceRecordText{"", line});
    }
    return records;
  }

  std::vector<std::string> texts() const {
    std::vector<std::string> texts;
    for (const TraceRecordText& record : records()) texts.push_back(record.text);
    return texts;
  }

 private:
  TemporaryDirectory m_directory;
  ScopedEnvironment m_place{"QMFI_LOG_DIR", m_directory.path().c_str()};
  ScopedEnvironment m_level{"QMFI_TRACE_LEVEL", nullptr};
};

// Keeps the split context open.
class OpenSplitContext {
 public:
  OpenSplitContext() : result(qmfi_create_context()) {}
  OpenSplitContext(const OpenSplitContext&) = delete;
  OpenSplitContext& operator=(const OpenSplitContext&) = delete;
  ~OpenSplitContext() { qmfi_close_context(); }

  const int result;
};

#endif
