// Where the stand-in programs and the tests that direct them meet. The environment of a command is fixed, so the place
// is too; it lies in the private root and goes with it.
#ifndef STAND_IN_FILES_H
#define STAND_IN_FILES_H

#include <algorithm>
#include <string>

inline const std::string STAND_IN_DIRECTORY = "/tmp/stand-in-programs";
inline const std::string STAND_IN_RECORD = STAND_IN_DIRECTORY + "/commands";

// The answer of a program to its next call is the file <base>.<number> with the lowest number, which goes with the
// call; without one it is <base>.always.
inline std::string standInAnswerBase(std::string program) {
  std::replace(program.begin(), program.end(), '/', '_');
  return STAND_IN_DIRECTORY + "/" + program;
}

#endif
