// Which system calls need room in a storage.
#ifndef STORAGE_CALLS_H
#define STORAGE_CALLS_H

#include <string>
#include <utility>
#include <vector>

#include "support/supervision/tracer.h"

namespace faults {

// Some directories with all that is below them, as if they were one disk.
class Storage {
 public:
  explicit Storage(std::vector<std::string> directories) : m_directories(std::move(directories)) {}

  // Whether the call makes a file, lengthens one, or copies into one. What is there already may be written over.
  bool mustGrow(const SystemCall& call) const;
  // Whether the call waits until a file is written out.
  bool isWrittenOut(const SystemCall& call) const;

 private:
  bool has(const std::string& path) const;
  bool hasNew(const std::string& path) const;
  bool makesFile(const SystemCall& call) const;

  std::vector<std::string> m_directories;
};

}  // namespace faults

#endif
