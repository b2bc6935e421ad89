// The trace log of a plug-in, the scope that traces a function's entry and exit, and the base that carries a log.
#ifndef CFITRACELOG_H
#define CFITRACELOG_H

#include <ace/SString.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>

#include "cfierrormanager.h"
#include "cfismartptr.h"
#include "cfitraceformat.h"

namespace qmfi_pdk_4_4 {

// What a record is about; a record is written when its level does not exceed the log's.
enum CFiTraceLevel : int {
  CFI_TRACE_ERROR = 1,     // failures
  CFI_TRACE_WARNING = 2,   // warnings, fallbacks, failed commands
  CFI_TRACE_PROGRESS = 3,  // values and commands worth keeping
  CFI_TRACE_REJECTED = 4,  // rejected input paths
  CFI_TRACE_DETAIL = 6,    // calls and single steps
};

class CFiTraceSink;

// One log per plug-in. The object is built, and destroyed, by the plug-in, which takes only initialize and trace from
// the framework. Nothing is written until it is initialised. initialize is called once; everything else may be used
// from any thread.
class CFiTraceLog : public virtual CFiRefCount {
 public:
  CFiTraceLog() = default;
  ~CFiTraceLog() override = default;

  // Opens the log: name is the log's name, dir and second two path settings (empty: the framework's defaults, stored
  // back when used), level the highest level written, unless the environment overrides it. A log that cannot be opened
  // stays silent; tracing never fails a call.
  void initialize(const ACE_String_Base<char>& name, ACE_String_Base<char>& dir, ACE_String_Base<char>& second,
                  int level, bool flag);

  bool isInitialized() const { return m_initialized; }

  // Whether a record of that level is to be given to trace. Takes no lock. A framework that has not told its level is
  // given every record and filters it itself.
  bool passes(int level) const { return level <= m_level.load(std::memory_order_relaxed); }

  // Writes one printf-style record when its level passes.
  void trace(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

  // The manager that messages about the log itself would go to; empty until set.
  void setErrorManager(const CFiSmartPtr<CFiErrorManager>& manager) { m_errorManager = manager; }

 private:
  static constexpr int levelNotTold = std::numeric_limits<int>::max();

  ACE_String_Base<char> m_name;
  ACE_String_Base<char> m_directory;
  ACE_String_Base<char> m_secondDirectory;
  ACE_String_Base<char> m_path;
  ACE_String_Base<char> m_secondPath;
  bool m_initialized = false;
  bool m_failed = false;
  bool m_flag = false;
  // Required: a fixed marker that the framework reads.
  [[maybe_unused]] std::int32_t m_marker = 12345;
  CFiSmartPtr<CFiErrorManager> m_errorManager;
  // What follows belongs to a framework that knows it; another one leaves it as it is.
  // Highest level written.
  std::atomic<int> m_level{levelNotTold};
  // The framework's, closed by its own function.
  std::unique_ptr<CFiTraceSink, void (*)(CFiTraceSink*)> m_sink{nullptr, nullptr};
};

using CFiTraceLogSPtr = CFiSmartPtr<CFiTraceLog>;

// Traces the entry of a function when made and its exit when destroyed. Keeps its own reference to the log meanwhile,
// so the exit is written even when the plug-in has dropped the log; a scope that the log's level leaves out keeps
// nothing and takes no lock. The names are not copied and must outlive the scope.
class CFiTraceLogFunction {
 public:
  // log may be empty and function null: then nothing is traced. path is the source file; only what follows its last '/'
  // is kept.
  CFiTraceLogFunction(const CFiTraceLogSPtr& log, const char* function, int line, const char* path) {
    if (!log || function == nullptr || !log->passes(CFI_TRACE_DETAIL)) return;
    m_log = log;
    m_function = function;
    m_line = line;
    m_file = fileNameOf(path);
    if (m_log) m_log->trace(CFI_TRACE_DETAIL, "Entering Function %s [%d, %s]", m_function, m_line, m_file);
  }
  CFiTraceLogFunction(const CFiTraceLogFunction&) = delete;
  CFiTraceLogFunction& operator=(const CFiTraceLogFunction&) = delete;

  virtual ~CFiTraceLogFunction() {
    if (!m_log) return;
    if (m_line == 0) {
      m_log->trace(CFI_TRACE_DETAIL, "Exiting Function %s", m_function);
    } else {
      m_log->trace(CFI_TRACE_DETAIL, "Exiting Function %s [%d, %s]", m_function, m_line, m_file);
    }
  }

 private:
  // Required: a path without '/' gives this header's own path, not the path itself.
  static const char* fileNameOf(const char* path) {
    const char* slash = path != nullptr ? std::strrchr(path, '/') : nullptr;
    return slash != nullptr ? slash + 1 : "pdk/include/cfitracelog.h";
  }

  CFiTraceLogSPtr m_log;
  const char* m_function = nullptr;
  std::int32_t m_line = 0;
  const char* m_file = nullptr;
};

// Base of everything that traces: keeps a counted reference to the plug-in's log.
class CFiTraceable {
 public:
  CFiTraceable() = default;
  CFiTraceable(const CFiTraceable&) = delete;
  CFiTraceable& operator=(const CFiTraceable&) = delete;
  virtual ~CFiTraceable() = default;

  // Sets the log; an empty pointer stops the tracing. Not to be called while another thread traces through this object.
  virtual void registerTraceLog(const CFiTraceLogSPtr& log) { m_traceLog = log; }

  const CFiTraceLogSPtr& traceLog() const { return m_traceLog; }

 protected:
  // A scope for the function of that name, placed where this is called.
  CFiTraceLogFunction traceScope(const char* function, int line = __builtin_LINE(),
                                 const char* path = __builtin_FILE()) const {
    return CFiTraceLogFunction(m_traceLog, function, line, path);
  }

  // Writes one printf-style record to the log, if there is one and the level passes. The compiler's own check of
  // formats only knows functions with an ellipsis, which could not hand their arguments on; so the format checks
  // itself.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
  template <typename... Arguments>
  void trace(int level, std::type_identity_t<CFiTraceFormat<Arguments...>> format, Arguments... arguments) const {
    if (m_traceLog && m_traceLog->passes(level)) m_traceLog->trace(level, format.text(), arguments...);
  }
#pragma GCC diagnostic pop

 private:
  CFiTraceLogSPtr m_traceLog;
};

}  // namespace qmfi_pdk_4_4

#endif
