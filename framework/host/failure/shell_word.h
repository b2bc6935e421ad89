// Words of commands that users are told to run.
#ifndef SHELL_WORD_H
#define SHELL_WORD_H

#include <string>

namespace qmfi_host {

// A text as one word of a shell's: as it is where that is enough, else between quotes.
std::string shellWord(const std::string& text);

}  // namespace qmfi_host

#endif
