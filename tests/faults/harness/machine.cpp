// What the plug-in meets in a case, and the check that a case leaves it as it was.
#include "machine.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "build_tree.h"
#include "driver_model.h"
#include "support/process_state.h"
#include "support/stand_in_files.h"
#include "support/text_file.h"

namespace faults {

namespace fs = std::filesystem;

namespace {

std::vector<std::string> directoriesBelow(const fs::path& root) {
  std::vector<std::string> found;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (entry.is_directory()) found.push_back(entry.path());
  }
  // Generated mount points lie in the root directory.
  for (const auto& entry : fs::directory_iterator("/")) found.push_back(entry.path());
  std::sort(found.begin(), found.end());
  return found;
}

constexpr const char* temporaryMountPoint = "/tmp_";

void closeDescriptorsBelow(const fs::path& directory) {
  for (const std::string& entry : openDescriptors()) {
    const std::size_t blank = entry.find(' ');
    const std::string open = entry.substr(blank + 1);
    if (open == directory || open.starts_with(directory.string() + "/")) close(std::stoi(entry));
  }
}

bool mentions(const std::string& text, const std::vector<std::string>& paths) {
  return std::any_of(paths.begin(), paths.end(), [&](const std::string& path) {
    return text == path || text.ends_with(" " + path) || text.find(" " + path + " ") != std::string::npos;
  });
}

void compare(const char* what, const std::vector<std::string>& before, const std::vector<std::string>& after,
             const std::vector<std::string>& allowed, bool temporaries, std::vector<std::string>& differences) {
  std::vector<std::string> added;
  std::vector<std::string> lost;
  std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(added));
  std::set_difference(before.begin(), before.end(), after.begin(), after.end(), std::back_inserter(lost));
  for (const auto& entry : added) {
    const bool temporary = temporaries && entry.find(temporaryMountPoint) != std::string::npos;
    if (!temporary && !mentions(entry, allowed)) differences.push_back(std::string(what) + " left behind: " + entry);
  }
  for (const auto& entry : lost) {
    if (!mentions(entry, allowed)) differences.push_back(std::string(what) + " gone: " + entry);
  }
}

}  // namespace

Machine::Machine(int fileSystems) : m_isReal(false) {
  prepare();
  for (int number = 0; number < fileSystems; ++number) m_fileSystems.push_back(path("fs" + std::to_string(number)));
}

Machine::Machine(const std::vector<std::string>& mountPoints) : m_fileSystems(mountPoints), m_isReal(true) {
  prepare();
}

void Machine::prepare() {
  std::string directory = fs::temp_directory_path() / "faults.XXXXXX";
  if (mkdtemp(directory.data()) == nullptr) throw std::runtime_error("no directory for the machine");
  m_directory = directory;
  for (const char* part : {"log", "conf"}) fs::create_directory(m_directory / part);
  setenv("QMFI_LOG_DIR", path("log").c_str(), 1);
  setenv("QMFI_CONF_DIR", path("conf").c_str(), 1);
  setenv("QMFI_TRACE_LEVEL", "6", 1);
  setenv("QMFI_CATALOG_DIR", QMFI_BINARY_DIR "/share/qmfi/catalogs", 1);
}

Machine::~Machine() {
  std::error_code ignored;
  fs::remove_all(m_directory, ignored);
}

std::string Machine::device(int number) const {
  return "/dev/qm/dsk/dg/vol" + std::to_string(number);
}

