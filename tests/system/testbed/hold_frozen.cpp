// A program for the testbed that freezes file systems and stays, with a writer waiting for each of them.
// Arguments: a file to make when all is so, then the mount points.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <vector>

#include "support/freeze_requests.h"
#include "support/writer.h"

int main(int count, char** words) {
  using testbed_test::OpenDirectory;
  std::vector<std::unique_ptr<OpenDirectory>> directories;
  std::vector<int> descriptors;
  for (int i = 2; i < count; ++i) {
    directories.push_back(std::make_unique<OpenDirectory>(words[i]));
    descriptors.push_back(directories.back()->get());
  }
  if (testbed_test::freezeAll(descriptors.at(0), descriptors, 1000) != 0) return 1;
  std::vector<std::unique_ptr<testbed_test::Writer>> writers;
  for (int i = 2; i < count; ++i) {
    writers.push_back(std::make_unique<testbed_test::Writer>(std::string(words[i]) + "/file"));
    if (!writers.back()->waitUntilBlocked()) return 1;
  }
  std::ofstream(words[1]) << "frozen";
  for (;;) pause();
}
