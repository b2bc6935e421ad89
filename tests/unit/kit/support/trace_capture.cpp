// Reading of trace files.
#include "trace_capture.h"

#include <fstream>
#include <regex>

std::vector<std::string> readTrace(const std::string& path) {
  static const std::regex head(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z \d+\.\d+ (L\d .*)$)");
  std::vector<std::string> records;
  std::ifstream file(path);
  std::smatch match;
  for (std::string line; std::getline(file, line);) {
    if (std::regex_match(line, match, head)) {
      records.push_back(match[1]);
    } else if (records.empty()) {
      records.push_back(line);
    } else {
      records.back() += "\n" + line;
    }
  }
  return records;
}

std::vector<std::string> withoutLineNumbers(std::vector<std::string> records) {
  static const std::regex place(R"(\[\d+, )");
  for (std::string& record : records) {
    record = std::regex_replace(record, place, "[line, ");
  }
  return records;
}

TraceCapture::TraceCapture(int level)
    : m_logDirectory("QMFI_LOG_DIR", m_directory.path()), m_traceLevel("QMFI_TRACE_LEVEL", std::nullopt), m_log(true) {
  ACE_String_Base<char> directory;
  ACE_String_Base<char> second;
  m_log->initialize(ACE_String_Base<char>("capture"), directory, second, level, false);
}
