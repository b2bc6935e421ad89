// mkfs.qmfs: makes a qmfs file system on a raw or block device, over whatever it held.
#include <cstdio>
#include <string>

#include "common/program.h"
#include "programs/device_probe.h"

int main(int count, char** words) {
  if (count != 2 || words[1][0] == '-') {
    std::fputs("usage: mkfs.qmfs DEVICE\n", stderr);
    return 1;
  }
  return testbed::runProgram({"/sbin/mkfs.xfs", "-q", "-K", "-f", "-L", testbed::qmfsLabel, words[1]});
}
