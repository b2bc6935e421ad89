// The command pipe, the pauses, the mount table and the search for programs taken over by a test program, so that the
// provider's commands are answered by the test and nothing of the machine is run or read.
#ifndef TESTS_UNIT_PROVIDER_RECORDED_COMMANDS_H
#define TESTS_UNIT_PROVIDER_RECORDED_COMMANDS_H

#include <cstddef>
#include <cstdio>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

// How one command ends. The lines are appended to the caller's output.
struct CommandAnswer {
  int code = 0;
  int exitStatus = 0;
  std::vector<std::string> lines;
  // What the command does meanwhile; may be empty.
  std::function<void()> effect;
  // The code in the pipe's record when it is another than the one returned.
  std::optional<int> recordedCode = std::nullopt;
};

// A command as the pipe was given it.
struct RecordedCommand {
  std::string line;
  int timeoutSeconds = 0;
  // The reserved texts, one behind the other.
  std::string reserved;
  // How many lines the output held already.
  std::size_t linesBefore = 0;
  // The text in the pipe's record: that of its command before, empty for a new pipe.
  std::string textBefore;
};

class RecordedCommands {
 public:
  // The answer to the next command that has none yet; commands without one succeed and print nothing.
  void answerNext(CommandAnswer answer) { m_answers.push_back(std::move(answer)); }

  const std::vector<RecordedCommand>& commands() const { return m_commands; }
  // "sleep N" and the command lines, in order.
  const std::vector<std::string>& events() const { return m_events; }

  // Replaces the mount table, or makes it impossible to open; or replaces it for the next reader only.
  void setMountTable(const std::string& text) { m_mountTable = text; }
  void hideMountTable() { m_isTableHidden = true; }
  void setMountTableOnce(const std::string& text) { m_nextMountTable = text; }
  // Does something whenever the mount table is read.
  void doWhenMountTableIsRead(std::function<void()> action) { m_readingAction = std::move(action); }

  // A signal ends the next pause with that many seconds left.
  void interruptNextSleep(unsigned secondsLeft) { m_secondsLeft = secondsLeft; }

  // Makes a program be found.
  void install(const std::string& program) { m_programs.insert(program); }
  bool isInstalled(const std::string& program) const { return m_programs.count(program) != 0; }

  // What the taken-over functions do.
  CommandAnswer run(RecordedCommand command);
  unsigned sleep(unsigned seconds);
  std::FILE* openMountTable();

 private:
  std::vector<CommandAnswer> m_answers;
  std::vector<RecordedCommand> m_commands;
  std::vector<std::string> m_events;
  std::string m_mountTable;
  std::optional<std::string> m_nextMountTable;
  std::function<void()> m_readingAction;
  bool m_isTableHidden = false;
  unsigned m_secondsLeft = 0;
  std::set<std::string> m_programs;
};

// The one that answers now. Set while a test runs.
extern RecordedCommands* recordedCommands;

#endif
