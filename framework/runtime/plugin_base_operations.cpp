// The answers of operations that a provider does not implement.
#include "cfipluginbase.h"

namespace qmfi_pdk_4_4 {

namespace {

// Whatever the arguments are.
template <CFiStatus status, typename... Arguments>
int answerAlways(const Arguments&... /*arguments*/) {
  return status;
}

}  // namespace

#define ANSWER_NOT_SUPPORTED(operation, parameters, arguments) \
  int CFiPluginBase::operation parameters {                    \
    return answerAlways<CFI_STATUS_NOT_SUPPORTED> arguments;   \
  }
#define ANSWER_USE_SESSION(operation, parameters, arguments) \
  int CFiPluginBase::operation parameters {                  \
    return answerAlways<CFI_STATUS_USE_SESSION> arguments;   \
  }
// Written elsewhere.
#define ANSWER_OWN(operation, parameters, arguments)

#define FI_OPERATION(slot, operation, answer, parameters, arguments) ANSWER_##answer(operation, parameters, arguments)
#include "cfientrypoints.def"

}  // namespace qmfi_pdk_4_4
