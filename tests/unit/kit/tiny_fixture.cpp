// Where the tiny provider is.
#include "tiny_fixture.h"

#include "build_tree.h"

std::string builtTinyProvider() {
  return QMFI_BINARY_DIR "/lib/libtinyfi.so";
}
