// Looking in /proc for programs that a host left running when it was killed.
#include "snapshot/orphaned_programs.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace qmfi_host {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds patience(5);
constexpr std::chrono::milliseconds pause(5);

// Whether the visitor says true of an entry; the first ends it. Processes come and go; a directory that cannot be read
// on is at its end.
template <typename Visitor>
bool anyEntry(const fs::path& directory, Visitor visit) {
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    if (visit(entry->path())) return true;
  }
  return false;
}

std::vector<std::string> wordsOf(const fs::path& process) {
  std::ifstream commandLine(process / "cmdline");
  std::vector<std::string> words;
  for (std::string word; std::getline(commandLine, word, '\0');) words.push_back(word);
  return words;
}

bool isMentioned(const Snapshot& snapshot, const std::string& word) {
  return std::any_of(snapshot.nodes.begin(), snapshot.nodes.end(), [&](const SnapshotNode& node) {
    return word == node.alternate || word == node.volume.snapshotDevice;
  });
}

// A child that is about to become another program is still this one, but has its standard streams only; a qmfi that
// waits for the lock has that open.
bool isAboutToBecomeAnother(const fs::path& process) {
  std::error_code error;
  const fs::path program = fs::read_symlink(process / "exe", error);
  if (error || program != fs::read_symlink("/proc/self/exe", error)) return false;
  int descriptors = 0;
  anyEntry(process / "fd", [&](const fs::path&) { return ++descriptors > STDERR_FILENO + 1; });
  return descriptors <= STDERR_FILENO + 1;
}

bool isAtWork(const fs::path& process, const Snapshot& snapshot) {
  const std::vector<std::string> words = wordsOf(process);
  return isAboutToBecomeAnother(process) ||
         std::any_of(words.begin(), words.end(), [&](const std::string& word) { return isMentioned(snapshot, word); });
}

bool anyIsAtWork(const Snapshot& snapshot) {
  const std::string self = std::to_string(getpid());
  return anyEntry("/proc", [&](const fs::path& entry) {
    const std::string name = entry.filename();
    const bool isProcess =
        std::all_of(name.begin(), name.end(), [](char digit) { return digit >= '0' && digit <= '9'; });
    return isProcess && name != self && isAtWork(entry, snapshot);
  });
}

}  // namespace

void waitForOrphanedPrograms(const Snapshot& snapshot) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (anyIsAtWork(snapshot) && std::chrono::steady_clock::now() < deadline) std::this_thread::sleep_for(pause);
}

}  // namespace qmfi_host
