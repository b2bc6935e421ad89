// A directory of its own for one test, removed with all its contents.
#ifndef SUPPORT_TEMPORARY_DIRECTORY_H
#define SUPPORT_TEMPORARY_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "support/text_file.h"

class TemporaryDirectory {
 public:
  TemporaryDirectory() : m_path((std::filesystem::temp_directory_path() / "qmfi-test.XXXXXX").string()) {
    if (mkdtemp(m_path.data()) == nullptr) throw std::runtime_error("no temporary directory");
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  const std::string& path() const { return m_path; }
  std::string file(const std::string& name) const { return m_path + "/" + name; }

  // The whole of a file; empty when there is none.
  std::string read(const std::string& name) const { return textOf(file(name)); }
  // Writes a file and returns its path.
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
  }
  // Makes a directory in it and returns its path.
  std::string makeDirectory(const std::string& name) const {
    std::filesystem::create_directories(file(name));
    return file(name);
  }

 private:
  std::string m_path;
};

#endif
