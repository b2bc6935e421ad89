// What a shell offers while a command line of qmfi is typed.
#ifndef COMPLETION_H
#define COMPLETION_H

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace qmfi_host {

// Where the values of some words come from; each is asked when it is needed and throws nothing.
struct CompletionSources {
  std::function<std::vector<std::string>()> snapshots;    // their names
  std::function<std::vector<std::string>()> mountPoints;  // of file systems on devices
};

// The words that may stand in place of the last one and begin as it does, sorted. Where files may stand there is
// nothing: shells know files better.
// app: with all commands declared. words: those behind the program's name; the last one is being typed, and may be
// empty.
std::vector<std::string> completionsOf(const CLI::App& app, const std::vector<std::string>& words,
                                       const CompletionSources& sources);

// The sources of this machine. stateDirectory: where qmfi remembers snapshots.
CompletionSources machineSources(const std::string& stateDirectory);

}  // namespace qmfi_host

#endif
