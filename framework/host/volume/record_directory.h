// Records of snapshots whose copies have no place beside them.
#ifndef RECORD_DIRECTORY_H
#define RECORD_DIRECTORY_H

#include <filesystem>
#include <string>
#include <vector>

#include "volume/volume_splitter.h"

namespace qmfi_host {

// A directory with a file for each copy, mode 0600: "<name of the copy>.<splitter>", with "%2F" for "/" and "%25" for
// "%". Failures are thrown as HostError.
class RecordDirectory {
 public:
  // directory: is made when it is needed; only root can change it. splitter: whose copies these are.
  RecordDirectory(std::filesystem::path directory, std::string splitter);

  // Throws when the name of a copy is too long for a record.
  void requirePossible(const std::string& snapshotFile) const;
  // Keeps a text, in place of an earlier one; it is on the disk when the call returns.
  void keep(const std::string& snapshotFile, const std::string& text) const;
  // Removes the text of a copy, for good; does nothing where there is none.
  void remove(const std::string& snapshotFile) const;
  // All that are kept.
  std::vector<KeptRecord> all() const;

 private:
  std::string fileOf(const std::string& snapshotFile) const;

  std::filesystem::path m_directory;
  std::string m_suffix;
};

}  // namespace qmfi_host

#endif
