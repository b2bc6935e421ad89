// Speaking to the shell of lvm.
#include "volume/lvm_split.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "failure/host_error.h"
#include "failure/one_line.h"
#include "texts/translation.h"
#include "volume/lvm_program.h"

namespace qmfi_host {

namespace {

constexpr std::chrono::minutes preparationTime(2);
constexpr std::chrono::minutes endTime(1);

// The shell says nothing when it is through with a command, but it says of a word that it knows none of that name.
constexpr std::string_view lastWord = "qmfi-end\n";
constexpr std::string_view lastAnswer = "'qmfi-end'";

// While file systems are frozen lvm writes nothing but the volume groups, starts no daemon, and waits neither for udev,
// which might wait for the thaw, nor for another lvm.
constexpr const char* frozenSettings =
    "backup/backup=0 backup/archive=0 activation/monitoring=0 activation/udev_sync=0 global/wait_for_locks=0 "
    "log/syslog=0";

std::string withoutLastAnswer(std::string_view answer) {
  std::string text(answer.substr(0, std::min(answer.find(lastAnswer), answer.size())));
  const std::size_t lastLine = text.rfind("No such command");
  if (lastLine != std::string::npos) text.erase(lastLine);
  const std::string said = withoutIndentation(text);
  return said.empty() ? translate("it says nothing") : inOneLine(said);
}

std::string reasonOf(int error, std::string_view answer) {
  if (error == ETIME) return translate("it did not answer in time");
  if (error != 0 && answer.empty()) return translate("it ended without an answer");
  return withoutLastAnswer(answer);
}

std::string nameOf(const LvmSnapshot& snapshot) {
  return snapshot.group + "/" + snapshot.origin;
}

std::string failureText(const std::string& volume, const std::string& reason, LvmMode mode) {
  return mode == LvmMode::trial
             ? translate("the volume {0} cannot be split by lvm: {1}; nothing was frozen", volume, reason)
             : translate("the volume {0} could not be split by lvm: {1}", volume, reason);
}

}  // namespace

std::string commandOf(const LvmSnapshot& snapshot, LvmMode mode) {
  const std::string test = mode == LvmMode::trial ? "--test " : "";
  const std::string extents = snapshot.extents ? " --extents " + std::to_string(*snapshot.extents) : "";
  return "lvcreate " + test + "--yes --config '" + frozenSettings + "' --snapshot" + extents + " --name " +
         snapshot.name + " " + nameOf(snapshot) + "\n";
}

LvmSplit::LvmSplit(const std::string& program, std::vector<LvmSnapshot> snapshots)
    : m_snapshots(std::move(snapshots)), m_shell({program}, ProgramDialogue::Errors::answered) {
  std::string trial;
  for (const LvmSnapshot& snapshot : m_snapshots) {
    trial += commandOf(snapshot, LvmMode::trial);
    m_commands += commandOf(snapshot, LvmMode::earnest);
  }
  trial += lastWord;
  m_commands += lastWord;
  const int error = m_shell.ask(trial, lastAnswer, ProgramDialogue::Clock::now() + preparationTime);
  requireMade(error, LvmMode::trial);
}

LvmSplit::~LvmSplit() {
  m_shell.sendEnd();
  m_shell.endsWell(ProgramDialogue::Clock::now() + endTime);
}

int LvmSplit::split(std::chrono::steady_clock::time_point deadline) noexcept {
  m_error = m_shell.ask(m_commands, lastAnswer, deadline);
  return m_error;
}

void LvmSplit::requireSplit() {
  requireMade(m_error, LvmMode::earnest);
}

void LvmSplit::requireMade(int error, LvmMode mode) const {
  for (const LvmSnapshot& snapshot : m_snapshots) {
    const std::string made = "Logical volume \"" + snapshot.name + "\" created.";
    if (error == 0 && m_shell.answer().find(made) != std::string_view::npos) continue;
    throw HostError(failureText(nameOf(snapshot), reasonOf(error, m_shell.answer()), mode));
  }
}

}  // namespace qmfi_host
