// The process by what the system tells of it.
#include "conformance/process_state.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include "system/signal_masks.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

constexpr mode_t unusualMask = 0137;

void handle(int /*signal*/) {}

void setHandler(int signal) {
  struct sigaction action {};
  action.sa_handler = handle;
  action.sa_flags = SA_RESTART;
  sigaction(signal, &action, nullptr);
}

std::string signalActions() {
  std::string text;
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) != 0) continue;
    text += std::to_string(signal) + ":" + std::to_string(reinterpret_cast<std::uintptr_t>(action.sa_handler)) + "/" +
            std::to_string(action.sa_flags) + " ";
  }
  return text;
}

std::string environmentText() {
  std::string text;
  for (char** entry = environ; *entry != nullptr; ++entry) text += std::string(*entry) + "\n";
  return text;
}

// "3:/dev/null 5:pipe:[42] ", without the one that lists them.
std::string descriptors() {
  std::set<std::string> lines;
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const fs::path target = fs::read_symlink(entry.path(), error);
    const bool isCounted = !error && !target.string().ends_with("/fd");
    if (isCounted) lines.insert(entry.path().filename().string() + ":" + target.string());
  }
  std::string text;
  for (const std::string& line : lines) text += line + " ";
  return text;
}

std::ptrdiff_t threadCount() {
  return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
}

// A thread that has been joined may be counted for a moment more.
std::string threads() {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  while (threadCount() > 1 && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  return std::to_string(threadCount());
}

}  // namespace

void makeProcessStateUnusual() {
  std::setlocale(LC_ALL, "C.UTF-8");
  umask(unusualMask);
  for (const int signal : {SIGCHLD, SIGALRM, SIGPIPE, SIGUSR2}) setHandler(signal);
  const sigset_t blocked = qmfi_system::signalSet({SIGUSR1, SIGWINCH});
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  setenv("LC_ALL", "tr_TR.UTF-8", 1);
  fs::current_path("/usr");
}

std::map<std::string, std::string> processState() {
  std::map<std::string, std::string> state;
  state["locale"] = std::setlocale(LC_ALL, nullptr);
  state["working directory"] = fs::current_path();
  state["environment"] = environmentText();
  state["signal actions"] = signalActions();
  state["descriptors"] = descriptors();
  state["threads"] = threads();
  std::ifstream status("/proc/thread-self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("Umask:")) state["file mode mask"] = line;
    if (line.starts_with("SigBlk:")) state["blocked signals"] = line;
  }
  return state;
}

bool mayChangeOnce(const std::string& part) {
  return part == "descriptors" || part == "threads";
}

}  // namespace qmfi_host
