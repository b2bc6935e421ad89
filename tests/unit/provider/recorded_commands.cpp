// The command pipe, the pauses and the mount table taken over by a test program.
#include "recorded_commands.h"

#include "cfiexecpipe.h"

#include <mntent.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

RecordedCommands* recordedCommands = nullptr;

CommandAnswer RecordedCommands::run(RecordedCommand command) {
  m_events.push_back(command.line);
  m_commands.push_back(std::move(command));
  CommandAnswer answer;
  if (m_commands.size() <= m_answers.size()) {
    answer = m_answers[m_commands.size() - 1];
  }
  if (answer.effect) {
    answer.effect();
  }
  return answer;
}

void RecordedCommands::sleep(unsigned seconds) {
  m_events.push_back("sleep " + std::to_string(seconds));
}

std::FILE* RecordedCommands::openMountTable() const {
  if (m_isTableHidden) {
    errno = ENOENT;
    return nullptr;
  }
  std::FILE* const table = std::tmpfile();
  if (table != nullptr) {
    std::fwrite(m_mountTable.data(), 1, m_mountTable.size(), table);
    std::rewind(table);
  }
  return table;
}

extern "C" {

unsigned sleep(unsigned seconds) {
  recordedCommands->sleep(seconds);
  return 0;
}

std::FILE* setmntent(const char*, const char*) noexcept {
  return recordedCommands->openMountTable();
}
}

namespace qmfi_pdk_4_4 {

int CFiExecPipeBase::Exec(const std::string& command, std::vector<std::string>& output, const std::string& input,
                          int timeoutSeconds, const std::string& user, const std::string& domain,
                          const std::string& password) {
  const CommandAnswer answer =
      recordedCommands->run({command, timeoutSeconds, input + user + domain + password, output.size()});
  output.insert(output.end(), answer.lines.begin(), answer.lines.end());
  std::string text;
  for (const std::string& line : answer.lines) {
    text += line;
  }
  m_lastError = EFiExecPipe(text, answer.code, answer.exitStatus);
  return answer.code;
}

}  // namespace qmfi_pdk_4_4
