// A trace log that lets nothing through, as most of a plug-in's records are filtered in earnest.
#ifndef SILENT_LOG_H
#define SILENT_LOG_H

#include "cfitracelog.h"

namespace bench {

// A log without a name cannot be opened, and stays silent.
inline void silence(qmfi_pdk_4_4::CFiTraceLog& log) {
  ACE_String_Base<char> directory;
  ACE_String_Base<char> second;
  log.initialize(ACE_String_Base<char>(), directory, second, qmfi_pdk_4_4::CFI_TRACE_ERROR, false);
}

inline qmfi_pdk_4_4::CFiTraceLogSPtr silentLog() {
  qmfi_pdk_4_4::CFiTraceLogSPtr log(true);
  silence(*log);
  return log;
}

}  // namespace bench

#endif
