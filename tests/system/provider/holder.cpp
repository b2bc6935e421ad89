// Keeping a file system busy from another process.
#include "holder.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <utility>

namespace provider_test {

namespace {

constexpr const char* program = "/opt/KRIB/bin/qmumount";
constexpr const char* putAside = "/opt/KRIB/bin/qmumount.aside";

// Says by one byte that it holds the file, and waits for the other end to be closed.
[[noreturn]] void hold(const std::string& file, int control) {
  const int held = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  char byte = 0;
  if (held < 0 || unshare(CLONE_NEWNS) != 0 || write(control, &byte, 1) != 1) _exit(1);
  _exit(read(control, &byte, 1) == 0 ? 0 : 1);
}

}  // namespace

Holder::Holder(const std::string& file) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("no socket pair");
  m_control = ends[0];
  m_process = fork();
  if (m_process == 0) {
    close(ends[0]);
    hold(file, ends[1]);
  }
  close(ends[1]);
  char byte = 0;
  if (m_process > 0 && read(m_control, &byte, 1) == 1) return;
  release();
  throw std::runtime_error("cannot hold " + file);
}

void Holder::release() {
  if (m_control >= 0) close(std::exchange(m_control, -1));
  if (m_process > 0) waitpid(std::exchange(m_process, -1), nullptr, 0);
}

WithoutForcedUnmount::WithoutForcedUnmount() {
  std::filesystem::rename(program, putAside);
}

WithoutForcedUnmount::~WithoutForcedUnmount() {
  std::error_code ignored;
  std::filesystem::rename(putAside, program, ignored);
}

}  // namespace provider_test
