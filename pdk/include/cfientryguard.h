// What every entry point does around its call: opens a trace scope, runs the delayed initialisation, lets nothing
// escape.
#ifndef CFIENTRYGUARD_H
#define CFIENTRYGUARD_H

#include <exception>

#include "cficatchladder.h"
#include "cficontextsingleton.h"
#include "cfipluginbase.h"
#include "cfipluginname.h"
#include "cfitracelog.h"

namespace qmfi_pdk_4_4 {

// Source file that entry points are traced and reported under.
inline constexpr const char* CFI_ENTRY_POINT_FILE = "pdk/include/cfiapiexport.h";

// The last rung: something that the ladder does not know, or the ladder's own failure. There may be no memory left for
// a message.
inline int reportUnknownException(const CFiSourceLocation& location) noexcept {
  try {
    pushMessage("MSG_ERROR_UNHANDLED_UNKNOWN_EXCEPTION", {messageText(location.file), icu::Formattable(location.line)},
                KFI_SEVERITY_UNHANDLED_EXCEPTION, location);
  } catch (...) {
    return CFI_STATUS_FAILED;
  }
  return CFI_STATUS_FAILED;
}

// Runs the body of an entry point and returns its status; whatever it throws becomes status 6. The unwinding of a
// cancelled thread is no exception and must go on, or the process would be aborted.
template <typename Body>
int guardEntryPoint(int line, Body&& body) {
  const CFiSourceLocation location = CFiSourceLocation::here(CFI_ENTRY_POINT_FILE, line);
  try {
    return guarded(body, nullptr, location);
  } catch (...) {
    const bool isException = std::current_exception() != nullptr;
    if (!isException) throw;
    return reportUnknownException(location);
  }
}

// Whether an entry point comes after the provider's delayed initialisation, which it runs when it has not run yet.
enum class CFiEntry { delayed, atOnce };

// The common entry point of provider class Plugin: call is given the provider and returns the status. Status 6 also
// when a mutex that fails leaves no provider.
template <typename Plugin, typename Call>
int enterPlugin(const char* entryPoint, int line, CFiEntry entry, Call&& call) {
  return guardEntryPoint(line, [&]() -> int {
    const CFiTraceLogFunction scope(CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false), entryPoint, line,
                                    CFI_ENTRY_POINT_FILE);
    using Provider = CFiContextSingleton<Plugin, FI_PLUGIN_NAME>;
    if (entry == CFiEntry::delayed) {
      const auto provider = Provider::instance(false);
      if (!provider) return CFI_STATUS_FAILED;
      if (provider->invokeDelayedInit() != CFI_STATUS_SUCCESS) return CFI_STATUS_DELAYED_INIT_FAILED;
    }
    const auto plugin = Provider::instance(false);
    return plugin ? call(*plugin) : CFI_STATUS_FAILED;
  });
}

// The list that an operation is given: a single node stands in for a list that is missing.
template <typename Node>
class CFiNodeList {
 public:
  // single and nodes may be null; neither is copied.
  CFiNodeList(Node* single, Node** nodes, int count) : m_single(single), m_nodes(nodes), m_count(count) {
    if (nodes == nullptr && count == 0 && single != nullptr) {
      m_nodes = &m_single;
      m_count = 1;
    }
  }
  CFiNodeList(const CFiNodeList&) = delete;
  CFiNodeList& operator=(const CFiNodeList&) = delete;

  Node** nodes() const { return m_nodes; }
  int count() const { return m_count; }

 private:
  Node* m_single;
  Node** m_nodes;
  int m_count;
};

}  // namespace qmfi_pdk_4_4

#endif
