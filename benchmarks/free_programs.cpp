// Programs that cost nothing: the plug-in finds this command pipe before the framework's, and every command succeeds.
#include "cfiexecpipe.h"

namespace qmfi_pdk_4_4 {

int CFiExecPipeBase::Exec(const std::string& /*command*/, std::vector<std::string>& /*output*/,
                          const std::string& /*input*/, int /*timeoutSeconds*/, const std::string& /*user*/,
                          const std::string& /*domain*/, const std::string& /*password*/) {
  return KFI_EXEC_PIPE_SUCCESS;
}

}  // namespace qmfi_pdk_4_4
