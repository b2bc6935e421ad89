// Where libraries themselves cannot bear that memory is short, and nobody who calls them can help it. Allocations made
// there never fail.
#include <ace/Configuration.h>
#include <dlfcn.h>

#include "support/allocation_faults.h"

// ACE 7.0.8 writes through a null pointer when its pool for the heap finds no memory for its list of chunks.
int ACE_Configuration_Heap::open(std::size_t mapSize) {
  const SoundRegion region;
  using Open = int(ACE_Configuration_Heap*, std::size_t);
  static auto* const real = reinterpret_cast<Open*>(dlsym(RTLD_NEXT, "_ZN22ACE_Configuration_Heap4openEm"));
  return real(this, mapSize);
}
