// fstyp: prints the name of the file system that a device holds.
#include <cstdio>

#include "programs/device_probe.h"

int main(int count, char** words) {
  if (count != 2) {
    std::fputs("usage: fstyp DEVICE\n", stderr);
    return 2;
  }
  const auto type = testbed::fileSystemType(words[1]);
  if (type.empty()) {
    std::fprintf(stderr, "fstyp: %s: no file system is known there\n", words[1]);
    return 1;
  }
  std::printf("%s\n", type.c_str());
  return 0;
}
