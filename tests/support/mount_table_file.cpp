// The mount table of the private root, written by the tests.
#include "support/mount_table_file.h"

#include <filesystem>
#include <fstream>

#include "support/private_root.h"
#include "support/text_file.h"

namespace {

constexpr const char* path = "/etc/mtab";

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
  return textOf(path);
}

void MountTableFile::makeUnreadable() {
  std::filesystem::remove(path);
}
