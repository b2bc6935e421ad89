// "qmfi provider verify" on real file systems: sound providers pass, broken ones are caught, and nothing stays frozen.
// Volumes: "a" and "b" are qmfs, "x" is xfs, "e" is ext4, each mounted at /mnt/ and its name.
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "host_fixture.h"
#include "support/broken_provider/broken_folder.h"
#include "support/freeze_requests.h"
#include "support/json_schema.h"
#include "support/temporary_directory.h"
#include "support/text_file.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testbed_test::OpenDirectory;
using testbed_test::Outcome;
using testing::EndsWith;
using testing::HasSubstr;

constexpr const char* linuxFS = "/usr/lib/qmfi/linuxfs/liblinuxfsfi.so";
constexpr const char* qmfs = "/usr/lib/qmfi/providers/libqmfsfi.so";
// Where root alone can write.
constexpr const char* brokenParent = "/usr/lib/qmfi/broken";

// 0, or why a freeze or a thaw is refused.
int ask(const std::string& mountPoint, unsigned long request) {
  return ioctl(OpenDirectory(mountPoint).get(), request, 0) == 0 ? 0 : errno;
}

bool isFrozen(const std::string& mountPoint) {
  const int answer = ask(mountPoint, FIFREEZE);
  if (answer == 0) ask(mountPoint, FITHAW);
  return answer == EBUSY;
}

// Waits for at most a minute.
template <typename Condition>
bool waitUntil(const Condition& holds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!holds() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  return holds();
}

// Whether a case of this qmfi hangs in its provider, which has frozen all by then. To ask the file systems would freeze
// them in its way.
bool hangs(const BackgroundQmfi& background) {
  const std::string pid = std::to_string(background.pid());
  std::istringstream children(textOf("/proc/" + pid + "/task/" + pid + "/children"));
  const std::string inPause = std::to_string(SYS_pause) + " ";
  for (std::string child; children >> child;) {
    if (textOf("/proc/" + child + "/syscall").starts_with(inPause)) return true;
  }
  return false;
}

class Verify : public testing::Test {
 protected:
  ~Verify() override { fs::remove_all(brokenParent); }

  void TearDown() override {
    for (const char* const mountPoint : {"/mnt/x", "/mnt/e"}) EXPECT_EQ(ask(mountPoint, FITHAW), EINVAL) << mountPoint;
  }

  static std::string broken(const std::string& fault) { return brokenProviderIn(brokenParent, fault); }

  // The words that examine a library on the volumes that its provider is for.
  static std::vector<std::string> onVolumes(const std::string& library, std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"provider", "verify", library, "--on", "/mnt/x", "--on", "/mnt/e"});
    return more;
  }
};

