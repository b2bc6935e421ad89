// mount: stands before the system's own mount for the two things that it cannot know about qmfs.
//  - The kernel calls a mounted qmfs by the name of the type below it, so "mount -t qmfs" lists from /etc/mtab.
//  - The option flag may come twice in a row ("-o  -o OPTIONS"), which counts as once.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <vector>

#include "programs/mount_table.h"

namespace testbed {

namespace {

constexpr const char* systemMount = "/usr/libexec/qmfs-testbed/mount";

int listQmfs() {
  try {
    for (const auto& line : qmfsMounts()) {
      std::printf("%s on %s type qmfs (%s)\n", line.device.c_str(), line.directory.c_str(), line.options.c_str());
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "mount: %s\n", error.what());
    return 1;
  }
}

bool same(const char* word, const char* other) {
  return std::strcmp(word, other) == 0;
}

int mountFront(int count, char** words) {
  if (count == 3 && same(words[1], "-t") && same(words[2], "qmfs")) return listQmfs();
  std::vector<char*> arguments;
  for (int i = 0; i < count; ++i) {
    if (i + 1 < count && same(words[i], "-o") && same(words[i + 1], "-o")) continue;
    arguments.push_back(words[i]);
  }
  arguments.push_back(nullptr);
  execv(systemMount, arguments.data());
  std::perror("mount");
  return 127;
}

}  // namespace

}  // namespace testbed

int main(int count, char** words) {
  return testbed::mountFront(count, words);
}
