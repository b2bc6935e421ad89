// Finding the files of calls.
#include "support/supervision/storage_calls.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>

namespace faults {

namespace {

std::string linkOf(pid_t pid, const std::string& name) {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/" + name, error).string();
}

std::string descriptorName(const SystemCall& call, std::size_t argument) {
  return "fd/" + std::to_string(static_cast<int>(call.arguments.at(argument)));
}

std::string fileOf(const SystemCall& call) {
  return linkOf(call.pid, descriptorName(call, 0));
}

std::string textOf(const SystemCall& call, std::size_t argument) {
  const int memory = open(("/proc/" + std::to_string(call.pid) + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
  std::array<char, 4096> text{};
  const ssize_t size = pread(memory, text.data(), text.size() - 1, static_cast<off_t>(call.arguments.at(argument)));
  close(memory);
  return size > 0 ? std::string(text.data()) : std::string();
}

// A path below the directory of a descriptor, or below the working directory.
std::string pathAt(const SystemCall& call, std::size_t directory, std::size_t path) {
  const std::filesystem::path name = textOf(call, path);
  const bool isBelowWorking = static_cast<int>(call.arguments.at(directory)) == AT_FDCWD;
  return linkOf(call.pid, isBelowWorking ? "cwd" : descriptorName(call, directory)) / name;
}

std::string pathOf(const SystemCall& call, std::size_t path) {
  return linkOf(call.pid, "cwd") / std::filesystem::path(textOf(call, path));
}

bool clones(const SystemCall& call) {
  const auto request = static_cast<std::uint32_t>(call.arguments[1]);
  return request == FICLONE || request == FICLONERANGE;
}

bool endsBehindFile(const SystemCall& call) {
  struct stat status {};
  if (stat(("/proc/" + std::to_string(call.pid) + "/" + descriptorName(call, 0)).c_str(), &status) != 0) return false;
  return call.arguments[2] + call.arguments[3] > static_cast<std::uint64_t>(status.st_size);
}

}  // namespace

bool Storage::has(const std::string& path) const {
  return std::any_of(m_directories.begin(), m_directories.end(), [&](const std::string& directory) {
    return path == directory || path.starts_with(directory + "/");
  });
}

bool Storage::hasNew(const std::string& path) const {
  std::error_code error;
  return has(path) && std::filesystem::symlink_status(path, error).type() == std::filesystem::file_type::not_found;
}

bool Storage::makesFile(const SystemCall& call) const {
  switch (call.number) {
    case SYS_open:
      return (call.arguments[1] & O_CREAT) != 0 && hasNew(pathOf(call, 0));
    case SYS_openat:
      return (call.arguments[2] & O_CREAT) != 0 && hasNew(pathAt(call, 0, 1));
    case SYS_mkdir:
    case SYS_mknod:
      return hasNew(pathOf(call, 0));
    case SYS_mkdirat:
    case SYS_mknodat:
      return hasNew(pathAt(call, 0, 1));
    default:
      return false;
  }
}

bool Storage::mustGrow(const SystemCall& call) const {
  switch (call.number) {
    case SYS_write:
    case SYS_writev:
    case SYS_fallocate:
      return has(fileOf(call));
    case SYS_pwrite64:
      return has(fileOf(call)) && endsBehindFile(call);
    case SYS_ioctl:
      return clones(call) && has(fileOf(call));
    default:
      return makesFile(call);
  }
}

bool Storage::isWrittenOut(const SystemCall& call) const {
  return (call.number == SYS_fsync || call.number == SYS_fdatasync) && has(fileOf(call));
}

}  // namespace faults
