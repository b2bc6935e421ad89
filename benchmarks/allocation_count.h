// How often the program has asked for memory.
#ifndef ALLOCATION_COUNT_H
#define ALLOCATION_COUNT_H

#include <cstddef>

namespace bench {

// Calls of malloc, calloc and realloc by the program and its libraries, from any thread.
std::size_t allocationCount();

}  // namespace bench

#endif
