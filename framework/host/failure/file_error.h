// What is wrong in a file that somebody has written by hand.
#ifndef FILE_ERROR_H
#define FILE_ERROR_H

#include <cstdint>
#include <string>

#include "failure/host_error.h"

namespace qmfi_host {

// A place in a file.
struct FilePlace {
  std::string file;
  std::uint32_t line = 0;  // from 1; 0 for the file as a whole
  std::string key{};       // the whole name ("create.require"); empty where it is about none
};

// A file cannot be used as it is. The text tells the place, what is wrong there and what to do.
class FileError : public HostError {
 public:
  // problem: what is wrong, as it stands behind the key where there is one: "must be a table". mend: what to do.
  FileError(Failure failure, FilePlace place, const std::string& problem, const std::string& mend);
  // A failure that is about a file as a whole, and stays what it is.
  FileError(const HostError& error, const std::string& file) : HostError(error), m_place{file} {}

  const FilePlace& place() const { return m_place; }

 private:
  FilePlace m_place;
};

}  // namespace qmfi_host

#endif
