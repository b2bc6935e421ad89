// What qmfi prints for programs; that it is what the schemas say is looked at in every test that asks for JSON.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c, "spare" blank.
#include <linux/fs.h>
#include <sys/ioctl.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host_fixture.h"
#include "support/freeze_requests.h"
#include "support/json_schema.h"

namespace host_test {
namespace {

using Json = nlohmann::json;
using testbed_test::JsonOutput;
using testbed_test::jsonOutputOf;
using testbed_test::OpenDirectory;
using testing::HasSubstr;

constexpr const char* spare = "/dev/qm/dsk/dg1/spare";

using JsonTest = HostTest;

struct JsonOutcome {
  int status;
  Json document;
  Json error;  // of the last line
};

JsonOutcome qmfiJson(std::vector<std::string> words) {
  words.insert(words.begin(), "--json");
  const auto outcome = qmfi(words);
  const JsonOutput parts = jsonOutputOf(outcome.output);
  JsonOutcome result{outcome.status, {}, {}};
  if (!parts.document.empty()) result.document = Json::parse(parts.document);
  if (!parts.lines.empty()) result.error = Json::parse(parts.lines.back()).value("error", Json());
  return result;
}

TEST_F(JsonTest, ClaimTellsWhoClaimsEachPath) {
  const JsonOutcome outcome = qmfiJson({"claim", "/mnt/a", "/mnt/a/.", "/proc"});
  EXPECT_EQ(outcome.document, Json::parse(R"([
    {"path": "/mnt/a", "outcome": "claimed", "provider": "qmfsfi", "groups": ["qmfs-quiesce"],
     "below": null},
    {"path": "/mnt/a/.", "outcome": "not_claimed", "provider": null, "groups": [], "below": "/mnt/a"},
    {"path": "/proc", "outcome": "not_claimed", "provider": null, "groups": [], "below": null}])"));
  EXPECT_EQ(outcome.status, 4);
  EXPECT_EQ(outcome.error["id"], "not_found");
}

TEST_F(JsonTest, SnapshotIsTakenUnmountedMountedAndDeleted) {
  const JsonOutcome created = qmfiJson({"snapshot", "create", "/mnt/a", "--name", "nightly", "--freeze-timeout", "20"});
  ASSERT_EQ(created.status, 0);
  const Json node = created.document["nodes"][0];
  const Json expected = {{{"snapshot", "nightly"},
                          {"id", created.document["id"]},
                          {"name", "nightly"},
                          {"nodes", {{{"mount_point", "/mnt/a"}, {"alternate", node["alternate"]}}}},
                          {"outcome", "done"},
                          {"error", nullptr}}};
  for (const char* command : {"unmount", "mount"}) {
    EXPECT_EQ(qmfiJson({"snapshot", command, "nightly"}).document, expected) << command;
  }
  const JsonOutcome deleted = qmfiJson({"snapshot", "delete", "nightly", "none"});
  EXPECT_EQ(deleted.status, 3);
  ASSERT_EQ(deleted.document.size(), 2U);
  EXPECT_EQ(deleted.document[0], expected[0]);
  EXPECT_EQ(deleted.document[1]["outcome"], "failed");
  EXPECT_EQ(deleted.document[1]["error"]["id"], "no_such_snapshot");
  EXPECT_EQ(qmfiJson({"snapshot", "list"}).document, Json::array());
}

TEST_F(JsonTest, DeviceIsFormattedMountedTakenOutOfUseAndBack) {
  EXPECT_EQ(qmfiJson({"resource", "format", "--force", spare}).document,
            Json({{"device", spare}, {"outcome", "done"}}));
  EXPECT_EQ(qmfiJson({"resource", "online", spare, "/mnt/spare"}).document,
            Json({{"device", spare}, {"outcome", "done"}, {"nodes", {{{"mount_point", "/mnt/spare"}}}}}));
  for (const char* command : {"disable", "enable"}) {
    EXPECT_EQ(qmfiJson({"cache", command, "/mnt/spare"}).document,
              Json({{"mount_point", "/mnt/spare"}, {"outcome", "done"}}));
  }
  const JsonOutcome disabled = qmfiJson({"access", "disable", "/mnt/spare", "/none"});
  EXPECT_EQ(disabled.status, 3);
  EXPECT_EQ(disabled.error["id"], "partly_done");
  ASSERT_EQ(disabled.document.size(), 2U);
  EXPECT_EQ(disabled.document[0], Json({{"mount_point", "/mnt/spare"}, {"outcome", "done"}, {"error", nullptr}}));
  EXPECT_EQ(disabled.document[1]["outcome"], "failed");
  EXPECT_EQ(disabled.document[1]["error"]["id"], "not_claimed");
  EXPECT_EQ(disabled.document[1]["error"]["object"], "/none");
  EXPECT_EQ(qmfiJson({"access", "list"}).document[0]["mount_point"], "/mnt/spare");
  EXPECT_EQ(qmfiJson({"access", "enable", "/mnt/spare"}).document[0]["outcome"], "done");
  EXPECT_EQ(testbed_test::run({"/bin/umount", "/mnt/spare"}).status, 0);
  std::filesystem::remove("/mnt/spare");
}

TEST_F(JsonTest, NothingIsAsked) {
  const JsonOutcome outcome = qmfiJson({"resource", "format", spare});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.error["id"], "force_needed");
  EXPECT_EQ(outcome.error["object"], spare);
}

TEST_F(JsonTest, ThawTellsOfEachAndKeepsTheBytesOfNames) {
  const OpenDirectory a("/mnt/a");
  ASSERT_EQ(ioctl(a.get(), FIFREEZE, 0), 0);
  const JsonOutcome outcome = qmfiJson({"thaw", "/mnt/a", "/mnt/b", "/none\xff"});
  EXPECT_EQ(outcome.status, 3);
  ASSERT_EQ(outcome.document.size(), 3U);
  EXPECT_EQ(outcome.document[0], Json({{"mount_point", "/mnt/a"}, {"outcome", "thawed"}, {"error", nullptr}}));
  EXPECT_EQ(outcome.document[1], Json({{"mount_point", "/mnt/b"}, {"outcome", "not_frozen"}, {"error", nullptr}}));
  EXPECT_EQ(outcome.document[2]["outcome"], "failed");
  EXPECT_EQ(outcome.document[2]["mount_point_bytes"], "/none%FF");
  EXPECT_EQ(outcome.document[2]["error"]["object_bytes"], "/none%FF");
  EXPECT_EQ(outcome.document[2]["error"]["id"], "not_found");
  EXPECT_EQ(outcome.document[2]["error"]["cause"], "No such file or directory");
}

TEST_F(JsonTest, RecoverHasNothingToTellOfWhereNothingIsLeft) {
  EXPECT_EQ(qmfiJson({"recover"}).document, Json::array());
}

TEST_F(JsonTest, FailuresTellTheirKindAndObject) {
  const struct {
    std::vector<std::string> words;
    int status;
    std::string id;
    std::string object;
  } cases[] = {
      {{"snapshot", "show", "none"}, 4, "no_such_snapshot", "none"},
      {{"snapshot", "create", "/proc"}, 4, "not_claimed", "/proc"},
      {{"snapshot", "create", "/mnt/a", "--splitter", "none"}, 2, "wrong_usage", "none"},
      {{"resource", "online", "/dev/qm/dsk/dg1/none"}, 4, "not_found", "/dev/qm/dsk/dg1/none"},
      {{"resource", "format", "--force", "/dev/qm/dsk/dg1/a"}, 5, "busy", "/dev/qm/dsk/dg1/a"},
      {{"--state-dir", "/tmp/state", "snapshot", "list"}, 8, "untrusted", "/tmp/state/state.db"},
      {{"--provider", "none", "provider", "show"}, 1, "provider_unusable", "none"},
  };
  for (const auto& one : cases) {
    const JsonOutcome outcome = qmfiJson(one.words);
    EXPECT_EQ(outcome.status, one.status) << testing::PrintToString(one.words);
    EXPECT_EQ(outcome.error["id"], one.id) << testing::PrintToString(one.words);
    EXPECT_EQ(outcome.error["object"], one.object) << testing::PrintToString(one.words);
    EXPECT_NE(outcome.error["hint"], Json()) << testing::PrintToString(one.words);
  }
}

TEST_F(JsonTest, FreezeOfSomebodyElseIsToldAsSuch) {
  const OpenDirectory a("/mnt/a");
  ASSERT_EQ(ioctl(a.get(), FIFREEZE, 0), 0);
  const JsonOutcome outcome = qmfiJson({"snapshot", "create", "/mnt/a", "/mnt/b"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.error["id"], "frozen_by_other");
  EXPECT_EQ(outcome.error["object"], "/mnt/a");
  EXPECT_THAT(outcome.error["cause"].get<std::string>(), HasSubstr("is frozen already, by somebody else"));
  EXPECT_EQ(ioctl(a.get(), FITHAW, 0), 0);
}

TEST_F(JsonTest, ProvidersFailureHasItsStatusAndMessages) {
  // Nothing is known of a blank device, so it is checked.
  std::ofstream(spare) << std::string(65536, '\0');
  const ScriptInPlaceOf check("/sbin/fsck", "echo it is damaged; exit 8");
  const JsonOutcome outcome = qmfiJson({"--language", "C", "resource", "online", spare, "/mnt/spare"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.error["id"], "provider_failed");
  EXPECT_EQ(outcome.error["object"], spare);
  EXPECT_EQ(outcome.error["cause"], "The operation failed; the messages of the provider say why.");
  EXPECT_EQ(outcome.error["status"], 6);
  EXPECT_EQ(outcome.error["messages"][0]["id"], "MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION");
  std::filesystem::remove("/mnt/spare");
}

}  // namespace
}  // namespace host_test
