// What is said to the administrator's programs around a freeze, and what they answer.
#include "snapshot/freeze_hooks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "german_texts.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::chrono::seconds longTime(60);
constexpr std::chrono::seconds noTime(0);

Snapshot ordersAndInvoices() {
  Snapshot snapshot;
  snapshot.id = "0123abcd";
  snapshot.name = "nightly";
  for (const char* const mountPoint : {"/mnt/orders", "/mnt/in voices"}) {
    SnapshotNode node;
    node.mountPoint = mountPoint;
    snapshot.nodes.push_back(node);
  }
  return snapshot;
}

class FreezeHooksTest : public testing::Test {
 protected:
  // A program that runs in the directory of the test.
  std::string program(const std::string& name, const std::string& script) {
    std::string path = m_directory.file(name);
    std::ofstream(path) << "#!/bin/sh\ncd '" << m_directory.path() << "'\n" << script << "\n";
    fs::permissions(path, fs::perms::owner_all);
    return path;
  }

  // One that keeps a diary of what it is told.
  std::string diarist(const std::string& name) {
    return program(name, "echo " + name + " >>diary; echo ready; read word; echo " + name + " $word >>diary");
  }

  std::vector<std::string> diary() const { return linesOf(m_directory.file("diary")); }

  // What keeps a snapshot from being taken.
  HostError refusal(const std::vector<std::string>& programs, std::chrono::seconds time = longTime) const {
    try {
      const FreezeHooks hooks(programs, time, m_snapshot, m_signals);
    } catch (const HostError& error) {
      return error;
    }
    return HostError("none");
  }

  TemporaryDirectory m_directory;
  DeferredSignals m_signals;
  Snapshot m_snapshot = ordersAndInvoices();
};

TEST_F(FreezeHooksTest, AreReadyInOrderAndToldOfTheCopiesInTheReverse) {
  FreezeHooks hooks({diarist("one"), diarist("two")}, longTime, m_snapshot, m_signals);
  EXPECT_THAT(diary(), ElementsAre("one", "two"));
  hooks.taken();
  EXPECT_THAT(diary(), ElementsAre("one", "two", "two taken", "one taken"));
}

// Notes down steps.
class StepDiary : public NoProgress {
 public:
  explicit StepDiary(std::vector<std::pair<Step, std::string>>& steps) : m_steps(steps) {}
  void step(Step step, const std::string& object) const override { m_steps.emplace_back(step, object); }

 private:
  std::vector<std::pair<Step, std::string>>& m_steps;
};

TEST_F(FreezeHooksTest, AreStepsBeforeAndAfterTheFreeze) {
  std::vector<std::pair<Step, std::string>> steps;
  const std::string one = diarist("one");
  const std::string two = diarist("two");
  const StepDiary progress(steps);
  FreezeHooks hooks({one, two}, longTime, m_snapshot, m_signals, progress);
  EXPECT_THAT(steps, ElementsAre(testing::Pair(Step::hook, one), testing::Pair(Step::hook, two)));
  steps.clear();
  hooks.taken();
  EXPECT_THAT(steps, ElementsAre(testing::Pair(Step::hookEnd, two), testing::Pair(Step::hookEnd, one)));
}

TEST_F(FreezeHooksTest, AreToldOnceWhenNothingWasTaken) {
  { const FreezeHooks hooks({diarist("one"), diarist("two")}, longTime, m_snapshot, m_signals); }
  EXPECT_THAT(diary(), ElementsAre("one", "two", "two failed", "one failed"));
}

TEST_F(FreezeHooksTest, AreToldOnceWhenTheCopiesAreMade) {
  {
    FreezeHooks hooks({diarist("one")}, longTime, m_snapshot, m_signals);
    hooks.taken();
  }
  EXPECT_THAT(diary(), ElementsAre("one", "one taken"));
}

TEST_F(FreezeHooksTest, KnowTheSnapshotByTheirArguments) {
  const FreezeHooks hooks({program("one", "for word; do echo \"$word\" >>diary; done; echo ready; read word")},
                          longTime, m_snapshot, m_signals);
  EXPECT_THAT(diary(), ElementsAre("0123abcd", "nightly", "/mnt/orders", "/mnt/in voices"));
}

TEST_F(FreezeHooksTest, OneThatEndsBeforeItIsReadyRefusesTheSnapshot) {
  const std::string refusing = program("two", "echo first; echo ready or not; echo 'no room' >&2; exit 1");
  const HostError error = refusal({diarist("one"), refusing, diarist("three")});
  EXPECT_EQ(error.what(), "the hook " + refusing + " refused the snapshot; nothing was frozen");
  EXPECT_THAT(error.lines(), ElementsAre("first", "ready or not", "no room"));
  EXPECT_EQ(error.object(), refusing);
  EXPECT_EQ(error.cause(), "no room");
  EXPECT_EQ(error.hint(), "see to what the hook says; --no-hooks takes the snapshot without it");
  EXPECT_EQ(error.exitStatus(), ExitStatus::failed);
  EXPECT_THAT(diary(), ElementsAre("one", "one failed"));
}

