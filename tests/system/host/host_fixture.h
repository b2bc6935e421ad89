// What the tests of qmfi share: calling it, and looking whether it left anything behind.
#ifndef HOST_FIXTURE_H
#define HOST_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "machine_state.h"
#include "support/program_run.h"
#include "support/snapshot_list.h"
#include "system/pipe.h"

namespace host_test {

using testbed_test::Snapshot;
using testbed_test::SnapshotNode;

// Runs /usr/bin/qmfi with the words and waits for its end. variables: "NAME=VALUE", the whole environment of the run.
// What is printed with --json must be what the schemas say.
testbed_test::Outcome qmfi(const std::vector<std::string>& words, const std::vector<std::string>& variables = {});

// A qmfi that runs beside the test.
class BackgroundQmfi : public testbed_test::RunningProgram {
 public:
  explicit BackgroundQmfi(const std::vector<std::string>& words);

  // The process that watches over its freeze; -1 when there is none.
  pid_t watchdog() const;

  // Waits until it is found in a pause between two looks at something; false when it ends without one.
  bool waitUntilItPauses() const;
};

// A program that the test keeps from going on; it has arrived where it is held when the object is made.
class HeldProgram {
 public:
  enum class By {
    input,  // it reads standard input, which has its end only when the program is let go
    output  // it writes to standard output, which takes nothing before
  };

  // fourth: a descriptor that it has besides its standard streams; negative for none.
  HeldProgram(const std::vector<std::string>& words, By by, int fourth = -1);
  HeldProgram(const HeldProgram&) = delete;
  HeldProgram& operator=(const HeldProgram&) = delete;
  ~HeldProgram() { letGo(); }

  // Sends it a signal.
  void send(int signal) const { m_program->send(signal); }

  // Lets it go on, and waits for its end. The status as a shell reports it.
  int letGo();

 private:
  By m_by;
  qmfi_system::Pipe m_pipe;
  std::optional<testbed_test::RunningProgram> m_program;
};

// A shell script in the place of a program while it lives.
class ScriptInPlaceOf {
 public:
  ScriptInPlaceOf(std::string program, const std::string& text);
  ScriptInPlaceOf(const ScriptInPlaceOf&) = delete;
  ScriptInPlaceOf& operator=(const ScriptInPlaceOf&) = delete;
  ~ScriptInPlaceOf();

 private:
  const std::string m_program;
};

// What "qmfi snapshot list" prints when no snapshot is known.
inline constexpr const char* emptyList =
    "ID        NAME  CREATED              FROZEN FOR  STATE        MOUNTED  SIZE  PROVIDER  FILE SYSTEMS\n";

// The snapshots that "qmfi snapshot list --json" shows, without those that are not complete.
std::vector<Snapshot> listedSnapshots();

// How far the first snapshot has come ("freezing", "ready"...); empty when there is none.
std::string listedState();

// Its id.
std::string listedId();

// Waits until listedState() is this one; false after a minute without it.
bool waitForState(const std::string& state);

// Takes a snapshot, which must succeed.
Snapshot create(const std::vector<std::string>& mountPoints, const std::vector<std::string>& options = {});

// After each test: no snapshot is known, no file system frozen, and the machine is as it was before.
class HostTest : public testing::Test {
 protected:
  void TearDown() override;

  void expectNothingLeft() const;

 private:
  demo::MachineState m_before = demo::machineState();
};

}  // namespace host_test

#endif
