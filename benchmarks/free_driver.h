// A kernel driver whose answers cost nothing: the program's own ioctl takes the freeze requests and agrees.
#pragma once

namespace bench {

// How many of them there were.
long freezeRequests();

}  // namespace bench