void Machine::reset() {
  driverModel().reset();
  driverModel().useKernel(m_isReal);
  closeDescriptorsBelow(m_directory);
  for (const std::string& fileSystem : m_fileSystems) closeDescriptorsBelow(fileSystem);
  programs.endDaemons();
  for (const auto& entry : fs::directory_iterator(STAND_IN_DIRECTORY)) fs::remove(entry.path());
  programs.answer("/bin/mkdir", Answer().makesDirectory());
  programs.answer("/bin/rmdir", Answer().removesDirectory());
  programs.answer("/bin/mount", Answer().mountsAsAsked());
  programs.answer("/bin/umount", Answer().unmounts());
  programs.answer("/opt/KRIB/bin/qmumount", Answer().unmounts());
  programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs"));
  for (const auto& entry : fs::directory_iterator(m_directory)) {
    if (entry.path().filename() != "log" && entry.path().filename() != "conf") fs::remove_all(entry.path());
  }
  for (const auto& entry : fs::directory_iterator("/")) {
    if (entry.path().string().starts_with(temporaryMountPoint)) fs::remove(entry.path());
  }
  fs::remove(path("log/qmfsfi.log"));
  fs::remove(path("conf/qmfsfi.conf"));
  std::string text;
  for (int number = 0; number < fileSystems(); ++number) {
    fs::create_directories(fileSystem(number));
    text += device(number) + " " + fileSystem(number) + " qmfs rw,log 0 0\n";
  }
  beginWithTable(text);
}

void Machine::beginWithTable(const std::string& text) {
  table.write(text);
  m_before = state();
}

void Machine::passTimeouts() {
  driverModel().passTimeouts();
  if (!m_isReal) return;
  // Whoever writes to a frozen file system waits for its thaw.
  for (const std::string& fileSystem : m_fileSystems) {
    std::ofstream(fileSystem + "/written") << "thawed" << std::flush;
    fs::remove(fileSystem + "/written");
  }
}

std::vector<std::string> Machine::missingFileSystems() const {
  std::vector<std::string> missing;
  std::copy_if(m_fileSystems.begin(), m_fileSystems.end(), std::back_inserter(missing),
               [](const std::string& directory) { return !fs::exists(directory); });
  return missing;
}

void Machine::configure(const std::string& text) {
  std::ofstream(path("conf/qmfsfi.conf")) << text;
}

std::string Machine::traceLog() const {
  return textOf(path("log/qmfsfi.log"));
}

bool Machine::tracedFailure() const {
  return traceLog().find(" L1 ") != std::string::npos;
}

Machine::State Machine::state() const {
  State now;
  now.mounts = textOf("/proc/self/mounts");
  now.mountTable = linesOf("/etc/mtab");
  std::sort(now.mountTable.begin(), now.mountTable.end());
  now.directories = directoriesBelow(m_directory);
  now.descriptors = openDescriptors();
  now.threads = static_cast<int>(std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator()));
  return now;
}

std::vector<std::string> Machine::differences(const Leftovers& allowed) const {
  const State now = state();
  std::vector<std::string> found;
  if (now.mounts != m_before.mounts) found.push_back("the kernel's mounts changed");
  compare("mount table entry", m_before.mountTable, now.mountTable, allowed.paths, allowed.temporaryMountPoints, found);
  compare("directory", m_before.directories, now.directories, allowed.paths, allowed.temporaryMountPoints, found);
  compare("descriptor", m_before.descriptors, now.descriptors, allowed.descriptors, false, found);
  if (now.threads != m_before.threads) found.push_back(std::to_string(now.threads) + " threads");
  if (hasChild()) found.push_back("a child process is left");
  for (int number = 0; number < fileSystems(); ++number) {
    const std::string& directory = fileSystem(number);
    const int error = driverModel().thawAgain(directory.c_str());
    if (mentions(directory, allowed.keptFrozen)) {
      if (error != 0) found.push_back("the freeze of " + directory + " was ended by who had not begun it");
      continue;
    }
    const bool isGone = error == ENOENT && mentions(directory, allowed.paths);
    if (error != EINVAL && !isGone && !mentions(directory, allowed.frozen)) {
      found.push_back("a second thaw of " + directory + " answers " + std::to_string(error));
    }
  }
  if (driverModel().frozen() != 0) found.push_back("a file system is frozen and has lost its mount point");
  return found;
}

}  // namespace faults
