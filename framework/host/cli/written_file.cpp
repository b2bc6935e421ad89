// Whole or not at all.
#include "cli/written_file.h"

#include <cerrno>

#include "failure/host_error.h"
#include "system/durable_file.h"

namespace qmfi_host {

void writeAskedFile(const std::string& what, const std::string& path, const std::string& text) {
  const int error = qmfi_system::replaceFile(path, text);
  if (error == 0) return;
  errno = error;
  throw systemErrorOfNamed(what + " " + path + " cannot be written").about(path);
}

}  // namespace qmfi_host
