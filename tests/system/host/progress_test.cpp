// What qmfi tells of its steps, at a terminal and elsewhere.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c, "spare" blank.
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>

#include "host_fixture.h"
#include "qmfi_at_terminal.h"
#include "support/json_schema.h"

namespace host_test {
namespace {

using Json = nlohmann::json;
using testbed_test::Outcome;
using testing::ElementsAre;

constexpr const char* spare = "/dev/qm/dsk/dg1/spare";

using ProgressTest = HostTest;

// A creation of the snapshot "nightly" with these options.
std::vector<std::string> creation(const std::vector<std::string>& options) {
  std::vector<std::string> words = {"snapshot", "create",  "/mnt/a",           "/mnt/b",
                                    "--name",   "nightly", "--freeze-timeout", "20"};
  words.insert(words.end(), options.begin(), options.end());
  return words;
}

void deleteNightly() {
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

// What is told with the times and the id replaced.
std::string withoutTimes(const std::string& told) {
  const std::string times = std::regex_replace(told, std::regex("\\[ *[0-9]+\\.[0-9]{3} s\\]"), "[TIME]");
  const std::string frozen = std::regex_replace(times, std::regex("frozen for [0-9]+\\.[0-9] ms"), "frozen for TIME");
  return std::regex_replace(frozen, std::regex("-[0-9a-f]{8}\n"), "-ID\n");
}

// Runs qmfi with nobody at a terminal and without its standard output, and returns what it tells.
std::string toldBy(std::vector<std::string> words) {
  words.insert(words.begin(), {"/bin/sh", "-c", "exec /usr/bin/qmfi \"$@\" >/dev/null", "sh"});
  const Outcome outcome = testbed_test::run(words);
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  return outcome.output;
}

constexpr const char* claims =
    "[TIME] asking the providers about /mnt/a\n"
    "[TIME] asking the providers about /mnt/b\n";

constexpr const char* stepsBehindTheClaims =
    "[TIME] preparing the split by reflink\n"
    "[TIME] writing out what is in memory, then freezing for the snapshot nightly\n"
    "[TIME] frozen for TIME\n"
    "[TIME] attaching the copy /dev/qm/dsk/dg1/a-ID\n"
    "[TIME] attaching the copy /dev/qm/dsk/dg1/b-ID\n"
    "[TIME] mounting /run/qmfi/snapshots/nightly/mnt/a\n"
    "[TIME] mounting /run/qmfi/snapshots/nightly/mnt/b\n";

TEST_F(ProgressTest, OfACreationIsToldAtATerminal) {
  const Outcome outcome = QmfiAtTerminal(creation({})).wait();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(withoutTimes(outcome.output), std::string(claims) + stepsBehindTheClaims);
  deleteNightly();
}

TEST_F(ProgressTest, IsNotToldWhereQuietIsAskedForNorElsewhereThanAtATerminal) {
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{"-q"}, std::vector<std::string>{"--progress=none"}}) {
    const Outcome outcome = QmfiAtTerminal(creation(options)).wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "");
    deleteNightly();
  }
  EXPECT_EQ(toldBy(creation({})), "");
  deleteNightly();
}

TEST_F(ProgressTest, ThatIsAskedForIsToldWithTheChoicesElsewhereToo) {
  EXPECT_EQ(withoutTimes(toldBy(creation({"--verbose"}))), std::string(claims) +
                                                               "[TIME] /mnt/a: provider qmfsfi, splitter reflink\n"
                                                               "[TIME] /mnt/b: provider qmfsfi, splitter reflink\n" +
                                                               stepsBehindTheClaims);
  EXPECT_EQ(withoutTimes(toldBy({"snapshot", "unmount", "nightly", "--progress=text"})),
            "[TIME] unmounting /run/qmfi/snapshots/nightly/mnt/b (its provider may try again for a minute while it is "
            "in use)\n"
            "[TIME] detaching the copy /dev/qm/dsk/dg1/b-ID\n"
            "[TIME] unmounting /run/qmfi/snapshots/nightly/mnt/a (its provider may try again for a minute while it is "
            "in use)\n"
            "[TIME] detaching the copy /dev/qm/dsk/dg1/a-ID\n");
  EXPECT_EQ(withoutTimes(toldBy({"snapshot", "mount", "nightly", "--progress=text"})),
            "[TIME] attaching the copy /dev/qm/dsk/dg1/a-ID\n"
            "[TIME] mounting /run/qmfi/snapshots/nightly/mnt/a\n"
            "[TIME] attaching the copy /dev/qm/dsk/dg1/b-ID\n"
            "[TIME] mounting /run/qmfi/snapshots/nightly/mnt/b\n");
  EXPECT_EQ(withoutTimes(toldBy({"snapshot", "prune", "night*", "--keep-last", "1", "-v"})), "");
  EXPECT_EQ(withoutTimes(toldBy({"snapshot", "delete", "nightly", "-v"})),
            "[TIME] unmounting /run/qmfi/snapshots/nightly/mnt/b (its provider may try again for a minute while it is "
            "in use)\n"
            "[TIME] removing the copy /dev/qm/dsk/dg1/b-ID\n"
            "[TIME] unmounting /run/qmfi/snapshots/nightly/mnt/a (its provider may try again for a minute while it is "
            "in use)\n"
            "[TIME] removing the copy /dev/qm/dsk/dg1/a-ID\n");
}

