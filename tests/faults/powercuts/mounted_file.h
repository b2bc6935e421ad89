// A file system in a file, mounted.
#ifndef MOUNTED_FILE_H
#define MOUNTED_FILE_H

#include <string>

namespace faults {

// Mounted from its beginning to its end.
class MountedFile {
 public:
  // node: what the loop device over the file is called; a name is made up where it is empty. Throws std::exception.
  MountedFile(const std::string& file, const std::string& type, std::string directory, std::string node = {});
  MountedFile(const MountedFile&) = delete;
  MountedFile& operator=(const MountedFile&) = delete;
  ~MountedFile();

 private:
  std::string m_directory;
  std::string m_node;
};

}  // namespace faults

#endif
