// Tells the testbed's private root from a machine's own.
#include "support/private_root.h"

#include <sys/statfs.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

// Both are put there by the testbed, and only in its private root.
constexpr std::array marks = {"/usr/libexec/qmfs-testbed/mount", "/etc/rpm/macros.qmfs-testbed"};

bool isOverlay(const char* path) {
  constexpr long overlayMagic = 0x794c7630;
  struct statfs status {};
  return statfs(path, &status) == 0 && status.f_type == overlayMagic;
}

}  // namespace

void requirePrivateRoot() {
  bool isPrivate = isOverlay("/") && isOverlay("/etc") && isOverlay("/usr/bin");
  for (const char* mark : marks) isPrivate = isPrivate && fs::exists(mark);
  if (!isPrivate) {
    std::fputs("This program changes its machine, so it runs in the testbed only: testbed/qmfs-testbed -- PROGRAM\n",
               stderr);
    std::exit(2);
  }
}
