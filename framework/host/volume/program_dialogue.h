// A program that is spoken to while it runs: it is sent texts, and its answers are read with a deadline.
#ifndef PROGRAM_DIALOGUE_H
#define PROGRAM_DIALOGUE_H

#include <array>
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "system/child_process.h"
#include "system/descriptor.h"

namespace qmfi_host {

// The program has an environment of its own, nothing of this process's descriptors, and a process group of its own;
// whatever is left of that is killed when the object ends. What it writes to its standard error goes nowhere, or to its
// answers. The memory for the answers is there from the beginning: send(), receive(), receiveLine() and ask() allocate
// nothing, and may be called while file systems are frozen. One thread at a time.
class ProgramDialogue {
 public:
  using Clock = std::chrono::steady_clock;

  // What becomes of the standard error.
  enum class Errors { discarded, answered };

  // Starts the program of an absolute path. Throws HostError when it cannot be run.
  ProgramDialogue(const std::vector<std::string>& words, Errors errors);
  ProgramDialogue(const ProgramDialogue&) = delete;
  ProgramDialogue& operator=(const ProgramDialogue&) = delete;
  ~ProgramDialogue();

  // Sends a text. Returns 0, ETIME after the deadline, or why it cannot be sent, as to a program that has ended.
  int send(std::string_view text, Clock::time_point deadline) noexcept;

  // Forgets what it has answered, and waits until an answer holds the text `end`. Returns 0, ETIME after the deadline,
  // EPIPE when it answers no more, EMSGSIZE for an answer that is too long.
  int receive(std::string_view end, Clock::time_point deadline) noexcept;

  // Waits until one of the lines that it has answered is this one, which has no line feed here. After ETIME it may be
  // called again, and goes on where it was. Returns what receive() does.
  int receiveLine(std::string_view line, Clock::time_point deadline) noexcept;

  // Sends a text and waits for its answer, as the first two. The answer counts also of a program that did not read all.
  int ask(std::string_view text, std::string_view end, Clock::time_point deadline) noexcept;

  // What it has answered since the last receive() began, as far as it was taken.
  std::string_view answer() const { return {m_answer.data(), m_length}; }

  // Tells it that nothing more comes.
  void sendEnd() noexcept;

  // Waits for its end, and takes what it has still to say: the last of it is its answer then. True when it ended by
  // itself before the deadline with status 0. Not to be called again once it has ended.
  bool endsWell(Clock::time_point deadline) noexcept;

 private:
  template <typename IsAnswered>
  int receiveUntil(IsAnswered isAnswered, Clock::time_point deadline) noexcept;
  bool waitForEnd(Clock::time_point deadline) noexcept;
  int listen(Clock::time_point deadline) noexcept;
  int take() noexcept;
  void forgetFirstHalf() noexcept;
  void kill() noexcept;

  static constexpr std::size_t longestAnswer = std::size_t{1} << 16;

  qmfi_system::ChildProcess m_program;
  bool m_isReaped = false;
  qmfi_system::Descriptor m_talk;
  std::array<char, longestAnswer> m_answer{};
  std::size_t m_length = 0;
};

}  // namespace qmfi_host

#endif
