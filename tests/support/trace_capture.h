// Trace logs in a directory of their own, and what was written to them.
#ifndef SUPPORT_TRACE_CAPTURE_H
#define SUPPORT_TRACE_CAPTURE_H

#include <optional>
#include <string>
#include <vector>

#include "cfitracelog.h"
#include "support/environment.h"
#include "support/temporary_directory.h"
#include "support/trace_records.h"

// The directory in which logs are opened as long as it lives, at the levels that they ask for.
class TraceDirectory {
 public:
  const TemporaryDirectory& directory() const { return m_directory; }

  // Opens "sample.log" in it.
  void open(qmfi_pdk_4_4::CFiTraceLog& log, int level) const {
    ACE_String_Base<char> first;
    ACE_String_Base<char> second;
    log.initialize("sample", first, second, level, false);
  }

  // All of that file, its records, and their texts alone.
  std::string content() const { return m_directory.read("sample.log"); }
  std::vector<TraceRecord> records() const { return traceRecords(m_directory.file("sample.log")); }
  std::vector<std::string> texts() const {
    std::vector<std::string> texts;
    for (const TraceRecord& record : records()) texts.push_back(record.text);
    return texts;
  }

 private:
  TemporaryDirectory m_directory;
  EnvironmentVariable m_variable{"QMFI_LOG_DIR", m_directory.path()};
  EnvironmentVariable m_level{"QMFI_TRACE_LEVEL", std::nullopt};
};

// The records of a trace file as "L<level> <text>".
inline std::vector<std::string> readTrace(const std::string& path) {
  std::vector<std::string> texts;
  for (const TraceRecord& record : traceRecords(path)) {
    texts.push_back("L" + std::to_string(record.level) + " " + record.text);
  }
  return texts;
}

// A log, opened in such a directory.
class TraceCapture {
 public:
  explicit TraceCapture(int level = qmfi_pdk_4_4::CFI_TRACE_DETAIL) : m_log(true) { m_directory.open(*m_log, level); }

  const qmfi_pdk_4_4::CFiTraceLogSPtr& log() const { return m_log; }
  std::vector<std::string> records() const { return readTrace(m_directory.directory().file("sample.log")); }

 private:
  TraceDirectory m_directory;
  qmfi_pdk_4_4::CFiTraceLogSPtr m_log;
};

// The records with every "[<number>, " made "[line, ", for scopes whose place in a source file does not matter.
inline std::vector<std::string> withoutLineNumbers(std::vector<std::string> records) {
  for (std::string& record : records) {
    for (std::size_t at = 0; (at = record.find('[', at)) != std::string::npos; ++at) {
      const std::size_t end = record.find_first_not_of("0123456789", at + 1);
      const bool isLine = end != std::string::npos && end > at + 1 && record.compare(end, 2, ", ") == 0;
      if (isLine) record.replace(at + 1, end - at - 1, "line");
    }
  }
  return records;
}

#endif
