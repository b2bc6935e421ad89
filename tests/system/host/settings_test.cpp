// Settings files of a real machine. Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host_fixture.h"
#include "support/freeze_requests.h"
#include "support/json_schema.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testbed_test::OpenDirectory;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* mainFile = "/etc/qmfi/qmfi.toml";

// Without settings files and the directories that they name, before and after.
class SettingsTest : public HostTest {
 protected:
  void TearDown() override {
    fs::remove(mainFile);
    fs::remove_all("/etc/qmfi/conf.d");
    for (const char* name : {"file", "variable", "option"}) {
      fs::remove_all(directoryBy(name));
      fs::remove_all(snapshotsBy(name));
    }
    HostTest::TearDown();
  }

  static std::string directoryBy(const std::string& name) { return "/var/lib/qmfi-by-" + name; }
  static std::string snapshotsBy(const std::string& name) { return "/run/snapshots-by-" + name; }

  static void write(const std::string& text) { std::ofstream(mainFile) << text; }
};

TEST_F(SettingsTest, OfAFileTakeEffectAndGiveWayToAVariableAndThatToAnOption) {
  write("state_dir = \"" + directoryBy("file") + "\"\n");
  const std::string variable = "QMFI_STATE_DIR=" + directoryBy("variable");
  ASSERT_EQ(qmfi({"snapshot", "create", "/mnt/a", "--name", "nightly"}).status, 0);
  EXPECT_TRUE(fs::exists(directoryBy("file") + "/state.db"));
  EXPECT_THAT(qmfi({"snapshot", "list"}).output, HasSubstr(" nightly "));
  EXPECT_EQ(qmfi({"snapshot", "list"}, {variable}).output, emptyList);
  EXPECT_THAT(qmfi({"--state-dir", directoryBy("file"), "snapshot", "list"}, {variable}).output,
              HasSubstr(" nightly "));
  // A shell that completes the name looks there, too.
  EXPECT_EQ(qmfi({"complete", "snapshot", "show", "nig"}).output, "nightly\n");
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

TEST_F(SettingsTest, OfTheTableCreateHoldForNewSnapshots) {
  write("[create]\nalternate_dir = \"" + snapshotsBy("file") + "\"\n");
  const std::string variable = "QMFI_ALTERNATE_DIR=" + snapshotsBy("variable");
  const struct {
    std::string name;
    std::vector<std::string> variables;
    std::vector<std::string> options;
  } cases[] = {
      {"file", {}, {}},
      {"variable", {variable}, {}},
      {"option", {variable}, {"--alternate-dir", snapshotsBy("option")}},
  };
  for (const auto& [name, variables, options] : cases) {
    std::vector<std::string> words = {"snapshot", "create", "/mnt/a", "--name", "nightly"};
    words.insert(words.end(), options.begin(), options.end());
    const auto outcome = qmfi(words, variables);
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    const std::vector<Snapshot> snapshots = listedSnapshots();
    ASSERT_EQ(snapshots.size(), 1U);
    EXPECT_EQ(snapshots[0].nodes[0].alternate, snapshotsBy(name) + "/nightly/mnt/a");
    EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
  }
}

TEST_F(SettingsTest, OfSeveralFilesAreShownWithTheirPlaces) {
  write("lock_wait = 1\nlanguage = \"de\"\n");
  fs::create_directory("/etc/qmfi/conf.d");
  std::ofstream("/etc/qmfi/conf.d/10-site.toml") << "\nlock_wait = 10\n[create]\novercommit = true\n";
  std::ofstream("/etc/qmfi/conf.d/20-host.toml") << "\n\nlock_wait = 20\n";
  const std::string shown = qmfi({"config", "show", "--origin"}, {"LANG=fr_FR.UTF-8"}).output;
  EXPECT_THAT(shown, testing::ContainsRegex("\nlock_wait +20 +/etc/qmfi/conf\\.d/20-host\\.toml:3\n"));
  EXPECT_THAT(shown, testing::ContainsRegex("\nlanguage +fr_FR\\.UTF-8 +LANG\n"));
  EXPECT_THAT(shown, testing::ContainsRegex("\ncreate\\.overcommit +true +/etc/qmfi/conf\\.d/10-site\\.toml:4\n"));
  const auto json = testbed_test::jsonOutputOf(qmfi({"config", "show", "--json"}).output);
  EXPECT_EQ(nlohmann::json::parse(json.document)[4], nlohmann::json::parse(R"({
    "key": "lock_wait", "value": 20,
    "origin": {"kind": "file", "name": "/etc/qmfi/conf.d/20-host.toml", "line": 3}})"));
  EXPECT_EQ(qmfi({"config", "check"}).output, "keine Fehler gefunden\n");
}

TEST_F(SettingsTest, ThatAreWrongFailWhatTheyAreForAndNothingElse) {
  write("lock_wait = \"soon\"\n");
  const std::string text =
      "/etc/qmfi/qmfi.toml:1: lock_wait must be a number from 0 to 604800; change the value, or remove the line\n";
  for (const std::vector<std::string>& words : {std::vector<std::string>{"snapshot", "list"},
                                                {"snapshot", "create", "/mnt/a"},
                                                {"--lock-wait", "3", "recover"}}) {
    const auto outcome = qmfi(words);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "qmfi: " + text);
  }
  EXPECT_EQ(qmfi({"snapshot", "run", "/mnt/a", "--", "/bin/true"}).status, 125);

  const OpenDirectory a("/mnt/a");
  ASSERT_EQ(ioctl(a.get(), FIFREEZE, 0), 0);
  const auto thawed = qmfi({"thaw", "/mnt/a"});
  EXPECT_EQ(thawed.status, 0);
  EXPECT_EQ(thawed.output, "qmfi: " + text + "/mnt/a: thawed\n");
  EXPECT_EQ(qmfi({"--json", "thaw", "/mnt/a"}).status, 0);

  for (const char* word : {"explain", "help", "--version"}) {
    const auto outcome = qmfi({word});
    EXPECT_EQ(outcome.status, 0) << word;
    EXPECT_THAT(outcome.output, Not(HasSubstr("qmfi.toml"))) << word;
  }
  const auto shown = qmfi({"config", "show"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_THAT(shown.output, testing::AllOf(StartsWith("qmfi: " + text),
                                           HasSubstr("\nlock_wait              (until the other qmfi has done)\n")));
  const auto checked = qmfi({"config", "check"});
  EXPECT_EQ(checked.status, 1);
  EXPECT_EQ(checked.output, text);
  const auto looked = qmfi({"doctor"});
  EXPECT_EQ(looked.status, 1);
  EXPECT_THAT(looked.output, HasSubstr("problem  settings    " + text + "                     -> qmfi config check\n"));
}

TEST_F(SettingsTest, ThatAreWrongAreToldToPrograms) {
  write("[create]\nrequire = \"all\"\n");
  const auto failed = testbed_test::jsonOutputOf(qmfi({"--json", "snapshot", "list"}).output);
  EXPECT_EQ(failed.document, "");
  ASSERT_EQ(failed.lines.size(), 1U);
  const nlohmann::json error = nlohmann::json::parse(failed.lines[0])["error"];
  EXPECT_EQ(error["id"], "settings_wrong");
  EXPECT_EQ(error["object"], mainFile);
  EXPECT_EQ(error["cause"], "create.require must be \"group\" or \"none\"");
  const auto checked = testbed_test::jsonOutputOf(qmfi({"--json", "config", "check"}).output);
  EXPECT_EQ(nlohmann::json::parse(checked.document), nlohmann::json::parse(R"([{
    "file": "/etc/qmfi/qmfi.toml", "line": 2, "key": "create.require",
    "text": "/etc/qmfi/qmfi.toml:2: create.require must be \"group\" or \"none\"; change the value, or remove the line",
    "hint": "change the value, or remove the line"}])"));
}

TEST_F(SettingsTest, ThatNobodyKnowsFailNothingAndAreNamed) {
  write("lockwait = 3\n");
  EXPECT_EQ(qmfi({"snapshot", "list"}).output, emptyList);
  const std::string text =
      "/etc/qmfi/qmfi.toml:1: lockwait is not known; remove it, or write one of provider, provider_dir, state_dir, "
      "splitter_command, lock_wait, language\n";
  const auto checked = qmfi({"config", "check"});
  EXPECT_EQ(checked.status, 1);
  EXPECT_EQ(checked.output, text);
  const auto looked = qmfi({"doctor"});
  EXPECT_EQ(looked.status, 0);
  EXPECT_THAT(looked.output, HasSubstr("notice   settings    " + text));
}

TEST_F(SettingsTest, ThatOthersCouldChangeAreRefused) {
  write("lock_wait = 3\n");
  ASSERT_EQ(chmod(mainFile, S_IRUSR | S_IWUSR | S_IWOTH), 0);
  const std::string text =
      "/etc/qmfi/qmfi.toml cannot be trusted: everybody can write to /etc/qmfi/qmfi.toml; use a place that belongs to "
      "root and that nobody else can write to\n";
  const auto outcome = qmfi({"snapshot", "list"});
  EXPECT_EQ(outcome.status, 8);
  EXPECT_EQ(outcome.output, "qmfi: " + text);
  EXPECT_EQ(qmfi({"config", "check"}).output, text);
  EXPECT_THAT(qmfi({"config", "show", "--origin"}).output, Not(HasSubstr(mainFile + std::string(":1"))));
  // Neither is a directory of somebody's choice.
  EXPECT_EQ(qmfi({"snapshot", "list"}, {"QMFI_CONFIG_DIR=/tmp"}).status, 8);
  EXPECT_EQ(qmfi({"snapshot", "list"}, {"QMFI_CONFIG_DIR=/etc/nothing-there"}).output, emptyList);
}

TEST_F(SettingsTest, AreShownToWhoeverCanReadThem) {
  write("lock_wait = 3\n");
  const std::vector<std::string> words = {"/usr/bin/setpriv", "--reuid=65534", "--clear-groups", "/usr/bin/qmfi",
                                          "config",           "show",          "--origin"};
  const auto shown = testbed_test::run(words);
  EXPECT_EQ(shown.status, 0);
  EXPECT_THAT(shown.output, testing::ContainsRegex("\nlock_wait +3 +/etc/qmfi/qmfi\\.toml:1\n"));
  ASSERT_EQ(chmod(mainFile, S_IRUSR | S_IWUSR), 0);
  const auto refused = testbed_test::run(words);
  EXPECT_EQ(refused.status, 0);
  EXPECT_THAT(refused.output, StartsWith("qmfi: /etc/qmfi/qmfi.toml: cannot be read: Permission denied; "));
}

TEST_F(SettingsTest, CheckNamesWhatIsWrongInDescriptors) {
  const std::string directory = "/run/providers";
  fs::create_directory(directory);
  std::ofstream(directory + "/one.provider") << "[requests]\nfreeze = 0\nthaw = 1\n";
  std::ofstream(directory + "/other.provider") << "[cache]\nsafe = \"s\"\nfast = \"f\"\n";
  std::ofstream(directory + "/torn.provider") << "[cache\n";
  const auto outcome = qmfi({"--provider-dir", directory, "config", "check"});
  fs::remove_all(directory);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output,
              StartsWith("/run/providers/one.provider:2: requests.freeze must be a number from 1 to 4294967295; mend "
                         "the file, or install the provider anew\n/run/providers/torn.provider:1: "));
  EXPECT_THAT(outcome.output, Not(HasSubstr("other.provider")));
}

}  // namespace
}  // namespace host_test
