// A directory of its own for one test, removed with all its contents.
#ifndef TESTS_UNIT_KIT_SUPPORT_TEMPORARY_DIRECTORY_H
#define TESTS_UNIT_KIT_SUPPORT_TEMPORARY_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

class TemporaryDirectory {
 public:
  TemporaryDirectory() : m_path((std::filesystem::temp_directory_path() / "qmfi_unit.XXXXXX").string()) {
    if (::mkdtemp(m_path.data()) == nullptr) {
      throw std::runtime_error("no temporary directory");
    }
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  const std::string& path() const { return m_path; }

  // Writes a file and returns its path.
  std::string write(const std::string& name, const std::string& text) const {
    const std::string file = m_path + "/" + name;
    std::ofstream(file, std::ios::binary) << text;
    return file;
  }

 private:
  std::string m_path;
};

#endif
