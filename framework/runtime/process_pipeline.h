// A pipeline of programs: started together, their output captured, bounded in time, ended as a whole.
#ifndef PROCESS_PIPELINE_H
#define PROCESS_PIPELINE_H

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "cfiexecpipe.h"
#include "command_line.h"

namespace qmfi_runtime {

// How long a run may take, how much of its output is kept, and by whom its status.
struct PipelineLimits {
  std::chrono::nanoseconds time;                             // from the start until every program must have ended
  std::chrono::nanoseconds grace = std::chrono::seconds(1);  // from the kill until a program is left to be reaped later
  std::size_t outputBytes = std::size_t{16} << 20;           // captured; what is printed beyond is read and dropped
  std::string statusKeeper{};                                // its path (system/status_keeper.h); empty for none
};

// How a run went; the code is success only when the last program ended with status 0.
struct PipelineResult {
  // How it failed, if it did.
  qmfi_pdk_4_4::CFiExecPipeCode code = qmfi_pdk_4_4::KFI_EXEC_PIPE_SUCCESS;
  int exitStatus = 0;  // of the last program; 0 when it did not end by itself
  std::string output;  // what the programs printed on the captured streams, also before a failure
  std::string reason;  // one line with the program and what happened; empty where the last program's end says it all
};

// Runs the programs, each one's output feeding the next, until all have ended. The first reads /dev/null; the last
// one's output and the errors of all are captured in the order in which they were printed. A process that outlives its
// program and keeps the captured stream open is not waited for. At the time limit, or when a program cannot be started,
// the process groups of all are killed and reaped. Nothing is started when a program does not exist.
//
// The host's signal handling is neither used nor changed. Without a keeper, and where the host reaps the children
// itself or ignores SIGCHLD, the last program's status is lost and the code is KFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED: a
// command is never taken for successful without proof. May be called from any thread, also one that is cancelled
// meanwhile, and throws std::bad_alloc: in both cases no child is left running.
PipelineResult runPipeline(const std::vector<ProgramWords>& programs, const PipelineLimits& limits);

}  // namespace qmfi_runtime

#endif
