// The provider that is examined.
#ifndef SUBJECT_H
#define SUBJECT_H

#include <filesystem>
#include <string>
#include <vector>

#include "provider/provider_descriptor.h"
#include "snapshot/mounted_file_system.h"

namespace qmfi_host {

// A provider's library and where it is tried.
struct Subject {
  std::filesystem::path library{};        // absolute
  std::string name{};                     // of the provider
  ProviderDescriptor descriptor{};        // the defaults when there is none
  std::string descriptorFault{};          // what is wrong with the file beside the library; empty for nothing
  std::vector<FileSystemPlace> places{};  // the file systems on which it is tried
};

// Reads what stands beside the library; loads nothing. mountPoints: absolute and without links. Throws HostError for a
// file that is not there, one whose name is not lib<name>.so, and a mount point that is none of a device.
Subject subjectOf(const std::filesystem::path& library, const std::vector<std::string>& mountPoints);

}  // namespace qmfi_host

#endif
