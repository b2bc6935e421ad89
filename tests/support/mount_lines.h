// Lines of the machine's mount table.
#ifndef SUPPORT_MOUNT_LINES_H
#define SUPPORT_MOUNT_LINES_H

#include <sstream>
#include <string>
#include <vector>

#include "support/text_file.h"

namespace testbed_test {

// The lines of /etc/mtab whose second field, as it stands there, is `directory`.
inline std::vector<std::string> mountLines(const std::string& directory) {
  std::vector<std::string> found;
  for (const std::string& line : linesOf("/etc/mtab")) {
    std::istringstream fields(line);
    std::string device;
    std::string field;
    if (fields >> device >> field && field == directory) found.push_back(line);
  }
  return found;
}

}  // namespace testbed_test

#endif
