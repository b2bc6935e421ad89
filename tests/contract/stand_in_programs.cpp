// Directs the stand-ins for the system's programs.
#include "stand_in_programs.h"

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "build_tree.h"
#include "private_root.h"
#include "stand_in_files.h"

namespace fs = std::filesystem;

namespace {

constexpr std::array programs = {
    "/bin/mount",
    "/bin/umount",
    "/bin/mkdir",
    "/bin/rmdir",
    "/bin/rpm",
    "/bin/grep",
    "/sbin/mkfs",
    "/sbin/fsck",
    "/sbin/fuser",
    "/opt/KRIB/bin/qmumount",
    "/opt/KRIBqmfs/sbin/fstyp",
};

// Further places where the plug-in looks for the file system's programs.
constexpr std::array otherCandidates = {
    "/sbin/fs/qmfs/qmumount",    "/usr/lib/fs/qmfs/qmumount",
    "/opt/KRIB/bin/umount",      "/usr/lib/fs/qmfs/umount",
    "/opt/KRIBqmfs/sbin/umount", "/opt/KRIB/bin/fstyp",
    "/usr/sbin/fstyp",           "/sbin/fstyp",
    "/usr/lib/fs/qmfs/fstyp",    "/etc/fstyp",
};

}  // namespace

StandInPrograms::StandInPrograms() {
  requirePrivateRoot();
  fs::remove_all(STAND_IN_DIRECTORY);
  fs::create_directories(STAND_IN_DIRECTORY);
  for (const char* candidate : otherCandidates) remove(candidate);
  for (const char* program : programs) install(program);
}

std::vector<std::string> StandInPrograms::paths() {
  return {programs.begin(), programs.end()};
}

StandInPrograms::~StandInPrograms() {
  endDaemons();
  std::error_code ignored;
  fs::remove_all(STAND_IN_DIRECTORY, ignored);
}

void StandInPrograms::install(const std::string& program) {
  // A link of the testbed's own is replaced, never written through: it leads into the build tree.
  if (fs::is_symlink(program) && fs::read_symlink(program) == QMFI_BINARY_DIR "/bin/contract_stand_in") return;
  fs::create_directories(fs::path(program).parent_path());
  fs::remove(program);
  fs::create_symlink(QMFI_BINARY_DIR "/bin/contract_stand_in", program);
}

void StandInPrograms::remove(const std::string& program) {
  fs::remove(program);
}

void StandInPrograms::answer(const std::string& program, const Answer& answer) {
  std::ofstream(standInAnswerBase(program) + ".always") << answer.text();
}

void StandInPrograms::answerNext(const std::string& program, const Answer& answer) {
  std::ofstream(standInAnswerBase(program) + "." + std::to_string(++m_answers[program])) << answer.text();
}

std::vector<std::string> StandInPrograms::commands() const {
  std::ifstream record(STAND_IN_RECORD);
  std::vector<std::string> lines;
  for (std::string line; std::getline(record, line);) lines.push_back(line);
  return lines;
}

void StandInPrograms::endDaemons() {
  std::ifstream daemons(STAND_IN_DAEMONS);
  for (pid_t daemon; daemons >> daemon;) kill(daemon, SIGKILL);
  fs::remove(STAND_IN_DAEMONS);
}

void StandInPrograms::forget() {
  fs::remove(STAND_IN_RECORD);
}
