// The command pipe's interface: a command line in, output lines and an error record out.
#include <algorithm>
#include <chrono>
#include <iterator>
#include <numeric>

#include "cfiexecpipe.h"
#include "command_line.h"
#include "process_pipeline.h"

namespace qmfi_pdk_4_4 {

namespace {

// Line feeds end lines; a last line without one counts.
std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.emplace_back(text, begin, end - begin);
    begin = end + 1;
  }
  return lines;
}

}  // namespace

CFiExecPipeBase::~CFiExecPipeBase() = default;

int CFiExecPipeBase::Exec(const std::string& command, std::vector<std::string>& output, const std::string& /*input*/,
                          int timeoutSeconds, const std::string& /*user*/, const std::string& /*domain*/,
                          const std::string& /*password*/) {
  const auto programs = qmfi_runtime::parseCommandLine(command);
  if (!programs) {
    m_lastError = EFiExecPipe(command + ": no program, or a stage without one", KFI_EXEC_PIPE_PARSE_COMMAND_FAILED, 0);
    return KFI_EXEC_PIPE_PARSE_COMMAND_FAILED;
  }
  auto result = qmfi_runtime::runPipeline(*programs, {.time = std::chrono::seconds(std::max(timeoutSeconds, 1))});
  std::vector<std::string> lines = splitLines(result.output);
  if (result.reason.empty() && result.code != KFI_EXEC_PIPE_SUCCESS) {
    result.reason = std::accumulate(lines.begin(), lines.end(), std::string());
  }
  m_lastError = EFiExecPipe(std::move(result.reason), result.code, result.exitStatus);
  output.insert(output.end(), std::make_move_iterator(lines.begin()), std::make_move_iterator(lines.end()));
  return result.code;
}

CFiExecPipePosix::CFiExecPipePosix(int /*mode*/) {}

}  // namespace qmfi_pdk_4_4
