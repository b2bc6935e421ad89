// What the tests of qmfi share: calling it, and looking whether it left anything behind.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "machine_state.h"
#include "support.h"

namespace host_test {

// A snapshot as qmfi's JSON describes it.
struct SnapshotNode {
  std::string mountPoint;
  std::string device;
  std::string snapshotDevice;
  std::string alternate;
};

struct Snapshot {
  std::string id;
  std::string name;
  long frozenMicroseconds;
  std::vector<SnapshotNode> nodes;
};

// Runs /usr/bin/qmfi with the words and waits for its end. variables: "NAME=VALUE", the whole environment of the run.
testbed_test::Outcome qmfi(std::vector<std::string> words, const std::vector<std::string>& variables = {});

// A qmfi that runs beside the test. Its end is waited for at the latest when the object ends.
class BackgroundQmfi {
 public:
  explicit BackgroundQmfi(std::vector<std::string> words);
  BackgroundQmfi(const BackgroundQmfi&) = delete;
  BackgroundQmfi& operator=(const BackgroundQmfi&) = delete;
  ~BackgroundQmfi();

  void send(int signal) const;
  // Waits until it is found in a pause between two looks at something; false when it ends without one.
  bool waitUntilItPauses() const;
  // The status as a shell reports it.
  int wait();

 private:
  int m_process = -1;
  std::optional<int> m_status;
};

// A program that the test keeps from going on; it has arrived where it is held when the object is made.
class HeldProgram {
 public:
  enum class By {
    input,  // it reads standard input, which has its end only when the program is let go
    output  // it writes to standard output, which takes nothing before
  };

  // openDescriptors: how many it has besides its standard streams.
  HeldProgram(const std::vector<std::string>& words, By by, int openDescriptors = 0);
  HeldProgram(const HeldProgram&) = delete;
  HeldProgram& operator=(const HeldProgram&) = delete;
  ~HeldProgram();

  // Lets it go on, and waits for its end. The status as a shell reports it.
  int letGo();

 private:
  By m_by;
  int m_pipe[2] = {-1, -1};
  int m_process = -1;
};

// The snapshots that "qmfi snapshot list --json" shows.
std::vector<Snapshot> listedSnapshots();

// The state of the first snapshot as people see it ("freezing", "ready"...); empty when there is none.
std::string listedState();

// Its id.
std::string listedId();

// Waits until listedState() is this one; false after ten seconds without it.
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
