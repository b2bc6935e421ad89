// umount.xfs: unmounts, and takes the line of a qmfs file system out of /etc/mtab.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "common/program.h"
#include "programs/mount_table.h"

namespace testbed {

namespace {

constexpr int tableFailed = 16;
constexpr int attempts = 3;

// A line that stayed would say for ever that the file system is mounted, and no umount would take it out any more.
void removeLine(const std::string& directory) {
  for (int attempt = 1; attempt < attempts; ++attempt) {
    try {
      return removeMount(directory);
    } catch (const std::exception&) {
      continue;
    }
  }
  removeMount(directory);
}

// umount calls its helpers as DIRECTORY [-nlfvr] [-N namespace] [-t type]; its own switches are the same.
int umountXfs(int count, char** words) {
  if (count < 2) {
    std::fputs("usage: umount.xfs DIRECTORY [-nlfvr]\n", stderr);
    return 1;
  }
  std::vector<std::string> command = {"/bin/umount", "-i"};
  command.insert(command.end(), words + 2, words + count);
  command.emplace_back(words[1]);
  try {
    const std::size_t before = mountsOn(words[1]);
    const int status = runProgram(command);
    // A program that failed in the end may have unmounted all the same.
    if (status != 0 && mountsOn(words[1]) == before) return status;
    removeLine(words[1]);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "umount.xfs: %s\n", error.what());
    return tableFailed;
  }
}

}  // namespace

}  // namespace testbed

int main(int count, char** words) {
  return testbed::umountXfs(count, words);
}
