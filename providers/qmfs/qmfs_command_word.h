// Names that a command line can carry.
#ifndef QMFS_COMMAND_WORD_H
#define QMFS_COMMAND_WORD_H

#include <optional>
#include <string>

// A path or device name that stays one word of a command line, and that no program takes for an option. Nothing is
// quoted, so a command with any other name would act on something else. There is no word but a checked one.
class CommandWord {
 public:
  // The name as a word. None for a missing name, and for one that holds a blank, a tab, a line feed or a NUL, begins
  // like an option, or is the lone bar that begins another program.
  static std::optional<CommandWord> of(const char* name);
  static std::optional<CommandWord> of(const std::string& name);

  const std::string& text() const { return m_text; }
  // NOLINTNEXTLINE(readability-identifier-naming): as the standard strings have it.
  const char* c_str() const { return m_text.c_str(); }

 private:
  explicit CommandWord(std::string text);

  std::string m_text;
};

#endif
