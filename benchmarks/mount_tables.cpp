// Look-up of the last entry of mount tables: files, and the kernel's own of real mounts.
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "in_process.h"
#include "qmfs_mount_table.h"
#include "support/temporary_directory.h"
#include "yardsticks/plain_mount_table.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* plot = "look-up";

// A directory for tables and mount points, in a mount namespace of its own so that every mount goes with the program.
class Workshop {
 public:
  Workshop() {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
      throw std::runtime_error("no mount namespace: run this as root");
    }
  }
  Workshop(const Workshop&) = delete;
  Workshop& operator=(const Workshop&) = delete;
  ~Workshop() {
    for (const auto& entry : fs::directory_iterator(path())) umount2(entry.path().c_str(), MNT_DETACH);
  }

  fs::path path() const { return m_directory.path(); }

 private:
  TemporaryDirectory m_directory;
};

std::string mountPoint(int number) {
  return "/srv/data/volume-" + std::to_string(number);
}

// A table of that many entries, each of a length that is common.
std::string makeTable(const fs::path& directory, int entries) {
  std::string path = directory / ("table-" + std::to_string(entries));
  std::ofstream table(path);
  for (int number = 1; number <= entries; ++number) {
    table << "/dev/qm/dsk/group-" << number / 16 << "/volume-" << number << ' ' << mountPoint(number)
          << " qmfs rw,relatime,log,ioerror=mwdisable 0 0\n";
  }
  if (!table.flush()) throw std::runtime_error("cannot write " + path);
  return path;
}

struct LookUp {
  std::string table;
  std::string mountPoint;
  std::string type;
};

bench::Work ours(const LookUp& look) {
  return [=](benchmark::State& state) {
    for (auto round : state) {
      char* device = nullptr;
      char* options = nullptr;
      const int found = searchMountTable(look.table.c_str(), MountTableKey::mountPoint, look.mountPoint.c_str(),
                                         look.type.c_str(), &device, &options);
      std::free(device);
      std::free(options);
      if (found != 1) return state.SkipWithError("not found");
    }
  };
}

bench::Work plainRead(const LookUp& look) {
  return [=](benchmark::State& state) {
    for (auto round : state) {
      if (bench::readWhole(look.table.c_str()) == 0) return state.SkipWithError("nothing read");
    }
  };
}

using OtherLookUp = bool (*)(const char*, const char*);

bench::Work other(const LookUp& look, OtherLookUp lookUp) {
  return [=](benchmark::State& state) {
    for (auto round : state) {
      if (!lookUp(look.table.c_str(), look.mountPoint.c_str())) return state.SkipWithError("not found");
    }
  };
}

void compareLookUp(const std::string& what, const LookUp& look, double readGoal, const bench::PlotPlace& place) {
  const auto entries = static_cast<int>(place.place);
  bench::compare("5", what, ours(look),
                 {{"reading the table", plainRead(look), readGoal},
                  {"libmount's parse and find", other(look, bench::libmountFinds), 0.4},
                  {"getmntent_r over every line", other(look, bench::everyLineFinds)}},
                 {.repetitions = entries > 1000 ? 11 : 25, .noise = entries == 1000, .plot = place});
}

}  // namespace

// Runs for one table: the kernel's changes with the mounts, so each number of mounts is a run of its own.
int main(int count, char** words) {
  if (count != 4) return 2;
  const std::string kind = words[2];
  const int entries = std::stoi(words[3]);
  const Workshop workshop;
  if (kind == "file") {
    const std::string table = makeTable(workshop.path(), entries);
    compareLookUp("look-up, last of " + std::to_string(entries) + " in a file", {table, mountPoint(entries), "qmfs"}, 0,
                  {plot, "in a file", static_cast<double>(entries)});
  } else {
    fs::path last;
    for (int number = 1; number <= entries; ++number) {
      last = workshop.path() / ("mount-" + std::to_string(number));
      if (mkdir(last.c_str(), 0700) != 0 || mount("bench", last.c_str(), "tmpfs", 0, "size=64k") != 0) {
        throw std::runtime_error("cannot mount on " + last.string());
      }
    }
    compareLookUp("look-up, last of " + std::to_string(entries) + " real mounts", {"/proc/self/mounts", last, "tmpfs"},
                  1.3, {plot, "real mounts", static_cast<double>(entries)});
  }
  return bench::runComparisons(2, words);
}
