// JSON that names of any bytes survive in, and what programs are told of failures.
#include "failure/json_text.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "build_tree.h"
#include "cli/command_table.h"
#include "failure/failure_kind.h"
#include "failure/host_error.h"
#include "failure/percent_code.h"
#include "support/json_schema.h"
#include "support/text_file.h"

namespace qmfi_host {
namespace {

TEST(PercentCode, KeepsEveryByte) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(percentDecoded(percentEncoded(all)), all);
  EXPECT_EQ(percentEncoded("/mnt/100% \xff"), "/mnt/100%25 %FF");
  EXPECT_THROW(percentDecoded("%F"), HostError);
  EXPECT_THROW(percentDecoded("%GG"), HostError);
}

TEST(JsonText, KeepsTextAsItIs) {
  EXPECT_EQ(jsonLine({{"path", "/mnt/ä 100%"}, {"count", 3}}), "{\"path\":\"/mnt/ä 100%\",\"count\":3}\n");
  EXPECT_EQ(jsonDocument({{"path", "/mnt/a"}}), "{\n  \"path\": \"/mnt/a\"\n}\n");
  EXPECT_EQ(jsonDocument(Json::array()), "[]\n");
}

TEST(JsonText, KeepsTheBytesOfWhatIsNoText) {
  EXPECT_EQ(jsonLine({{"path", "/mnt/\xff%"}, {"next", 1}}),
            "{\"path\":\"/mnt/\uFFFD%\",\"path_bytes\":\"/mnt/%FF%25\",\"next\":1}\n");
  const Json nested = {{"nodes", {{{"path", "\xc3"}}}}};
  EXPECT_EQ(jsonLine(nested), "{\"nodes\":[{\"path\":\"\uFFFD\",\"path_bytes\":\"%C3\"}]}\n");
}

// Lets failures be told as JSON while it lives.
class ForPrograms {
 public:
  ForPrograms() { setMessageForm(MessageForm::json); }
  ForPrograms(const ForPrograms&) = delete;
  ForPrograms& operator=(const ForPrograms&) = delete;
  ~ForPrograms() { setMessageForm(MessageForm::text); }
};

std::string printed(const std::exception& error) {
  const ForPrograms form;
  std::ostringstream text;
  printError(text, error);
  EXPECT_EQ(testbed_test::schemaErrors("failure", text.str()), "");
  return text.str();
}

TEST(FailureForPrograms, TellsItsKindObjectCauseAndWhatToDo) {
  EXPECT_EQ(
      printed(HostError(Failure::noSuchSnapshot, "there is no snapshot \"x\"").about("x")),
      "{\"error\":{\"id\":\"no_such_snapshot\",\"exit_status\":4,\"text\":\"qmfi: there is no snapshot \\\"x\\\"\","
      "\"object\":\"x\",\"cause\":null,\"hint\":\"\\\"qmfi snapshot list\\\" shows all\",\"lines\":[]}}\n");
  EXPECT_EQ(printed(HostError("it failed").advise("try again")),
            "{\"error\":{\"id\":\"failed\",\"exit_status\":1,\"text\":\"qmfi: it failed\",\"object\":null,"
            "\"cause\":null,\"hint\":\"try again\",\"lines\":[]}}\n");
}

TEST(FailureForPrograms, OfASystemCallHasTheTextOfErrnoAsItsCause) {
  EXPECT_EQ(
      printed(systemError("/dev/x cannot be checked", EBUSY).about("/dev/x")),
      "{\"error\":{\"id\":\"busy\",\"exit_status\":5,\"text\":\"qmfi: /dev/x cannot be checked: Device or resource "
      "busy\",\"object\":\"/dev/x\",\"cause\":\"Device or resource busy\",\"hint\":\"end what uses it, or wait for "
      "it, and try again\",\"lines\":[]}}\n");
  EXPECT_EQ(systemError("x", ENOSPC).failure(), Failure::storageFull);
  EXPECT_EQ(systemError("x", EDQUOT).failure(), Failure::storageFull);
  EXPECT_EQ(systemError("x", EACCES).failure(), Failure::noPermission);
  EXPECT_EQ(systemError("x", ENOENT).failure(), Failure::failed);
  errno = ENOENT;
  EXPECT_EQ(systemErrorOfNamed("x").failure(), Failure::notFound);
}

TEST(FailureForPrograms, OfAProviderHasItsStatusAndMessages) {
  EXPECT_EQ(printed(ProviderError("/mnt/a failed", 6, {{"MSG_X", "first\nsecond"}, {"MSG_Y", "third"}}, "it says why")),
            "{\"error\":{\"id\":\"provider_failed\",\"exit_status\":1,\"text\":\"qmfi: /mnt/a failed: status 6\","
            "\"object\":null,\"cause\":\"it says why\",\"hint\":\"see the messages of the provider, and its log\","
            "\"lines\":[],\"status\":6,\"messages\":[{\"id\":\"MSG_X\",\"text\":\"first\\nsecond\"},"
            "{\"id\":\"MSG_Y\",\"text\":\"third\"}]}}\n");
}

TEST(FailureForPrograms, OfAnotherKindAfterwardsIsToldByThatKind) {
  HostError error("it could not be frozen");
  error.setExitStatus(ExitStatus::freezeUncertain);
  EXPECT_EQ(error.failure(), Failure::freezeUncertain);
  EXPECT_EQ(error.exitStatus(), ExitStatus::freezeUncertain);
}

TEST(FailureForPrograms, KeepsTheBytesOfAName) {
  EXPECT_EQ(Json::parse(printed(HostError("no /mnt/\xff").about("/mnt/\xff")))["error"]["object_bytes"], "/mnt/%FF");
}

TEST(NoticeForPrograms, IsAnObjectInALine) {
  const ForPrograms form;
  testing::internal::CaptureStderr();
  printNotice("waits for\nqmfi");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "{\"notice\":{\"text\":\"qmfi: waits for\\\\x0aqmfi\",\"error\":null}}\n");
}

