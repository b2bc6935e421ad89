// Words of commands for tests.
#ifndef COMMAND_WORD_OF_H
#define COMMAND_WORD_OF_H

#include <string>

#include "qmfs_command_word.h"

// The name as a word; throws where a command cannot carry it.
inline CommandWord wordOf(const std::string& name) {
  return CommandWord::of(name).value();
}

#endif
