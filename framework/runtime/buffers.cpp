// The framework's buffers.
#include <algorithm>
#include <cstdlib>

#include "kfi.h"

void* qmfi_alloc_buf(size_t size) {
  return std::calloc(1, std::max<size_t>(size, 1));
}

void qmfi_free_buf(void* buffer, size_t /*size*/) {
  std::free(buffer);
}
