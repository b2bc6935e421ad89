// A broken provider where it can be examined.
#ifndef BROKEN_FOLDER_H
#define BROKEN_FOLDER_H

#include <filesystem>
#include <string>

#include "build_tree.h"

// Copies the library and the descriptor of the broken provider into a folder of the fault's name, which is made below
// another one. Returns the library's path. fault: one of broken_faults.def, or "none" for a provider without a fault.
inline std::string brokenProviderIn(const std::filesystem::path& parent, const std::string& fault) {
  namespace fs = std::filesystem;
  const fs::path folder = parent / fault;
  fs::create_directories(folder);
  fs::copy_file(QMFI_BINARY_DIR "/broken/libbrokenfi.so", folder / "libbrokenfi.so");
  fs::copy_file(QMFI_BINARY_DIR "/lib/linuxfsfi.provider", folder / "brokenfi.provider");
  return folder / "libbrokenfi.so";
}

#endif