TEST(NoticeForPrograms, TellsOfAFailureThatEndsNothing) {
  const ForPrograms form;
  testing::internal::CaptureStderr();
  tryOrReport([] { throw HostError(Failure::busy, "it is in use"); });
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_EQ(testbed_test::schemaErrors("failure", line), "");
  const Json notice = Json::parse(line)["notice"];
  EXPECT_EQ(notice["text"], "qmfi: it is in use");
  EXPECT_EQ(notice["error"]["id"], "busy");
}

TEST(FailureKinds, AreAllInOrderWithIdsOfTheirOwn) {
  std::set<std::string> ids;
  for (const FailureKind& kind : failureKinds()) {
    EXPECT_EQ(&kindOf(kind.failure), &kind) << kind.id;
    EXPECT_TRUE(ids.insert(kind.id).second) << kind.id;
  }
}

TEST(FailureKinds, OfAnExitStatusHaveThatStatus) {
  for (int status = 1; status <= 10; ++status) {
    const auto exitStatus = static_cast<ExitStatus>(status);
    EXPECT_EQ(kindOf(failureOfStatus(exitStatus)).exitStatus, exitStatus);
  }
}

// The users' document has the same table.
TEST(FailureKinds, AreInTheDocument) {
  const std::string document = textOf(QMFI_SOURCE_DIR "/docs/qmfi.md");
  for (const FailureKind& kind : failureKinds()) {
    const std::string line = "| `" + std::string(kind.id) + "` | " + std::to_string(static_cast<int>(kind.exitStatus)) +
                             " | " + kind.meaning + " | " + (kind.advice != nullptr ? kind.advice : "") + " |\n";
    EXPECT_NE(document.find(line), std::string::npos) << line;
  }
}

std::string schemaOf(const CommandEntry& entry) {
  return std::string(entry.group) + (*entry.group != '\0' ? "-" : "") + entry.name;
}

TEST(Schemas, ThereIsOneForEachCommandAndThoseOfTheErrors) {
  std::set<std::string> expected = {"failure", "progress"};
  for (const CommandEntry& entry : commandTable()) {
    // The standard output belongs to the program where one is run.
    if (!entry.make()->runsProgram()) expected.insert(schemaOf(entry));
  }
  const std::vector<std::string> names = testbed_test::schemaNames();
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), expected);
}

// A schema that describes an object lists all that it may hold.
void expectClosed(const Json& schema, const std::string& where) {
  if (schema.is_object() && schema.value("type", Json()) == "object") {
    EXPECT_EQ(schema.value("additionalProperties", Json()), false) << where;
  }
  if (!schema.is_structured()) return;
  for (const auto& [key, value] : schema.items()) expectClosed(value, where + "/" + key);
}

TEST(Schemas, ForbidKeysThatTheyDoNotKnow) {
  for (const std::string& name : testbed_test::schemaNames()) {
    expectClosed(Json::parse(textOf(QMFI_SOURCE_DIR "/share/qmfi/schema/" + name + ".json")), name);
  }
  const std::string access = R"({"mount_point": "/mnt/a", "device": "/dev/a", "provider": "qmfsfi")";
  EXPECT_EQ(testbed_test::schemaErrors("access-list", "[" + access + "}]"), "");
  EXPECT_NE(testbed_test::schemaErrors("access-list", "[" + access + R"(, "other": 1}])"), "");
  EXPECT_EQ(testbed_test::schemaErrors("access-list", "[" + access + R"(, "device_bytes": "%FF"}])"), "");
  EXPECT_NE(testbed_test::schemaErrors("access-list", "[" + access + R"(, "device_bytes": "%F"}])"), "");
  EXPECT_NE(testbed_test::schemaErrors("cache-disable", R"({"mount_point": "/mnt/a", "outcome": "none"})"), "");
  EXPECT_NE(testbed_test::schemaErrors("thaw", R"([{"mount_point": "/a", "outcome": "failed", "error": {}}])"), "");
}

}  // namespace
}  // namespace qmfi_host
