// The command pipe's interface: a command line in, output lines and an error record out.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <numeric>

#include "cfiexecpipe.h"
#include "command_line.h"
#include "failed_output.h"
#include "paths.h"
#include "process_pipeline.h"

namespace qmfi_pdk_4_4 {

namespace {

// A line costs more memory than the line feed that a program makes it with.
constexpr std::size_t mostLines = std::size_t{1} << 20;

// Line feeds end lines; a last line without one counts.
void appendLines(const std::string& text, std::vector<std::string>& lines) {
  const auto feeds = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  const std::size_t most = lines.size() + std::min(feeds + 1, mostLines);
  lines.reserve(most);
  for (std::size_t begin = 0; begin < text.size() && lines.size() < most;) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.emplace_back(text, begin, end - begin);
    begin = end + 1;
  }
}

}  // namespace

int CFiExecPipeBase::Exec(const std::string& command, std::vector<std::string>& output, const std::string& /*input*/,
                          int timeoutSeconds, const std::string& /*user*/, const std::string& /*domain*/,
                          const std::string& /*password*/) {
  const auto programs = qmfi_runtime::parseCommandLine(command);
  if (!programs) {
    m_lastError = EFiExecPipe(command + ": no program, or a stage without one", KFI_EXEC_PIPE_PARSE_COMMAND_FAILED, 0);
    return KFI_EXEC_PIPE_PARSE_COMMAND_FAILED;
  }
  auto result = qmfi_runtime::runPipeline(*programs, {.time = std::chrono::seconds(std::max(timeoutSeconds, 1)),
                                                      .statusKeeper = qmfi_runtime::statusKeeper()});
  const auto before = static_cast<std::ptrdiff_t>(output.size());
  appendLines(result.output, output);
  if (result.reason.empty() && result.code != KFI_EXEC_PIPE_SUCCESS) {
    result.reason = std::accumulate(output.begin() + before, output.end(), std::string());
    qmfi_runtime::rememberFailedOutput({output.begin() + before, output.end()}, result.reason);
  }
  m_lastError = EFiExecPipe(std::move(result.reason), result.code, result.exitStatus);
  return result.code;
}

CFiExecPipePosix::CFiExecPipePosix(int /*mode*/) {}

}  // namespace qmfi_pdk_4_4
