// Reading to the end of a file.
#include "system/small_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "system/descriptor.h"

namespace qmfi_system {

namespace {

// Files of the kernel tell no size.
constexpr std::size_t firstStep = 4096;

// 0, or why the file is not one to be read as a whole.
int refusalOf(int fd, std::size_t largest, std::size_t& size) {
  struct stat status {};
  if (fstat(fd, &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  size = static_cast<std::size_t>(status.st_size);
  return size > largest ? EFBIG : 0;
}

// 0 at the end of the file, otherwise an errno value. It may have grown since its size was asked for.
int readToEnd(int fd, std::size_t size, std::size_t largest, std::string& text) {
  text.resize(std::max(size + 1, firstStep));
  for (std::size_t length = 0;;) {
    if (length == text.size()) text.resize(2 * length);
    const ssize_t count = read(fd, text.data() + length, text.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    length += static_cast<std::size_t>(count);
    if (length > largest) return EFBIG;
    if (count > 0) continue;
    text.resize(length);
    return 0;
  }
}

}  // namespace

std::optional<std::string> readSmallFile(const std::string& path, std::size_t largest) {
  // Without O_NONBLOCK a pipe under that name would block the open.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file.valid()) return std::nullopt;
  std::size_t size = 0;
  std::string text;
  int error = refusalOf(file.get(), largest, size);
  if (error == 0) error = readToEnd(file.get(), size, largest, text);
  if (error == 0) return text;
  errno = error;
  return std::nullopt;
}

}  // namespace qmfi_system
