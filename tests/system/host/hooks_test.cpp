// The administrator's programs that run around a freeze, on real file systems.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "host_fixture.h"
#include "support/freeze_requests.h"
#include "support/text_file.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testbed_test::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string hooks = "/etc/qmfi/hooks.d/";
constexpr const char* diary = "/run/hooks-diary";
constexpr const char* settings = "/etc/qmfi/qmfi.toml";
constexpr const char* door = "/run/hooks-door";

class HooksTest : public HostTest {
 protected:
  HooksTest() { fs::create_directories(hooks); }
  void TearDown() override {
    for (const char* const left : {diary, settings, door, "/mnt/a/before", "/mnt/a/after"}) fs::remove(left);
    fs::remove_all(hooks);
    HostTest::TearDown();
  }

  static void install(const std::string& name, const std::string& script) {
    std::ofstream(hooks + name) << "#!/bin/sh\n" << script << "\n";
    fs::permissions(hooks + name, fs::perms::owner_all);
  }

  // One that writes down what it is told.
  static void installDiarist(const std::string& name) {
    install(name, "say() { echo " + name + " $* >>" + diary +
                      "; }; say $2 $3 $4; echo ready; read outcome || outcome=nothing; say $outcome");
  }

  static Outcome createNightly(const std::vector<std::string>& options = {}) {
    std::vector<std::string> words = {"snapshot", "create",  "/mnt/a",           "/mnt/b",
                                      "--name",   "nightly", "--freeze-timeout", "20"};
    words.insert(words.end(), options.begin(), options.end());
    return qmfi(words);
  }

  // A snapshot of which nothing is kept, for that reason.
  static void expectNoSnapshot(const std::string& reason) {
    const Outcome outcome = createNightly();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, reason);
    EXPECT_EQ(qmfi({"snapshot", "list"}).output, emptyList);
  }

  // Waits until the diary has so many lines.
  static bool waitForLines(std::size_t count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (linesOf(diary).size() < count && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    return linesOf(diary).size() >= count;
  }
};

