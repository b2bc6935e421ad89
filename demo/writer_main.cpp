// qmfs-demo-writer LOG PROGRESS: numbers the three file systems until SIGTERM.
//
// LOG: file that gets a record of every completed write. PROGRESS: descriptor that gets a byte for every completed
// number; what finds no room there is lost.
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "ledger.h"

namespace {

volatile std::sig_atomic_t stop = 0;

// Room on the disk before the first number, so that a write changes nothing but the number.
int makeFile(const std::string& path) {
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  constexpr off_t room = 4096;
  if (file < 0 || posix_fallocate(file, 0, room) != 0 || fsync(file) != 0) return -1;
  return file;
}

bool writeNumber(int file, std::uint64_t number) {
  const std::string text = demo::numberText(number);
  return pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()) && fsync(file) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  using demo::Clock;
  if (argc != 3) return 2;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::signal(SIGTERM, [](int) { stop = 1; });
  std::signal(SIGPIPE, SIG_IGN);
  const int log = open(argv[1], O_WRONLY | O_APPEND | O_CLOEXEC);
  const int progress = static_cast<int>(std::strtol(argv[2], nullptr, 10));
  std::array<int, demo::fileSystems> files;
  for (std::size_t i = 0; i < files.size(); ++i) files[i] = makeFile(demo::numberFile(demo::ledgerMountPoints[i]));
  for (std::uint64_t number = 1; stop == 0; ++number) {
    for (std::size_t i = 0; i < files.size(); ++i) {
      demo::LogEntry entry{i, number, Clock::now(), {}};
      if (!writeNumber(files[i], number)) {
        std::perror("qmfs-demo-writer");
        return 1;
      }
      entry.ended = Clock::now();
      if (write(log, &entry, sizeof entry) != sizeof entry) return 1;
    }
    const ssize_t told = write(progress, "", 1);
    static_cast<void>(told);
  }
  return 0;
}
