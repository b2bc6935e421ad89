// What is said to the administrator's splitter program, and what it answers: docs/splitters.md.
#ifndef COMMAND_PROGRAM_H
#define COMMAND_PROGRAM_H

#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "volume/program_dialogue.h"
#include "volume/split_plan.h"

namespace qmfi_host {

// The line that asks for the split of all that was prepared.
inline constexpr const char* splitRequest = "{\"verb\":\"split\"}\n";

// What every answer ends with.
inline constexpr const char* answerEnd = "\n";

// The name by which the program knows the copy of a plan: its device without "/dev/", with "-" for "/".
std::string copyNameOf(const SplitPlan& plan);

// Throws HostError for a plan whose device cannot be told: names hold letters, digits and ".", "_", "+", "-" only.
void requireTellable(const SplitPlan& plan);

// A line that asks for something, with its line feed.
std::string requestOf(const std::string& verb, const std::vector<SplitPlan>& plans);

// A program that the administrator has chosen.
class CommandProgram {
 public:
  // path: absolute.
  explicit CommandProgram(std::string path) : m_path(std::move(path)) {}

  const std::string& path() const { return m_path; }

  // Whether there is something of that name that can be run.
  bool isThere() const;

  // Throws HostError unless root alone decides what it is, and it can be run.
  void requireUsable() const;

  // Runs it for one verb and one volume. Throws HostError when it does not do it in time.
  nlohmann::ordered_json ask(const std::string& verb, const SplitPlan& plan, std::chrono::seconds time) const;

  // What an answer says. Throws HostError unless it says that it is done. error: what receive() or send() returned.
  nlohmann::ordered_json answerIn(const ProgramDialogue& dialogue, const std::string& verb, int error) const;

 private:
  std::string m_path;
};

}  // namespace qmfi_host

#endif
