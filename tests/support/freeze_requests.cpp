// Issuing freeze requests.
#include "support/freeze_requests.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "support/foreign_framework.h"

namespace testbed_test {

namespace {

int result(int answer) {
  return answer == 0 ? 0 : errno;
}

}  // namespace

OpenDirectory::OpenDirectory(const std::string& path) : m_descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (m_descriptor < 0) throw std::runtime_error("cannot open " + path);
}

OpenDirectory::~OpenDirectory() {
  close(m_descriptor);
}

int freeze(int descriptor, int timeoutSeconds) {
  return result(ioctl(descriptor, QM_FREEZE, timeoutSeconds));
}

int thaw(int descriptor) {
  return result(ioctl(descriptor, QM_THAW, 0));
}

int freezeAll(int issuedOn, const std::vector<std::int32_t>& descriptors, int timeoutSeconds) {
  FreezeAllRecord record{static_cast<std::int32_t>(descriptors.size()), timeoutSeconds, descriptors.data()};
  return result(ioctl(issuedOn, QM_FREEZE_ALL, &record));
}

ThawAtEnd::~ThawAtEnd() {
  for (const int descriptor : m_descriptors) thaw(descriptor);
}

}  // namespace testbed_test
