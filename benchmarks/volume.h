// Volumes of the testbed: what is written to them, and how they are split.
#ifndef VOLUME_H
#define VOLUME_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "system/descriptor.h"

namespace bench {

// A mounted volume, and a file beside the volume's own that becomes its clone. All but the destructor throws
// std::system_error.
class Volume {
 public:
  explicit Volume(const std::string& mountPoint);
  Volume(const Volume&) = delete;
  Volume& operator=(const Volume&) = delete;
  ~Volume();

  const std::string& path() const { return m_path; }
  // Descriptor of the mount point.
  int directory() const { return m_directory.get(); }
  // Descriptor of the clone, for reading and writing.
  int clone() const { return m_clone.get(); }

  // Writes out everything down to the disk that the volume's file lies on.
  void flush() const;
  // Makes the clone what the volume is now.
  void split() const;
  // Writes a new file that stays in memory for now.
  void makeDirty(std::size_t megabytes) const;
  // Takes that file and the clone's content away again and writes everything out.
  void clean() const;

 private:
  std::string m_path;
  qmfi_system::Descriptor m_directory;
  std::string m_imagePath;
  qmfi_system::Descriptor m_image;
  qmfi_system::Descriptor m_clone;
};

// The volumes that are mounted on /bench/0, /bench/1 and so on.
std::vector<std::unique_ptr<Volume>> mountedVolumes();

}  // namespace bench

#endif
