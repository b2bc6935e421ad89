// The longest that a writer stands still while a file system is snapshotted whose volume lies in very many pieces, so
// that copying it takes longer than it may be frozen.
//
// Runs in the testbed, with a volume of 2000M mounted on /bench/0.
#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "comparison.h"
#include "live_writers.h"
#include "system/checked.h"
#include "system/descriptor.h"
#include "system/loop_device.h"
#include "yardsticks/plain_spawn.h"

namespace {

constexpr const char* mountPoint = "/bench/0";
constexpr std::uint32_t pieces = 192'000;
constexpr std::size_t block = 4096;
constexpr int snapshots = 5;
constexpr double longestStall = 1200;  // milliseconds
constexpr std::chrono::minutes programTime(5);

qmfi_system::Descriptor openFile(const std::string& path, int flags) {
  return qmfi_system::Descriptor(qmfi_system::checked(open(path.c_str(), flags | O_CLOEXEC, 0600), path));
}

// Every second block of a file is written, the others stay holes in the volume's own file.
void fragment() {
  const auto file = openFile(std::string(mountPoint) + "/fragments", O_WRONLY | O_CREAT);
  qmfi_system::checked(fallocate(file.get(), 0, 0, off_t{pieces} * 2 * block), "fallocate");
  const std::vector<char> content(block, 'x');
  for (off_t piece = 0; piece < off_t{pieces}; ++piece) {
    if (pwrite(file.get(), content.data(), block, piece * 2 * off_t{block}) != ssize_t{block}) {
      throw std::system_error(errno, std::generic_category(), "the fragments cannot be written");
    }
  }
  qmfi_system::checked(fsync(file.get()), "fsync");
}

std::uint32_t extentsOf(const std::string& path) {
  const auto file = openFile(path, O_RDONLY);
  fiemap map{};
  map.fm_length = FIEMAP_MAX_OFFSET;
  map.fm_flags = FIEMAP_FLAG_SYNC;
  qmfi_system::checked(ioctl(file.get(), FS_IOC_FIEMAP, &map), path);
  return map.fm_mapped_extents;
}

int qmfi(const bench::Words& words) {
  bench::Words command{"/usr/bin/qmfi", "snapshot"};
  command.insert(command.end(), words.begin(), words.end());
  std::string output;
  const int status = bench::spawnAndCapture({command}, output, programTime);
  if (status != 0) std::cerr << output;
  return status;
}

// Whether the copy is complete in time or given up is not what is measured.
double longestStallOfASnapshot() {
  bench::LiveWriters writers({mountPoint});
  const int created = qmfi({"create", mountPoint, "--name", "bench", "--freeze-timeout", "1", "--overcommit"});
  const double stall = bench::longestStall(writers.stop());
  if (created == 0 && qmfi({"delete", "bench"}) != 0) throw std::runtime_error("the snapshot cannot be deleted");
  return stall;
}

}  // namespace

int main(int count, char** words) {
  if (count != 2) return 2;
  fragment();
  struct stat status {};
  qmfi_system::checked(stat(mountPoint, &status), mountPoint);
  const std::uint32_t extents = extentsOf(qmfi_system::backingFileName(status.st_dev));
  if (extents < pieces) throw std::runtime_error("the volume has only " + std::to_string(extents) + " extents");

  double longest = 0;
  for (int snapshot = 0; snapshot < snapshots; ++snapshot) longest = std::max(longest, longestStallOfASnapshot());
  const std::string what = "longest stall, time-out 1 s, a volume of " + std::to_string(extents) + " extents";
  bench::writeComparisons(words[1], {{"14", what, "", "ms", {longest}, {}, longestStall}});
  return 0;
}
