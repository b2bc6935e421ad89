// Where the stand-in programs and the tests that direct them meet. The environment of a command is fixed, so the place
// is too; it lies in the private root and goes with it.
#ifndef STAND_IN_FILES_H
#define STAND_IN_FILES_H

#include <algorithm>
#include <string>

inline const std::string STAND_IN_DIRECTORY = "/tmp/stand-in-programs";
inline const std::string STAND_IN_RECORD = STAND_IN_DIRECTORY + "/commands";
inline const std::string STAND_IN_DAEMONS = STAND_IN_DIRECTORY + "/daemons";

// A word as the record has it: what would end a word or a line there stands as a backslash and three octal digits.
inline std::string standInRecordedWord(const std::string& word) {
  std::string recorded;
  for (const char byte : word) {
    switch (byte) {
      case ' ':
        recorded += "\\040";
        break;
      case '\n':
        recorded += "\\012";
        break;
      case '\\':
        recorded += "\\134";
        break;
      default:
        recorded += byte;
    }
  }
  return recorded;
}

// The answer of a program to its next call is the file <base>.<number> with the lowest number, which goes with the
// call; without one it is <base>.always.
inline std::string standInAnswerBase(std::string program) {
  std::replace(program.begin(), program.end(), '/', '_');
  return STAND_IN_DIRECTORY + "/" + program;
}

#endif
