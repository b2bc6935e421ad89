// Pipes.
#ifndef SYSTEM_PIPE_H
#define SYSTEM_PIPE_H

#include "system/descriptor.h"

namespace qmfi_system {

// Both ends of a pipe, closed on exec, or none.
struct Pipe {
  Descriptor readEnd;   // what is written comes out here
  Descriptor writeEnd;  // the reader meets the end when this one and all its copies are closed

  // Whether it has both ends.
  bool valid() const { return readEnd.valid() && writeEnd.valid(); }
};

// Makes a pipe whose ends can become standard streams of a program: a host may have closed its own, and neither end
// takes their place. It is not valid() where there are no descriptors left; errno says why. Thread-safe.
Pipe makePipe();

// Moves a descriptor out of the range that standard streams take, with a copy that is closed on exec. An invalid one
// stays invalid; the result is invalid, with errno, when there are no descriptors left. Thread-safe.
Descriptor aboveStandardStreams(Descriptor fd);

}  // namespace qmfi_system

#endif
