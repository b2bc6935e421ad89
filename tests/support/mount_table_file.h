// The mount table of the private root, written by the tests.
#ifndef MOUNT_TABLE_FILE_H
#define MOUNT_TABLE_FILE_H

#include <string>

// Empties the table when made and puts back what was there when it goes.
class MountTableFile {
 public:
  MountTableFile();
  ~MountTableFile();
  MountTableFile(const MountTableFile&) = delete;
  MountTableFile& operator=(const MountTableFile&) = delete;

  // Adds a line.
  void add(const std::string& device, const std::string& mountPoint, const std::string& type = "qmfs",
           const std::string& options = "rw");
  // Replaces the whole text.
  void write(const std::string& text);
  std::string read() const;
  // Makes it impossible to open, until something is added or written.
  void makeUnreadable();

 private:
  std::string m_before;
};

#endif
