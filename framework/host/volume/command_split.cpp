// Prepare, split, end.
#include "volume/command_split.h"

#include <nlohmann/json.hpp>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr std::chrono::minutes preparationTime(5);
constexpr std::chrono::minutes endTime(1);

}  // namespace

CommandSplit::CommandSplit(const CommandProgram& program, const std::vector<SplitPlan>& plans)
    : m_program(program), m_dialogue({program.path(), "prepare"}, ProgramDialogue::Errors::discarded) {
  for (const SplitPlan& plan : plans) m_devices += (m_devices.empty() ? "" : ", ") + plan.device;
  const auto deadline = ProgramDialogue::Clock::now() + preparationTime;
  const int error = m_dialogue.ask(requestOf("prepare", plans), answerEnd, deadline);
  m_program.answerIn(m_dialogue, "prepare", error);
}

int CommandSplit::split(std::chrono::steady_clock::time_point deadline) noexcept {
  m_error = m_dialogue.ask(splitRequest, answerEnd, deadline);
  return m_error;
}

void CommandSplit::requireSplit() {
  try {
    m_program.answerIn(m_dialogue, "split", m_error);
  } catch (const HostError& failure) {
    throw HostError(translate("{0}; the volumes were {1}", failure.what(), m_devices));
  }
  m_dialogue.sendEnd();
  if (m_dialogue.endsWell(ProgramDialogue::Clock::now() + endTime)) return;
  throw HostError(translate(
      "the splitter program {0} said that all is split, and then did not end with status 0; the volumes were {1}",
      m_program.path(), m_devices));
}

}  // namespace qmfi_host
