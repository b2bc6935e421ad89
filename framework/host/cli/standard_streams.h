// The three descriptors that a program may expect to be open.
#ifndef STANDARD_STREAMS_H
#define STANDARD_STREAMS_H

namespace qmfi_host {

// Occupies each standard descriptor that is closed, so that no file that is opened later, as the state's or a file
// system's, is taken for a stream to read or print to. Using such a stream still fails. Called once, before anything is
// opened; without a descriptor to be had the stream stays closed.
void occupyClosedStreams();

}  // namespace qmfi_host

#endif
