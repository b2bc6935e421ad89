// Directs the stand-ins for the system's programs.
#include "support/stand_in_programs.h"

#include <csignal>
#include <filesystem>
#include <fstream>

#include "build_tree.h"
#include "support/private_root.h"
#include "support/stand_in_files.h"
#include "support/system_programs.h"
#include "support/text_file.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* standIn = QMFI_BINARY_DIR "/bin/test_stand_in";

}  // namespace

StandInPrograms::StandInPrograms() {
  requirePrivateRoot();
  fs::remove_all(STAND_IN_DIRECTORY);
  fs::create_directories(STAND_IN_DIRECTORY);
  for (const char* candidate : otherCandidates) remove(candidate);
  for (const char* program : systemPrograms) install(program);
}

std::vector<std::string> StandInPrograms::paths() {
  return {systemPrograms.begin(), systemPrograms.end()};
}

StandInPrograms::~StandInPrograms() {
  endDaemons();
  std::error_code ignored;
  fs::remove_all(STAND_IN_DIRECTORY, ignored);
}

void StandInPrograms::install(const std::string& program) {
  // A link of the testbed's own is replaced, never written through: it leads into the build tree.
  if (fs::is_symlink(program) && fs::read_symlink(program) == standIn) return;
  fs::create_directories(fs::path(program).parent_path());
  fs::remove(program);
  fs::create_symlink(standIn, program);
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
  return linesOf(STAND_IN_RECORD);
}

void StandInPrograms::endDaemons() {
  std::ifstream daemons(STAND_IN_DAEMONS);
  for (pid_t daemon; daemons >> daemon;) kill(daemon, SIGKILL);
  fs::remove(STAND_IN_DAEMONS);
}

void StandInPrograms::forget() {
  fs::remove(STAND_IN_RECORD);
}
