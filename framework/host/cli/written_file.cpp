// Whole or not at all.
#include "cli/written_file.h"

#include <cerrno>

#include "failure/host_error.h"
#include "system/durable_file.h"

namespace qmfi_host {

void writeAskedFile(const std::string& path, const std::string& text, const std::string& failure) {
  const int error = qmfi_system::replaceFile(path, text);
  if (error == 0) return;
  errno = error;
  throw systemErrorOfNamed(failure).about(path);
}

}  // namespace qmfi_host