// Each line as "EVENT STEP OBJECT", with the id replaced; all must be what the schema says.
std::vector<std::string> eventsOf(const std::vector<std::string>& lines) {
  std::vector<std::string> events;
  long before = 0;
  for (const std::string& line : lines) {
    EXPECT_EQ(testbed_test::schemaErrors("progress", line), "");
    const Json event = Json::parse(line);
    EXPECT_GE(event["elapsed_ms"], before) << line;
    before = event["elapsed_ms"];
    events.push_back(event.value("event", "") + " " + event.value("step", "") + " " + event.value("object", ""));
    EXPECT_EQ(event.value("provider", "qmfsfi"), "qmfsfi") << line;
  }
  for (std::string& event : events) event = std::regex_replace(event, std::regex("-[0-9a-f]{8}$"), "-ID");
  return events;
}

TEST_F(ProgressTest, IsToldToProgramsLineByLine) {
  const Outcome created = qmfi(creation({"--json", "--progress=json"}));
  EXPECT_EQ(created.status, 0);
  EXPECT_THAT(eventsOf(testbed_test::jsonOutputOf(created.output).lines),
              ElementsAre("step claim /mnt/a", "step claim /mnt/b", "choice  /mnt/a", "choice  /mnt/b",
                          "step prepare reflink", "step freeze nightly", "thawed  ", "step attach /dev/qm/dsk/dg1/a-ID",
                          "step attach /dev/qm/dsk/dg1/b-ID", "step mount /run/qmfi/snapshots/nightly/mnt/a",
                          "step mount /run/qmfi/snapshots/nightly/mnt/b"));
  deleteNightly();
}

TEST_F(ProgressTest, OfARunTellsOfTheProgram) {
  std::vector<std::string> words = {"snapshot", "run", "/mnt/a", "--progress=json", "--", "/bin/true", "--quiet"};
  EXPECT_THAT(
      eventsOf(testbed_test::jsonOutputOf(toldBy(std::move(words))).lines),
      ElementsAre("step claim /mnt/a", "choice  /mnt/a", "step prepare reflink", testing::StartsWith("step freeze "),
                  "thawed  ", "step attach /dev/qm/dsk/dg1/a-ID",
                  testing::StartsWith("step mount /run/qmfi/snapshots/"), "step run /bin/true",
                  testing::StartsWith("step unmount /run/qmfi/snapshots/"), "step remove /dev/qm/dsk/dg1/a-ID"));
}

TEST_F(ProgressTest, OfDevicesAndOfAccessTellsWhatMayTakeLong) {
  EXPECT_EQ(withoutTimes(toldBy({"resource", "format", "--force", spare, "-v"})),
            std::string("[TIME] ") + spare + ": provider qmfsfi\n[TIME] formatting " + spare + " (may take minutes)\n");
  EXPECT_EQ(withoutTimes(toldBy({"resource", "online", spare, "/mnt/spare", "--progress=text"})),
            std::string("[TIME] mounting ") + spare + ", after a check if need be (which may take hours)\n");
  EXPECT_EQ(withoutTimes(toldBy({"access", "disable", "/mnt/spare", "--progress=text"})),
            "[TIME] unmounting /mnt/spare (its provider may try again for a minute while it is in use)\n");
  EXPECT_EQ(withoutTimes(toldBy({"access", "enable", "/mnt/spare", "--progress=text"})),
            "[TIME] mounting /mnt/spare, after a check if need be (which may take hours)\n");
  EXPECT_EQ(testbed_test::run({"/bin/umount", "/mnt/spare"}).status, 0);
  std::filesystem::remove("/mnt/spare");
}

}  // namespace
}  // namespace host_test