TEST_F(FreezeHooksTest, OneThatEndsWellBeforeItIsReadyRefusesToo) {
  const std::string refusing = program("one", "exit 0");
  const HostError error = refusal({refusing});
  EXPECT_EQ(error.what(), "the hook " + refusing + " refused the snapshot; nothing was frozen");
  EXPECT_THAT(error.lines(), IsEmpty());
  EXPECT_EQ(error.cause(), "refused the snapshot");
}

TEST_F(FreezeHooksTest, RefusalIsToldInTheUsersLanguage) {
  const GermanTexts german;
  const std::string refusing = program("one", "exit 1");
  const HostError error = refusal({refusing});
  EXPECT_EQ(error.what(), "der Hook " + refusing + " hat den Snapshot abgelehnt; nichts wurde eingefroren");
  EXPECT_EQ(error.cause(), "hat den Snapshot abgelehnt");
  EXPECT_EQ(error.hint(), "beheben, was der Hook meldet; mit --no-hooks wird der Snapshot ohne ihn gemacht");
}

TEST_F(FreezeHooksTest, OneThatIsLateIsKilled) {
  const std::string late = program("one", "sleep 1000");
  EXPECT_EQ(refusal({late}, noTime).what(), "the hook " + late + " was not ready within 0 s; nothing was frozen");
}

TEST_F(FreezeHooksTest, OneThatSaysTooMuchIsKilled) {
  const std::string talkative = program("one", "yes word");
  const HostError error = refusal({talkative});
  EXPECT_EQ(error.what(), "the hook " + talkative + " says too much before it is ready; nothing was frozen");
  EXPECT_EQ(error.lines().size(), 10U);
}

TEST_F(FreezeHooksTest, OneThatCannotBeRunRefusesTheSnapshot) {
  const std::string missing = m_directory.file("missing");
  EXPECT_EQ(refusal({diarist("one"), missing}).what(), missing + " cannot be run: No such file or directory");
  EXPECT_THAT(diary(), ElementsAre("one", "one failed"));
}

TEST_F(FreezeHooksTest, ASignalEndsTheWaitAndThoseThatAreReadyAreTold) {
  const std::string pid = std::to_string(getpid());
  const HostError error = refusal({diarist("one"), program("two", "kill -s TERM " + pid + "; sleep 1000")});
  EXPECT_STREQ(error.what(), "interrupted by SIGTERM");
  EXPECT_THAT(diary(), ElementsAre("one", "one failed"));
  // A signal that is ignored does not wait any more.
  std::signal(SIGTERM, std::signal(SIGTERM, SIG_IGN));
}

TEST_F(FreezeHooksTest, OneThatFailsAfterTheThawMakesTheSnapshotFailWhenAllHaveEnded) {
  const std::string failing = program("two", "echo ready; read word; echo not $word; exit 3");
  FreezeHooks hooks({diarist("one"), failing}, longTime, m_snapshot, m_signals);
  try {
    hooks.taken();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const HostError& error) {
    EXPECT_EQ(error.what(), "the hook " + failing + " failed after the thaw; no snapshot is kept");
    EXPECT_THAT(error.lines(), ElementsAre("not taken"));
  }
  EXPECT_THAT(diary(), ElementsAre("one", "one taken"));
}

TEST_F(FreezeHooksTest, TheFirstOfSeveralFailuresIsThrownAndTheOthersTold) {
  const std::string one = program("one", "echo ready; read word; exit 1");
  const std::string two = program("two", "echo ready; read word; exit 2");
  FreezeHooks hooks({one, two}, longTime, m_snapshot, m_signals);
  testing::internal::CaptureStderr();
  try {
    hooks.taken();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const HostError& error) {
    EXPECT_EQ(error.object(), two);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "qmfi: the hook " + one + " failed after the thaw; no snapshot is kept\n");
}

TEST_F(FreezeHooksTest, AFailureWhenNothingWasTakenIsTold) {
  const std::string one = program("one", "echo ready; read word; exit 1");
  testing::internal::CaptureStderr();
  { const FreezeHooks hooks({one}, longTime, m_snapshot, m_signals); }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "qmfi: the hook " + one + " failed after the thaw; no snapshot is kept\n");
}

TEST_F(FreezeHooksTest, OneThatDoesNotReadWhatCameOfItMayEndWell) {
  FreezeHooks hooks({program("one", "exec 0</dev/null; echo ready")}, longTime, m_snapshot, m_signals);
  EXPECT_NO_THROW(hooks.taken());
}

}  // namespace
}  // namespace qmfi_host
