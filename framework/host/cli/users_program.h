// The user's own program, which works on a snapshot.
#ifndef USERS_PROGRAM_H
#define USERS_PROGRAM_H

#include <sys/resource.h>

#include <string>
#include <vector>

#include "system/program.h"

namespace qmfi_host {

// A program with its arguments as the user wrote them. It gets what the user has: environment, limits, standard streams
// and rights.
class UsersProgram {
 public:
  // Finds the program, as a shell does: by PATH unless its name holds a slash. words: at least one. Throws HostError
  // when there is none, or none that can be run. Made before this process changes its limits.
  explicit UsersProgram(std::vector<std::string> words);

  // Runs it in a directory, and waits for its end. Signals by which users end programs, which are blocked, are passed
  // on to it meanwhile; a terminal sends them to it itself. variables: what its environment has besides the user's,
  // or instead. Leaves this process in the root directory. Returns the program's status as a shell reports it; throws
  // HostError when it cannot be run.
  int run(const std::string& directory, const qmfi_system::Environment& variables) const;

 private:
  std::vector<std::string> m_words;  // the first is an absolute path
  rlimit m_descriptors{};
  rlimit m_fileSize{};
};

}  // namespace qmfi_host

#endif
