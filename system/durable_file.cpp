// Write, write out, rename, write the directory out.
#include "system/durable_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>

#include "system/descriptor.h"

namespace qmfi_system {

namespace {

int writeAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(file, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

int writeNew(const std::string& path, const std::string& text) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) return errno;
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file.valid()) return errno;
  const int error = writeAll(file.get(), text);
  if (error != 0) return error;
  return fsync(file.get()) == 0 ? 0 : errno;
}

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::string unfinishedFileOf(const std::string& path) {
  return path + ".new";
}

int replaceFile(const std::string& path, const std::string& text) {
  const std::string unfinished = unfinishedFileOf(path);
  int error = writeNew(unfinished, text);
  if (error == 0 && rename(unfinished.c_str(), path.c_str()) != 0) error = errno;
  if (error == 0) return writeOutDirectory(directoryOf(path));
  unlink(unfinished.c_str());
  return error;
}

int writeOutDirectory(const std::string& directory) {
  const Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened.valid()) return errno;
  return fsync(opened.get()) == 0 ? 0 : errno;
}

}  // namespace qmfi_system
