// umount.xfs: unmounts, and takes the line of a qmfs file system out of /etc/mtab.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "common/child_process.h"
#include "programs/mount_table.h"

namespace testbed {

namespace {

constexpr int tableFailed = 16;

// umount calls its helpers as DIRECTORY [-nlfvr] [-N namespace] [-t type]; its own switches are the same.
int umountXfs(int count, char** words) {
  if (count < 2) {
    std::fputs("usage: umount.xfs DIRECTORY [-nlfvr]\n", stderr);
    return 1;
  }
  std::vector<std::string> command = {"/bin/umount", "-i"};
  command.insert(command.end(), words + 2, words + count);
  command.emplace_back(words[1]);
  const int status = runProgram(command);
  if (status != 0) return status;
  try {
    removeMount(words[1]);
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
