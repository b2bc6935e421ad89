// The catch ladder: which exception becomes which message, and what passes through.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ios>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "cficatchladder.h"
#include "support/pushed_messages.h"

namespace ladder_test {

class OwnException : public std::exception {
 public:
  const char* what() const noexcept override { return "own"; }
};

class OwnRuntimeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace ladder_test

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

using ErrorManager = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>;

constexpr const char* thisFile = "catch_ladder_test.cpp";
constexpr CFiSourceLocation anyPlace{"qmfs_plugin_test.cpp", 17};

std::vector<PushedMessage> pushed() {
  return describe(ErrorManager::instance(false)->messages());
}

class CatchLadder : public testing::Test {
 protected:
  void SetUp() override { ErrorManager::instance(true); }
  void TearDown() override { ErrorManager::instance(true); }
};

TEST_F(CatchLadder, GivesTheBodysStatus) {
  bool caught = false;
  EXPECT_EQ(guarded([] { return 32; }, &caught), 32);
  EXPECT_FALSE(caught);
  EXPECT_THAT(pushed(), IsEmpty());
}

TEST_F(CatchLadder, ReportsTheCallersPlaceWithoutDirectories) {
  const int line = __LINE__ + 1;
  EXPECT_EQ(guarded([]() -> int { throw 5; }), 6);
  EXPECT_THAT(pushed(), ElementsAre(PushedMessage{"MSG_ERROR_UNHANDLED_INT_EXCEPTION",
                                                  {"i:5", std::string("s:") + thisFile, "i:" + std::to_string(line)},
                                                  3,
                                                  thisFile,
                                                  line}));
}

TEST_F(CatchLadder, PathWithoutADirectoryIsKept) {
  EXPECT_STREQ(CFiSourceLocation::here("plain.cpp", 3).file, "plain.cpp");
  EXPECT_STREQ(CFiSourceLocation::here("/a/b/plain.cpp", 3).file, "plain.cpp");
}

struct Rung {
  const char* name;
  std::function<void()> throwing;
  const char* id;
  std::vector<std::string> arguments;
};

void PrintTo(const Rung& rung, std::ostream* out) {
  *out << rung.name;
}

class CatchLadderRung : public CatchLadder, public testing::WithParamInterface<Rung> {};

TEST_P(CatchLadderRung, PushesOneMessageAndGivesSix) {
  const Rung& rung = GetParam();
  bool caught = false;
  const auto body = [&] {
    rung.throwing();
    return 0;
  };
  EXPECT_EQ(guarded(body, &caught, anyPlace), 6);
  EXPECT_TRUE(caught);
  EXPECT_THAT(pushed(), ElementsAre(PushedMessage{rung.id, rung.arguments, 3, anyPlace.file, anyPlace.line}));
}

constexpr const char* execPipe = "MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION";
constexpr const char* fiError = "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION";
constexpr const char* runtimeError = "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION";

std::vector<std::string> atLocation(const char* first, const char* second) {
  return {first, second, "s:qmfs_plugin_test.cpp", "i:17"};
}

INSTANTIATE_TEST_SUITE_P(
    All, CatchLadderRung,
    testing::Values(Rung{"command pipe", [] { throw EFiExecPipe("out\nput", 11, 3); }, execPipe,
                         atLocation("s:KFI_EXEC_PIPE_CMD_FAILED", "s:out\nput")},
                    Rung{"command pipe without text", [] { throw EFiExecPipe("", 0, 0); }, execPipe,
                         atLocation("s:KFI_EXEC_PIPE_SUCCESS", "s:")},
                    Rung{"command pipe with text beyond ASCII", [] { throw EFiExecPipe("gr\xc3\xbc\xc3\x9f", 7, 0); },
                         execPipe, atLocation("s:KFI_EXEC_PIPE_EXE_DOES_NOT_EXIST", "s:gr\xc3\xbc\xc3\x9f")},
                    Rung{"error with a number",
                         [] { throw CFiError(3, "claim(): bad", "a.cpp", "claim", 99); },
                         fiError,
                         {"s:claim(): bad", "s:a.cpp", "s:claim", "i:99"}},
                    Rung{"device identifier",
                         [] { throw CFiUdidException("no such part", 12); },
                         "MSG_ERROR_UDID_PARSING_EXCEPTION",
                         {"s:no such part", "i:12"}},
                    Rung{"runtime error", [] { throw std::runtime_error("late"); }, runtimeError,
                         atLocation("s:std::runtime_error", "s:late")},
                    Rung{"derived runtime error of the library", [] { throw std::range_error("far"); }, runtimeError,
                         atLocation("s:std::runtime_error", "s:far")},
                    Rung{"own runtime error", [] { throw ladder_test::OwnRuntimeError("mine"); }, runtimeError,
                         atLocation("s:std::runtime_error", "s:mine")},
                    Rung{"failed allocation", [] { throw std::bad_alloc(); }, runtimeError,
                         atLocation("s:std::bad_alloc", "s:std::bad_alloc")},
                    Rung{"out of range", [] { throw std::out_of_range("beyond"); }, runtimeError,
                         atLocation("s:std::out_of_range", "s:beyond")},
                    Rung{"logic error", [] { throw std::logic_error("odd"); }, runtimeError,
                         atLocation("s:std::logic_error", "s:odd")},
                    Rung{"own exception", [] { throw ladder_test::OwnException(); }, runtimeError,
                         atLocation("s:ladder_test::OwnException", "s:own")},
                    Rung{"number",
                         [] { throw -2; },
                         "MSG_ERROR_UNHANDLED_INT_EXCEPTION",
                         {"i:-2", "s:qmfs_plugin_test.cpp", "i:17"}}));

template <typename Thrown>
void expectToPass(const Thrown& thrown) {
  bool caught = false;
  EXPECT_THROW(guarded([&]() -> int { throw thrown; }, &caught), Thrown);
  EXPECT_FALSE(caught);
  EXPECT_THAT(pushed(), IsEmpty());
}

TEST_F(CatchLadder, LetsOtherTypesPass) {
  struct Unknown {};
  expectToPass(5L);
  expectToPass(5U);
  expectToPass('5');
  expectToPass(true);
  expectToPass(static_cast<const char*>("text"));
  expectToPass(std::string("text"));
  expectToPass(Unknown());
}

TEST_F(CatchLadder, SubstringBehindTheEndIsOutOfRange) {
  const std::string text = "short";
  guarded([&] { return static_cast<int>(text.substr(9).size()); });
  ASSERT_EQ(pushed().size(), 1U);
  EXPECT_EQ(pushed()[0].arguments[0], "s:std::out_of_range");
}

TEST_F(CatchLadder, MessagesOfTwoFailuresStandNewestFirst) {
  guarded([]() -> int { throw 1; });
  guarded([]() -> int { throw 2; });
  const auto messages = pushed();
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_EQ(messages[0].arguments[0], "i:2");
  EXPECT_EQ(messages[1].arguments[0], "i:1");
}

TEST_F(CatchLadder, PushedMessagesKeepTheirSeverityAndPlace) {
  pushMessage("MSG_ERROR_COMMAND_FAILED", {messageText("/bin/true"), messageText("")}, KFI_SEVERITY_ERROR, anyPlace);
  EXPECT_THAT(pushed(), ElementsAre(PushedMessage{
                            "MSG_ERROR_COMMAND_FAILED", {"s:/bin/true", "s:"}, 2, anyPlace.file, anyPlace.line}));
}

}  // namespace
