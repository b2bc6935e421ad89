// Making of pipes.
#include "system/pipe.h"

#include <fcntl.h>

namespace qmfi_system {

Descriptor aboveStandardStreams(Descriptor fd) {
  if (!fd.valid() || fd.get() > STDERR_FILENO) return fd;
  return Descriptor(fcntl(fd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

Pipe makePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  Pipe pipe{Descriptor(ends[0]), Descriptor(ends[1])};
  pipe.readEnd = aboveStandardStreams(std::move(pipe.readEnd));
  pipe.writeEnd = aboveStandardStreams(std::move(pipe.writeEnd));
  return pipe;
}

}  // namespace qmfi_system
