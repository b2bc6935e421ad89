// What a series of calls is expected to come to: written down call by call from the contract's rules and command lines,
// by a model that shares nothing with the plug-in.
#ifndef EXPECTED_CALLS_H
#define EXPECTED_CALLS_H

#include <string>
#include <vector>

#include "host.h"

namespace faults {

// What can be compared of a series of calls. Time stamps in generated names read TIME.
struct Calls {
  // Each as "name status outputs messages"; of a message the identifier and the first argument.
  std::vector<std::string> results;
  // The argument vectors of the programs, each as one line in the words of the stand-ins' record.
  std::vector<std::string> commands;
};

// What a host has seen since a number of calls, and the programs' record.
Calls madeCalls(const Host& host, std::size_t first);

class ExpectedCalls {
 public:
  // The next call gives that status and hands that out.
  void returns(const std::string& call, int status, const std::string& outputs = "");
  // It is refused as a wrong argument before anything is done; or fails with a message.
  void refuses(const std::string& call) { returns(call, 3); }
  void fails(const std::string& call, const std::string& messageId, const std::string& argument);

  // The next call runs the command lines one after another and succeeds.
  void runsAll(const std::string& call, const std::vector<std::string>& commandLines, const std::string& outputs = "");

  const Calls& calls() const { return m_calls; }

 private:
  void runs(const std::string& commandLine);

  Calls m_calls;
};

// Whether a name is one word of a command line and no option. The empty one counts: a mount point may be empty.
bool isOneWord(const std::string& name);
// Whether it is that and names something: a program without a device would choose one for itself.
bool isDevice(const std::string& name);
// Whether mount options, of any number of words, have none that begins another program.
bool areOptions(const std::string& options);

}  // namespace faults

#endif
