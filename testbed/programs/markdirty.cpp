// markdirty: makes an unmounted qmfs file system one that the kernel refuses to mount until fsck has run.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/program.h"

namespace testbed {

namespace {

const std::string debugger = "/sbin/xfs_db";
const std::string field = "features_incompat";
constexpr unsigned long needsRepair = 0x10;  // the bit of that field that only a repair clears

int markDirty(const std::string& device) {
  int status = 0;
  const std::string shown = programOutput({debugger, "-r", "-c", "sb 0", "-c", "p " + field, device}, status);
  const auto value = shown.find("0x");
  if (status != 0 || value == std::string::npos) {
    std::fputs(shown.c_str(), stderr);
    return 1;
  }
  char marked[32];
  std::snprintf(marked, sizeof marked, "0x%lx", std::strtoul(shown.c_str() + value, nullptr, 16) | needsRepair);
  const std::string answer =
      programOutput({debugger, "-x", "-c", "sb 0", "-c", "write " + field + " " + marked, device}, status);
  if (status != 0) std::fputs(answer.c_str(), stderr);
  return status;
}

}  // namespace

}  // namespace testbed

int main(int count, char** words) {
  if (count != 2) {
    std::fputs("usage: markdirty DEVICE\n", stderr);
    return 1;
  }
  return testbed::markDirty(words[1]);
}
