// What the tests of the provider's operations on nodes and resources share: nodes in a given state, and the messages
// by which the catch ladder reports an exception.
#ifndef OPERATIONS_FIXTURE_H
#define OPERATIONS_FIXTURE_H

#include <string>
#include <vector>

#include "plugin_fixture.h"

using TraceRecords = std::vector<TraceRecord>;

// The plug-in started, and helpers for tests of its operations.
class OperationsTest : public StartedPlugin {
 protected:
  // A node whose private data were restored from a state with that device and those mount options. An alternate object
  // is given to it when the last text is not empty. Nothing is mounted. What came of it is forgotten.
  kfi_domain& restoredNode(const std::string& mountPoint, const std::string& device, const std::string& options = "rw",
                           const std::string& alternate = "");
  // The same, with the device mounted on the mount point.
  kfi_domain& mountedNode(const std::string& mountPoint, const std::string& device, const std::string& options = "rw");

  // Brings a device online on the mount point, or a generated one where it is null. Returns the status.
  int bringOnline(std::string device, char* mountPoint, char* options = nullptr);

  // The text of a node's state as the provider hands it out. Expects success.
  std::string stateOf(kfi_domain& node);
  // Names of the node's sub-objects.
  std::vector<std::string> subObjectsOf(kfi_domain& node);

  // Each expects that one message was pushed, the one for a failed command or for a thrown exit status.
  void expectExecPipeMessage(const std::string& codeName, const std::string& text);
  void expectExitStatusMessage(int exitStatus);
  // What was refused: the texts traced at the level of refused names.
  std::vector<std::string> refusals() const;
  // That no message was pushed and no command was run.
  void expectNothingDone();
};

// Paths that a command line cannot carry.
inline const std::vector<std::string> UNUSABLE_PATHS = {"/with blank", "/with\ttab", "/with\nfeed", " /leading",
                                                        "/trailing "};

// The trace of a command that executeCommand ran and that ended with a status, its output joined.
TraceRecords executedAndFailed(const std::string& command, int exitStatus, const std::string& output);

// The first list with the others behind it.
template <typename... Lists>
TraceRecords joined(TraceRecords first, const Lists&... others) {
  (first.insert(first.end(), others.begin(), others.end()), ...);
  return first;
}

#endif
