// A kernel driver whose answers cost nothing: the program takes the freeze requests itself and agrees.
#ifndef FREE_DRIVER_H
#define FREE_DRIVER_H

namespace bench {

// How many of them there were.
long freezeRequests();

}  // namespace bench

#endif
