// A trace log in a directory of its own, and the records in its file.
#ifndef TRACE_FIXTURE_H
#define TRACE_FIXTURE_H

#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "cfitracelog.h"
#include "scoped_environment.h"
#include "temporary_directory.h"

struct TraceRecordText {
  std::string head;  // time, process and thread, level
  std::string text;
};

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
    static const std::regex head(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z \d+\.\d+ L\d)");
    std::vector<TraceRecordText> records;
    std::istringstream lines(content());
    for (std::string line; std::getline(lines, line);) {
      const std::size_t end = std::min(line.find(" L") + 3, line.size());
      const bool matches = std::regex_match(line.begin(), line.begin() + static_cast<long>(end), head);
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
