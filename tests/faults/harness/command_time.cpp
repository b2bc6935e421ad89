// The time that commands get.
#include "command_time.h"

#include <dlfcn.h>

#include <string>
#include <vector>

#include "provider.h"

namespace faults {

namespace {

constexpr int providersOwn = 0;
int timeoutInForce = providersOwn;

}  // namespace

void setCommandTimeout(std::chrono::seconds timeout) {
  timeoutInForce = static_cast<int>(timeout.count());
}

void useProvidersCommandTimeout() {
  timeoutInForce = providersOwn;
}

}  // namespace faults

#define EXEC                                                                                                  \
  "_ZN12qmfi_pdk_4_415CFiExecPipeBase4ExecERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERSt6vectorI" \
  "S6_SaIS6_EES8_iS8_S8_S8_"

// The pipe's member function; its object is the first argument.
extern "C" int execWithTime(void* pipe, const std::string& command, std::vector<std::string>& output,
                            const std::string& input, int timeoutSeconds, const std::string& user,
                            const std::string& domain, const std::string& password) asm(EXEC);

int execWithTime(void* pipe, const std::string& command, std::vector<std::string>& output, const std::string& input,
                 int timeoutSeconds, const std::string& user, const std::string& domain, const std::string& password) {
  const auto real = reinterpret_cast<decltype(&execWithTime)>(faults::Provider::functionOfDependencies(EXEC));
  const int given = faults::timeoutInForce != faults::providersOwn ? faults::timeoutInForce : timeoutSeconds;
  return real(pipe, command, output, input, given, user, domain, password);
}
