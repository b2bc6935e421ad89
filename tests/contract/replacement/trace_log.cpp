// The trace log, kept in memory. It does not tell its level, so every record reaches it.
#include <cstdarg>
#include <cstdio>
#include <string>

#include "cfitracelog.h"
#include "record.h"

namespace qmfi_pdk_4_4 {

void CFiTraceLog::initialize(const ACE_String_Base<char>& name, ACE_String_Base<char>& dir,
                             ACE_String_Base<char>& second, int level, bool flag) {
  m_initialized = true;
  frameworkRecord().markerOfTheLog = m_marker;
  frameworkRecord().errorManagerOfTheLog = m_errorManager.get();
  noteEvent(std::string("initialize(") + name.c_str() + ", " + dir.c_str() + ", " + second.c_str() + ", " +
            std::to_string(level) + ", " + (flag ? "true" : "false") + ")");
}

void CFiTraceLog::trace(int level, const char* format, ...) {
  char text[4096];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  noteEvent("L" + std::to_string(level) + " " + text);
}

}  // namespace qmfi_pdk_4_4
