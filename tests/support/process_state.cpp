// Descriptors and children of the test's own process.
#include "support/process_state.h"

#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

namespace fs = std::filesystem;

std::vector<std::string> openDescriptors() {
  std::vector<std::string> open;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const fs::path path = fs::read_symlink(entry.path(), error);
    if (!error && !path.string().starts_with("/proc/")) {
      open.push_back(entry.path().filename().string() + " " + path.string());
    }
  }
  std::sort(open.begin(), open.end());
  return open;
}

std::vector<int> descriptorsOf(const std::string& path) {
  std::vector<int> found;
  for (const std::string& entry : openDescriptors()) {
    if (entry.substr(entry.find(' ') + 1) == path) found.push_back(std::stoi(entry));
  }
  return found;
}

bool hasChild() {
  return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}
