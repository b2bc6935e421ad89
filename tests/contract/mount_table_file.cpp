// The mount table of the private root, written by the tests.
#include "mount_table_file.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "private_root.h"

namespace {

const char* const path = "/etc/mtab";

}  // namespace

MountTableFile::MountTableFile() {
  requirePrivateRoot();
  m_before = read();
  write("");
}

MountTableFile::~MountTableFile() {
  write(m_before);
}

void MountTableFile::add(const std::string& device, const std::string& mountPoint, const std::string& type,
                         const std::string& options) {
  std::ofstream(path, std::ios::app) << device << " " << mountPoint << " " << type << " " << options << " 0 0\n";
}

void MountTableFile::write(const std::string& text) {
  std::ofstream(path) << text;
}

std::string MountTableFile::read() const {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

void MountTableFile::makeUnreadable() {
  std::filesystem::remove(path);
}