TEST_F(HooksTest, AreReadyBeforeTheFreezeAndGoOnAfterTheThaw) {
  install("one", "touch /mnt/a/before; echo ready; read outcome; touch /mnt/a/after");
  ASSERT_EQ(createNightly().status, 0);
  EXPECT_TRUE(fs::exists("/run/qmfi/snapshots/nightly/mnt/a/before"));
  EXPECT_FALSE(fs::exists("/run/qmfi/snapshots/nightly/mnt/a/after"));
  EXPECT_TRUE(fs::exists("/mnt/a/after"));
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

TEST_F(HooksTest, RunByTheirNamesAndEndInReverse) {
  installDiarist("20-two");
  installDiarist("10-one");
  ASSERT_EQ(createNightly().status, 0);
  EXPECT_THAT(linesOf(diary), ElementsAre("10-one nightly /mnt/a /mnt/b", "20-two nightly /mnt/a /mnt/b",
                                          "20-two taken", "10-one taken"));
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

TEST_F(HooksTest, OfSnapshotRunHaveEndedWhenTheProgramBegins) {
  installDiarist("one");
  EXPECT_EQ(qmfi({"snapshot", "run", "/mnt/a", "--name", "nightly", "--freeze-timeout", "20", "--", "/bin/cat", diary})
                .output,
            "one nightly /mnt/a\none taken\n");
}

TEST_F(HooksTest, OneThatRefusesKeepsTheSnapshotFromBeingTaken) {
  installDiarist("one");
  install("two", "echo the server is in recovery >&2; exit 1");
  expectNoSnapshot(
      "qmfi: the hook /etc/qmfi/hooks.d/two refused the snapshot; nothing was frozen\n"
      "  the server is in recovery\n");
  EXPECT_THAT(linesOf(diary), ElementsAre("one nightly /mnt/a /mnt/b", "one failed"));
}

TEST_F(HooksTest, RefusalIsToldToPrograms) {
  install("one", "echo no; exit 1");
  const nlohmann::json error = nlohmann::json::parse(createNightly({"--json"}).output).at("error");
  EXPECT_EQ(error.at("object"), "/etc/qmfi/hooks.d/one");
  EXPECT_EQ(error.at("cause"), "no");
  EXPECT_EQ(error.at("hint"), "see to what the hook says; --no-hooks takes the snapshot without it");
}

TEST_F(HooksTest, OneThatIsNotReadyInTheTimeOfTheSettingsIsKilled) {
  std::ofstream(settings) << "[create]\nhook_time = 1\n";
  install("one", "sleep 1000");
  expectNoSnapshot("qmfi: the hook /etc/qmfi/hooks.d/one was not ready within 1 s; nothing was frozen\n");
}

TEST_F(HooksTest, OneThatFailsAfterTheThawTakesTheSnapshotWithIt) {
  installDiarist("one");
  install("two", "echo ready; read outcome; echo the log was lost; exit 1");
  expectNoSnapshot(
      "qmfi: the hook /etc/qmfi/hooks.d/two failed after the thaw; no snapshot is kept\n"
      "  the log was lost\n");
  EXPECT_THAT(linesOf(diary), ElementsAre("one nightly /mnt/a /mnt/b", "one taken"));
}

TEST_F(HooksTest, AreToldWhenTheFreezeFails) {
  installDiarist("one");
  const testbed_test::OpenDirectory other("/mnt/b");
  ASSERT_EQ(testbed_test::freeze(other.get(), 60), 0);
  const Outcome outcome = createNightly();
  ASSERT_EQ(testbed_test::thaw(other.get()), 0);
  EXPECT_NE(outcome.status, 0);
  EXPECT_THAT(linesOf(diary), ElementsAre("one nightly /mnt/a /mnt/b", "one failed"));
}

// One hook is ready, the next is not yet: it waits for a writer at its door.
constexpr const char* waitsAtTheDoor = "echo at the door >>/run/hooks-diary; read word </run/hooks-door; exit 1";

TEST_F(HooksTest, EndByThemselvesWhenTheHostIsKilled) {
  installDiarist("one");
  ASSERT_EQ(mkfifo(door, S_IRUSR | S_IWUSR), 0);
  install("two", waitsAtTheDoor);
  BackgroundQmfi create({"snapshot", "create", "/mnt/a", "/mnt/b", "--name", "nightly"});
  ASSERT_TRUE(waitForLines(2));
  create.send(SIGKILL);
  create.wait();
  EXPECT_TRUE(waitForLines(3));
  std::ofstream(door) << "\n";
  EXPECT_THAT(linesOf(diary), ElementsAre("one nightly /mnt/a /mnt/b", "at the door", "one nothing"));
  EXPECT_EQ(qmfi({"recover"}).status, 0);
}

TEST_F(HooksTest, AreToldWhenTheUserGivesUp) {
  installDiarist("one");
  ASSERT_EQ(mkfifo(door, S_IRUSR | S_IWUSR), 0);
  install("two", waitsAtTheDoor);
  BackgroundQmfi create({"snapshot", "create", "/mnt/a", "/mnt/b", "--name", "nightly"});
  ASSERT_TRUE(waitForLines(2));
  create.send(SIGINT);
  EXPECT_EQ(create.wait(), 128 + SIGINT);
  EXPECT_THAT(linesOf(diary), ElementsAre("one nightly /mnt/a /mnt/b", "at the door", "one failed"));
  EXPECT_EQ(qmfi({"snapshot", "list"}).output, emptyList);
}

TEST_F(HooksTest, AreLeftOutWhereTheUserWantsNone) {
  install("one", "exit 1");
  EXPECT_EQ(createNightly({"--no-hooks"}).status, 0);
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

TEST_F(HooksTest, AreWhatHasTheNameOfOneAndCanBeRun) {
  install("one.dpkg-old", "exit 1");
  install("two~", "exit 1");
  install("three", "exit 1");
  fs::permissions(hooks + "three", fs::perms::owner_read);
  fs::create_directory(hooks + "four");
  EXPECT_EQ(createNightly().status, 0);
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
  const std::string told = qmfi({"doctor"}).output;
  EXPECT_THAT(told, HasSubstr("good     hooks       /etc/qmfi/hooks.d has programs that run around a freeze: 0\n"));
  for (const std::string name : {"four", "one.dpkg-old", "three", "two~"}) {
    EXPECT_THAT(told, HasSubstr("notice   hooks       " + hooks + name +
                                " is not run: a hook is an executable file named by letters, digits, \"_\" and \"-\" "
                                "only\n"));
  }
}

TEST_F(HooksTest, ThatOthersCanChangeKeepTheSnapshotFromBeingTaken) {
  const std::string what =
      "/etc/qmfi/hooks.d/one cannot be trusted: everybody can write to /etc/qmfi/hooks.d/one; use "
      "a place that belongs to root and that nobody else can write to";
  install("one", "echo ready; read outcome");
  fs::permissions(hooks + "one", fs::perms::all);
  const Outcome outcome = createNightly();
  EXPECT_EQ(outcome.status, 8);
  EXPECT_EQ(outcome.output, "qmfi: " + what + "\n");
  const Outcome planned = qmfi({"snapshot", "plan", "/mnt/a"});
  EXPECT_EQ(planned.status, 8);
  EXPECT_THAT(planned.output, HasSubstr("  in the way: " + what + "\n"));
  EXPECT_THAT(qmfi({"doctor"}).output, HasSubstr("problem  hooks       " + what + "\n"));
}

TEST_F(HooksTest, AreToldByThePlan) {
  install("one", "exit 1");
  const Outcome text = qmfi({"snapshot", "plan", "/mnt/a"});
  EXPECT_EQ(text.status, 0);
  EXPECT_THAT(text.output, HasSubstr("\n  hook: /etc/qmfi/hooks.d/one\n"));
  const nlohmann::json plan = nlohmann::json::parse(qmfi({"snapshot", "plan", "/mnt/a", "--json"}).output);
  EXPECT_EQ(plan.at("hooks"), nlohmann::json({"/etc/qmfi/hooks.d/one"}));
}

}  // namespace
}  // namespace host_test
