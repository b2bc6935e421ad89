// Names that a command line can carry.
#include "qmfs_command_word.h"

#include <string_view>
#include <utility>

CommandWord::CommandWord(std::string text) : m_text(std::move(text)) {}

std::optional<CommandWord> CommandWord::of(const char* name) {
  return name != nullptr ? of(std::string(name)) : std::nullopt;
}

std::optional<CommandWord> CommandWord::of(const std::string& name) {
  constexpr std::string_view separators(" \t\n\0", 4);
  const bool isOneWord = name.find_first_of(separators) == std::string::npos && name != "|";
  return isOneWord && !name.starts_with('-') ? std::optional(CommandWord(name)) : std::nullopt;
}