TEST_F(Verify, TheProviderForQmfsPasses) {
  const Outcome outcome = qmfi({"provider", "verify", qmfs, "--on", "/mnt/a", "--on", "/mnt/b"});
  EXPECT_THAT(outcome.output, EndsWith(" passed, 0 failed, 0 not tried\n"));
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(Verify, TheProviderForXfsAndExt4Passes) {
  const Outcome outcome = qmfi(onVolumes(linuxFS));
  EXPECT_THAT(outcome.output, EndsWith(" passed, 0 failed, 0 not tried\n"));
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(Verify, TheTemplatePasses) {
  fs::create_directories(brokenParent);
  fs::copy(QMFI_BINARY_DIR "/template", brokenParent, fs::copy_options::recursive);
  const Outcome outcome = qmfi({"provider", "verify", std::string(brokenParent) + "/libsamplefi.so", "--on", "/mnt/e"},
                               {"QMFI_CATALOG_DIR=" + std::string(brokenParent) + "/catalogs"});
  EXPECT_THAT(outcome.output, EndsWith("2 not tried: no two file systems are given by --on\n"
                                       "140 cases: 138 passed, 0 failed, 2 not tried\n"));
  EXPECT_EQ(outcome.status, 0);
}

struct PlantedFault {
  const char* name;
  const char* caughtBy;
};

void PrintTo(const PlantedFault& fault, std::ostream* out) {
  *out << fault.name;
}

class BrokenFreeze : public Verify, public testing::WithParamInterface<PlantedFault> {};

TEST_P(BrokenFreeze, IsCaughtByTheCaseThatNamesItsFault) {
  const auto& [fault, name] = GetParam();
  const char* const limit = std::string(fault) == "hangsWhenFrozen" ? "8" : "60";
  const Outcome outcome = qmfi(onVolumes(broken(fault), {"--case", name, "--time", limit, "--json"}));
  EXPECT_EQ(outcome.status, 1);
  const auto report = nlohmann::json::parse(testbed_test::jsonOutputOf(outcome.output).document);
  EXPECT_EQ(report["failed"], 1) << report.dump(2);
  EXPECT_EQ(report["cases"].back()["name"], name);
  EXPECT_EQ(report["cases"].back()["outcome"], "failed") << report.dump(2);
}

constexpr PlantedFault plantedFaults[] = {
#define BROKEN_FREEZE(name, case) {#name, case},
#include "support/broken_provider/broken_faults.def"
};

INSTANTIATE_TEST_SUITE_P(Faults, BrokenFreeze, testing::ValuesIn(plantedFaults),
                         [](const auto& information) { return information.param.name; });

TEST_F(Verify, TellsWhatIsNotSoAndWhatTheRuleSays) {
  EXPECT_EQ(qmfi(onVolumes(broken("freezesFirstOnly"), {"--case", "file-systems.freeze"})).output,
            "failed    file-systems.freeze\n"
            "          rule: quiesce answers 0 when all are frozen, and unquiesce thaws all.\n"
            "          /mnt/e is not frozen although quiesce answers 0\n"
            "          /mnt/e is not frozen although quiesce answers 0\n"
            "          /mnt/e is not frozen although quiesce answers 0\n"
            "4 cases: 3 passed, 1 failed, 0 not tried\n");
}

TEST_F(Verify, WhatIsLeftFrozenIsThawedAndTold) {
  EXPECT_THAT(qmfi(onVolumes(broken("thawsNothing"), {"--case", "file-systems.fini"})).output,
              EndsWith("4 cases: 4 passed, 0 failed, 0 not tried\n"));
  const Outcome outcome = qmfi(onVolumes(broken("hangsWhenFrozen"), {"--case", "file-systems.freeze", "--time", "2"}));
  EXPECT_THAT(outcome.output, HasSubstr("          the process took longer than 2 s, last in quiesce\n"
                                        "          /mnt/x was left frozen\n"
                                        "          /mnt/e was left frozen\n"));
}

TEST_F(Verify, CtrlCThawsAndEndsIt) {
  BackgroundQmfi background(onVolumes(broken("hangsWhenFrozen"), {"--case", "file-systems.freeze", "--time", "600"}));
  ASSERT_TRUE(waitUntil([&] { return hangs(background); }));
  EXPECT_TRUE(isFrozen("/mnt/e"));
  background.send(SIGINT);
  EXPECT_EQ(background.wait(), 128 + SIGINT);
  EXPECT_FALSE(isFrozen("/mnt/x"));
}

TEST_F(Verify, AKilledOneLeavesNothingFrozen) {
  BackgroundQmfi background(onVolumes(broken("hangsWhenFrozen"), {"--case", "file-systems.freeze", "--time", "600"}));
  ASSERT_TRUE(waitUntil([&] { return hangs(background); }));
  EXPECT_TRUE(isFrozen("/mnt/e"));
  background.send(SIGKILL);
  EXPECT_EQ(background.wait(), 128 + SIGKILL);
  EXPECT_TRUE(waitUntil([] { return !isFrozen("/mnt/e") && !isFrozen("/mnt/x"); }));
}

TEST_F(Verify, WritesAReportForBuildServers) {
  const TemporaryDirectory directory;
  const std::string file = directory.file("report.xml");
  EXPECT_EQ(qmfi({"provider", "verify", linuxFS, "--case", "messages.*", "--junit", file}).status, 0);
  EXPECT_THAT(directory.read("report.xml"),
              HasSubstr("<testsuite name=\"linuxfsfi\" tests=\"10\" failures=\"0\" skipped=\"0\">"));
  const Outcome outcome = qmfi({"provider", "verify", linuxFS, "--case", "none", "--junit", "/no/such/report.xml"});
  EXPECT_EQ(outcome.status, 4);
  EXPECT_THAT(outcome.output,
              EndsWith("qmfi: the report /no/such/report.xml cannot be written: No such file or directory\n"));
}

TEST_F(Verify, ListsItsCases) {
  const Outcome outcome = qmfi({"provider", "verify", linuxFS, "--list", "--case", "start.version"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output,
            "library.loads: The library can be loaded, with all symbols bound.\n"
            "library.exports: The library exports all the functions of the list, each with the provider's name before "
            "it.\n"
            "start.answers: init answers 0 where all that the provider needs is there, without a context record too.\n"
            "start.version: init stores the version of the interface: 7 and three zeros.\n");
}

// It is loaded into a process of root's.
TEST_F(Verify, ALibraryThatOthersCanChangeIsNotLoadedByRoot) {
  const TemporaryDirectory directory;
  const std::string library = brokenProviderIn(directory.path(), "none");
  const Outcome outcome = qmfi({"provider", "verify", library});
  EXPECT_EQ(outcome.status, 8);
  EXPECT_THAT(outcome.output, HasSubstr("/tmp"));
}

TEST_F(Verify, OnlyRootFreezes) {
  const Outcome outcome = testbed_test::run({"/usr/bin/setpriv", "--reuid=1000", "--regid=1000", "--clear-groups",
                                             "/usr/bin/qmfi", "provider", "verify", linuxFS, "--on", "/mnt/x"});
  EXPECT_EQ(outcome.status, 8);
  EXPECT_EQ(outcome.output, "qmfi: freezing and mounting file systems needs root\n");
}

TEST_F(Verify, AnybodyExaminesWhatHeCanRead) {
  const Outcome outcome = testbed_test::run({"/usr/bin/setpriv", "--reuid=1000", "--regid=1000", "--clear-groups",
                                             "/usr/bin/qmfi", "provider", "verify", linuxFS});
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  EXPECT_THAT(outcome.output, HasSubstr("12 not tried\n"));
}

}  // namespace
}  // namespace host_test
