// Making disks, and letting them follow a log.
#include "disks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "ledger.h"
#include "mounted_file.h"
#include "support/program_run.h"
#include "system/checked.h"

namespace faults {

namespace fs = std::filesystem;
using qmfi_system::checked;
using qmfi_system::Descriptor;

namespace {

const std::string followers = "/qmfs-pool/powercut";
const std::string copies = "/qmfs-pool/powercut/cut";

void mustRun(const std::vector<std::string>& words) {
  const testbed_test::Outcome outcome = testbed_test::run(words);
  if (outcome.status != 0) throw std::runtime_error(words.front() + " failed: " + outcome.output);
}

void makeFileSystem(const std::string& file, const std::string& type, const std::string& bytes) {
  mustRun({"/usr/bin/truncate", "--size", bytes, file});
  mustRun({"/sbin/mkfs." + type, "-q", file});
}

void fillVolume(const std::string& file, const std::string& type) {
  const MountedFile mounted(file, type, "/mnt/volume");
  std::ofstream(demo::numberFile("/mnt/volume")) << demo::numberText(1);
  std::ofstream(constantFile("/mnt/volume")) << constantText();
}

Descriptor openDisk(const std::string& name) {
  return Descriptor(checked(open(name.c_str(), O_RDWR | O_CLOEXEC), "opening " + name));
}

void writeAll(int file, const std::string& data, std::uint64_t place) {
  for (std::uint64_t done = 0; done < data.size();) {
    done += static_cast<std::uint64_t>(checked(
        pwrite(file, data.data() + done, data.size() - done, static_cast<off_t>(place + done)), "writing to a disk"));
  }
}

}  // namespace

std::string constantText() {
  constexpr int lines = 30'000;
  std::string text;
  for (int line = 1; line <= lines; ++line) text += std::to_string(line) + "\n";
  return text;
}

std::string constantFile(const std::string& tree) {
  return tree + "/constant";
}

void makeDisks(const std::string& folder) {
  fs::create_directories("/storage");
  fs::create_directories("/mnt/volume");
  makeFileSystem(folder + "/state", "ext4", "64M");
  makeFileSystem(folder + "/storage", "xfs", "1300M");
  const MountedFile storage(folder + "/storage", "xfs", "/storage");
  for (const Volume& volume : volumes) {
    makeFileSystem("/storage/" + volume.name, volume.type, volume.bytes);
    fillVolume("/storage/" + volume.name, volume.type);
  }
}

Disks::Disks(const std::string& folder) {
  fs::remove_all(followers);
  fs::create_directories(copies);
  for (const char* disk : {"/state", "/storage"}) {
    mustRun({"/bin/cp", "--sparse=always", folder + disk, followers + disk});
  }
  m_state = openDisk(followers + "/state");
  m_storage = openDisk(followers + "/storage");
  m_stateBytes = fs::file_size(followers + "/state");
}

void Disks::apply(const WriteLog& log, const LoggedWrite& write) {
  const bool isOfState = write.begin < m_stateBytes;
  const int disk = isOfState ? m_state.get() : m_storage.get();
  const std::uint64_t place = isOfState ? write.begin : write.begin - m_stateBytes;
  if (write.isDiscard) {
    checked(fallocate(disk, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(place),
                      static_cast<off_t>(write.bytes)),
            "discarding");
    return;
  }
  writeAll(disk, log.dataOf(write), place);
}

std::string Disks::cut() {
  return cutWithStateOf(followers);
}

std::string Disks::cutWithStateOf(const std::string& folder) {
  fs::remove_all(copies);
  fs::create_directories(copies);
  mustRun({"/bin/cp", "--sparse=always", folder + "/state", copies + "/state"});
  mustRun({"/bin/cp", "--reflink=always", followers + "/storage", copies + "/storage"});
  return copies;
}

}  // namespace faults
