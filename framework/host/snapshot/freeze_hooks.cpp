// Starting hooks, and telling them what came of it.
#include "snapshot/freeze_hooks.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <string_view>
#include <utility>

#include "texts/translation.h"

namespace qmfi_host {

namespace {

using Clock = ProgramDialogue::Clock;

// How long a signal may go unnoticed.
constexpr std::chrono::milliseconds attention(200);

constexpr std::string_view readyLine = "ready";
constexpr const char* takenLine = "taken\n";
constexpr const char* failedLine = "failed\n";

std::vector<std::string> wordsOf(const std::string& program, const Snapshot& snapshot) {
  std::vector<std::string> words = {program, snapshot.id, snapshot.name};
  for (const SnapshotNode& node : snapshot.nodes) words.push_back(node.mountPoint);
  return words;
}

// What a hook has said, a line each, without that it is ready. Of much the last.
std::vector<std::string> linesOf(std::string_view said) {
  constexpr std::size_t most = 10;
  std::vector<std::string> lines;
  std::istringstream stream{std::string(said)};
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty() && line != readyLine) lines.push_back(line);
  }
  if (lines.size() > most) lines.erase(lines.begin(), lines.end() - most);
  return lines;
}

}  // namespace

FreezeHooks::Hook::Hook(std::string program, std::chrono::seconds time, const Snapshot& snapshot)
    : m_program(std::move(program)),
      m_time(time),
      m_dialogue(wordsOf(m_program, snapshot), ProgramDialogue::Errors::answered) {}

void FreezeHooks::Hook::awaitReady(const DeferredSignals& signals) {
  const Clock::time_point deadline = Clock::now() + m_time;
  int error = ETIME;
  while (error == ETIME && Clock::now() < deadline) {
    signals.throwIfPending();
    error = m_dialogue.receiveLine(readyLine, std::min(deadline, Clock::now() + attention));
  }
  if (error != 0) throw notReady(error);
}

HostError FreezeHooks::Hook::notReady(int error) const {
  if (error == ETIME) {
    return failure(translate("the hook {0} was not ready within {1} s; nothing was frozen", m_program, m_time.count()),
                   translate("was not ready within {0} s", m_time.count()));
  }
  if (error == EMSGSIZE) {
    return failure(translate("the hook {0} says too much before it is ready; nothing was frozen", m_program),
                   translate("says too much before it is ready"));
  }
  return failure(translate("the hook {0} refused the snapshot; nothing was frozen", m_program),
                 translate("refused the snapshot"));
}

void FreezeHooks::Hook::end(const std::string& outcome) {
  const Clock::time_point deadline = Clock::now() + m_time;
  // One that does not read what came of it may end all the same.
  m_dialogue.send(outcome, deadline);
  m_dialogue.sendEnd();
  if (m_dialogue.endsWell(deadline)) return;
  if (Clock::now() < deadline) {
    throw failure(translate("the hook {0} failed after the thaw; no snapshot is kept", m_program),
                  translate("failed after the thaw"));
  }
  throw failure(
      translate("the hook {0} did not end within {1} s after the thaw; no snapshot is kept", m_program, m_time.count()),
      translate("did not end within {0} s after the thaw", m_time.count()));
}

// reason: what is told where the hook has not said anything.
HostError FreezeHooks::Hook::failure(const std::string& text, const std::string& reason) const {
  const std::vector<std::string> said = linesOf(m_dialogue.answer());
  return HostError(Failure::failed, text, said)
      .about(m_program)
      .because(said.empty() ? reason : said.back())
      .advise(translate("see to what the hook says; --no-hooks takes the snapshot without it"));
}

// Once there is an object its destructor runs, whatever is thrown here.
FreezeHooks::FreezeHooks(const std::vector<std::string>& programs, std::chrono::seconds time, const Snapshot& snapshot,
                         const DeferredSignals& signals, const Progress& progress)
    : FreezeHooks(progress) {
  for (const std::string& program : programs) {
    m_progress.step(Step::hook, program);
    Hook& hook = m_hooks.emplace_back(program, time, snapshot);
    try {
      hook.awaitReady(signals);
    } catch (const HostError&) {
      // There is nothing that it would have to end; what is left of it is killed.
      m_hooks.pop_back();
      throw;
    }
  }
}

FreezeHooks::~FreezeHooks() {
  if (const std::optional<HostError> failure = endAll(failedLine)) printNotice(failure->what());
}

void FreezeHooks::taken() {
  const std::optional<HostError> failure = endAll(takenLine);
  if (failure) throw HostError(*failure);
}

// Returns the first failure; others are told.
std::optional<HostError> FreezeHooks::endAll(const std::string& outcome) {
  std::optional<HostError> first;
  for (; !m_hooks.empty(); m_hooks.pop_back()) {
    try {
      m_progress.step(Step::hookEnd, m_hooks.back().program());
      m_hooks.back().end(outcome);
    } catch (const HostError& error) {
      if (first) {
        printNotice(error.what());
      } else {
        first = error;
      }
    }
  }
  return first;
}

}  // namespace qmfi_host
