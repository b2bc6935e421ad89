// A base of plug-ins whose operations are traced by name and fail by throwing.
#ifndef CFITRACEDPLUGINBASE_H
#define CFITRACEDPLUGINBASE_H

#include "cfifailure.h"
#include "cfipluginbase.h"
#include "cfistringtool.h"

namespace qmfi_pdk_4_4 {

// A CFiPluginBase for providers that have a message for every failure.
class CFiTracedPluginBase : public CFiPluginBase {
 protected:
  // Runs an operation's body, as answered() does, and returns its status. name: what the trace calls it; a failure is
  // traced with its message.
  template <typename Body>
  int operation(const char* name, const Body& body,
                const CFiSourceLocation& location = CFiSourceLocation::here()) const {
    const auto scope = traceScope(name, location.line, location.file);
    return answered(
        [&]() -> int {
          try {
            return body();
          } catch (const CFiFailure& failure) {
            const std::string arguments = CFiStringTool::vec2str(failure.arguments(), " ");
            trace(CFI_TRACE_ERROR, "%s failed: %s %s", name, failure.id().c_str(), arguments.c_str());
            throw;
          }
        },
        location);
  }
};

}  // namespace qmfi_pdk_4_4

#endif
