// The command pipe, the pauses, the mount table and the search for programs taken over by a test program.
#include "recorded_commands.h"

#include <fcntl.h>
#include <mntent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "cfiexecpipe.h"

RecordedCommands* recordedCommands = nullptr;

CommandAnswer RecordedCommands::run(RecordedCommand command) {
  m_events.push_back(command.line);
  m_commands.push_back(std::move(command));
  CommandAnswer answer;
  if (m_commands.size() <= m_answers.size()) answer = m_answers[m_commands.size() - 1];
  if (answer.effect) answer.effect();
  return answer;
}

unsigned RecordedCommands::sleep(unsigned seconds) {
  m_events.push_back("sleep " + std::to_string(seconds));
  return std::exchange(m_secondsLeft, 0U);
}

std::FILE* RecordedCommands::openMountTable() {
  if (m_readingAction) m_readingAction();
  if (m_isTableHidden) {
    errno = ENOENT;
    return nullptr;
  }
  const std::string text = std::exchange(m_nextMountTable, std::nullopt).value_or(m_mountTable);
  std::FILE* const table = std::tmpfile();
  if (table != nullptr) {
    std::fwrite(text.data(), 1, text.size(), table);
    std::rewind(table);
  }
  return table;
}

extern "C" {

unsigned sleep(unsigned seconds) {
  return recordedCommands->sleep(seconds);
}

int stat(const char* path, struct stat* status) noexcept {
  const bool isPutThere = recordedCommands != nullptr && recordedCommands->isInstalled(path);
  return isPutThere ? 0 : fstatat(AT_FDCWD, path, status, 0);
}

std::FILE* setmntent(const char*, const char*) noexcept {
  return recordedCommands->openMountTable();
}
}

namespace qmfi_pdk_4_4 {

int CFiExecPipeBase::Exec(const std::string& command, std::vector<std::string>& output, const std::string& input,
                          int timeoutSeconds, const std::string& user, const std::string& domain,
                          const std::string& password) {
  const CommandAnswer answer = recordedCommands->run(
      {command, timeoutSeconds, input + user + domain + password, output.size(), m_lastError.getText()});
  output.insert(output.end(), answer.lines.begin(), answer.lines.end());
  std::string text;
  for (const std::string& line : answer.lines) text += line;
  m_lastError = EFiExecPipe(text, answer.recordedCode.value_or(answer.code), answer.exitStatus);
  return answer.code;
}

}  // namespace qmfi_pdk_4_4
