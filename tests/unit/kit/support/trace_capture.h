// A trace log in a directory of its own, and what was written to it.
#ifndef TESTS_UNIT_KIT_SUPPORT_TRACE_CAPTURE_H
#define TESTS_UNIT_KIT_SUPPORT_TRACE_CAPTURE_H

#include "cfitracelog.h"
#include "environment.h"
#include "temporary_directory.h"

#include <string>
#include <vector>

// The records of a trace file as "L<level> <text>"; a line without the head of a record belongs to the record before.
std::vector<std::string> readTrace(const std::string& path);

// The records with every "[<number>, " made "[line, ", for scopes whose place in a source file does not matter.
std::vector<std::string> withoutLineNumbers(std::vector<std::string> records);

class TraceCapture {
 public:
  explicit TraceCapture(int level = qmfi_pdk_4_4::CFI_TRACE_DETAIL);

  const qmfi_pdk_4_4::CFiTraceLogSPtr& log() const { return m_log; }
  std::vector<std::string> records() const { return readTrace(m_directory.path() + "/capture.log"); }

 private:
  TemporaryDirectory m_directory;
  EnvironmentVariable m_logDirectory;
  EnvironmentVariable m_traceLevel;
  qmfi_pdk_4_4::CFiTraceLogSPtr m_log;
};

#endif
