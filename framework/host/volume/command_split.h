// One split of a group by the administrator's program.
#ifndef COMMAND_SPLIT_H
#define COMMAND_SPLIT_H

#include <vector>

#include "volume/command_program.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// The program runs from its preparation, before the freeze, until it has split.
class CommandSplit : public GroupSplit {
 public:
  // Throws HostError when the program cannot prepare the split. program: outlives this object.
  CommandSplit(const CommandProgram& program, const std::vector<SplitPlan>& plans);

  // What is written out is the program's affair.
  void flush() override {}
  int split(std::chrono::steady_clock::time_point deadline) noexcept override;
  void requireSplit() override;

 private:
  const CommandProgram& m_program;
  std::string m_devices;  // for messages
  ProgramDialogue m_dialogue;
  int m_error = 0;
};

}  // namespace qmfi_host

#endif
