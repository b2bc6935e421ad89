// What belongs to the process that loads the plug-in.
#include "host_state.h"

#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

constexpr mode_t unusualMask = 0137;
constexpr mode_t usualMask = 022;
constexpr const char* variable = "CONTRACT_HOST_STATE";

void handle(int) {}

void setHandler(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigaction(signal, &action, nullptr);
}

void changeMask(int how) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGUSR1);
  sigaddset(&set, SIGPIPE);
  pthread_sigmask(how, &set, nullptr);
}

std::string dispositions() {
  std::string text;
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) != 0) continue;
    text += std::to_string(signal) + ":" + std::to_string(reinterpret_cast<std::uintptr_t>(action.sa_handler)) + "/" +
            std::to_string(action.sa_flags) + " ";
  }
  return text;
}

}  // namespace

std::map<std::string, std::string> hostState() {
  std::map<std::string, std::string> state;
  state["locale"] = std::setlocale(LC_ALL, nullptr);
  state["directory"] = std::filesystem::current_path();
  for (char** entry = environ; *entry != nullptr; ++entry) state["environment"] += std::string(*entry) + "\n";
  state["signal actions"] = dispositions();
  std::ifstream status("/proc/thread-self/status");
  for (std::string line; std::getline(status, line);) {
    const std::string name = line.substr(0, line.find(':'));
    // The mask of file modes cannot be asked for without setting it.
    if (name == "Umask" || name == "SigBlk" || name == "ShdPnd") state[name] = line;
  }
  return state;
}

UnusualHostState::UnusualHostState()
    : m_locale(std::setlocale(LC_ALL, nullptr)), m_directory(std::filesystem::current_path()) {
  std::setlocale(LC_ALL, "C.UTF-8");
  umask(unusualMask);
  for (const int signal : {SIGCHLD, SIGALRM, SIGTERM, SIGUSR2}) setHandler(signal, handle);
  changeMask(SIG_BLOCK);
  setenv(variable, "as the host set it", 1);
  std::filesystem::current_path("/usr");
}

UnusualHostState::~UnusualHostState() {
  std::filesystem::current_path(m_directory);
  unsetenv(variable);
  changeMask(SIG_UNBLOCK);
  for (const int signal : {SIGCHLD, SIGALRM, SIGTERM, SIGUSR2}) setHandler(signal, SIG_DFL);
  umask(usualMask);
  std::setlocale(LC_ALL, m_locale.c_str());
}
