// The trace log: opening, filtering, and the path of a record.
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <string_view>

#include "cfitracelog.h"
#include "paths.h"
#include "trace_output.h"
#include "trace_record.h"

namespace qmfi_pdk_4_4 {

namespace {

using qmfi_runtime::traceOutput;

// Below that of every record.
constexpr int levelOfASilentLog = 0;

// The level that the environment asks for, otherwise the given one.
int effectiveLevel(int given) {
  const char* const text = secure_getenv("QMFI_TRACE_LEVEL");
  const std::string_view asked = text != nullptr ? text : "";
  const int level = asked.size() == 1 ? asked[0] - '0' : 0;
  return level >= CFI_TRACE_ERROR && level <= CFI_TRACE_DETAIL ? level : given;
}

void closeSink(CFiTraceSink* sink) {
  traceOutput().close(sink);
}

}  // namespace

void CFiTraceLog::initialize(const ACE_String_Base<char>& name, ACE_String_Base<char>& dir,
                             ACE_String_Base<char>& second, int level, bool flag) {
  const std::string directory = qmfi_runtime::logDirectory(dir.c_str());
  const std::string file(name.c_str(), name.length());
  dir = directory.c_str();
  if (second.is_empty()) second = dir;
  const std::string path = directory + "/" + file + ".log";
  const std::string secondPath = std::string(second.c_str()) + "/" + file + ".log";
  // The last step that memory may be too short for: a log that is initialised is so in all its parts.
  m_sink = {traceOutput().open(directory, file), closeSink};
  m_name = name;
  m_directory = dir;
  m_secondDirectory = second;
  m_path = path.c_str();
  m_secondPath = secondPath.c_str();
  m_flag = flag;
  m_initialized = true;
  m_failed = m_sink == nullptr;
  m_level.store(m_failed ? levelOfASilentLog : effectiveLevel(level), std::memory_order_release);
}

void CFiTraceLog::trace(int level, const char* format, ...) {
  // Acquired, so that the sink which was stored before the level is seen.
  const int highest = m_level.load(std::memory_order_acquire);
  if (highest == levelNotTold || level > highest || m_sink == nullptr || format == nullptr) return;
  // Callers report errno after they have traced.
  const int callersError = errno;
  std::va_list arguments;
  va_start(arguments, format);
  qmfi_runtime::TraceRecord record;
  if (record.vformat(level, format, arguments)) traceOutput().put(*m_sink, record.text());
  va_end(arguments);
  errno = callersError;
}

}  // namespace qmfi_pdk_4_4
