// Occupying closed descriptors.
#include "cli/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace qmfi_host {

void occupyClosedStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) >= 0) continue;
    // The lowest number that is free is this one. It is opened for the wrong direction: what cannot be told must not
    // pass for told.
    open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace qmfi_host
