// Failures as localised messages: which message each kind of failure pushes, and how a framework fetches them.
#include <algorithm>
#include <csignal>
#include <fstream>
#include <new>
#include <stdexcept>

#include "plugin_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

const char* const device = "/dev/qm/dsk/dg1/vol1";
const char* const pipeMessage = "MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION";

// A node that is brought online by mkdir and mount, so that a command can be made to fail.
class CaughtCommand : public StartedPlugin {
 protected:
  void SetUp() override {
    StartedPlugin::SetUp();
    table.add(device, "/mnt/a");
    offline = &initialisedNode("/mnt/a");
    table.write("");
    forget();
  }

  int bringOnline() { return plugin.online(nullptr, offline, 1, 0); }

  kfi_domain* offline = nullptr;
};

TEST_F(CaughtCommand, ThatEndedWithAStatusCarriesItsJoinedOutput) {
  programs.answer("/bin/mkdir", Answer().prints("first").complains("second").exits(3));
  EXPECT_EQ(bringOnline(), 6);
  expectCaught(messages(), pipeMessage, "KFI_EXEC_PIPE_CMD_FAILED, firstsecond");
}

TEST_F(CaughtCommand, ThatPrintedNothingCarriesAnEmptyText) {
  programs.answer("/bin/mkdir", Answer().exits(1));
  EXPECT_EQ(bringOnline(), 6);
  expectCaught(messages(), pipeMessage, "KFI_EXEC_PIPE_CMD_FAILED, ");
}

TEST_F(CaughtCommand, ThatASignalEndedCarriesItsJoinedOutput) {
  programs.answer("/bin/mkdir", Answer().prints("so far").diesOf(SIGKILL));
  EXPECT_EQ(bringOnline(), 6);
  expectCaught(messages(), pipeMessage, "KFI_EXEC_PIPE_CMD_KILLED, so far");
}

TEST_F(CaughtCommand, ThatDoesNotExistNamesTheProgram) {
  programs.remove("/bin/mkdir");
  EXPECT_EQ(bringOnline(), 6);
  const auto pushed = messages();
  ASSERT_THAT(pushed, SizeIs(1));
  EXPECT_EQ(pushed[0].id, pipeMessage);
  EXPECT_THAT(pushed[0].arguments, ::testing::StartsWith("KFI_EXEC_PIPE_EXE_DOES_NOT_EXIST, "));
  EXPECT_THAT(pushed[0].arguments, HasSubstr("/bin/mkdir"));
  EXPECT_THAT(pushed[0].arguments, Not(HasSubstr("\n")));
}

TEST_F(CaughtCommand, ThatCannotBeStartedNamesTheProgram) {
  programs.remove("/bin/mkdir");
  std::ofstream("/bin/mkdir") << "not executable";
  EXPECT_EQ(bringOnline(), 6);
  const auto pushed = messages();
  ASSERT_THAT(pushed, SizeIs(1));
  EXPECT_THAT(pushed[0].arguments, ::testing::StartsWith("KFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED, "));
  EXPECT_THAT(pushed[0].arguments, HasSubstr("/bin/mkdir"));
}

TEST_F(CaughtCommand, ThatPrintedMegabytesIsReportedAllTheSame) {
  programs.answer("/bin/mkdir", Answer().floods(3 << 20).exits(1));
  EXPECT_EQ(bringOnline(), 6);
  expectCaught(messages(), pipeMessage, "KFI_EXEC_PIPE_CMD_FAILED, " + std::string(3 << 20, 'x'));
}

TEST_F(CaughtCommand, WithTextThatIsNoUtf8IsReportedAllTheSame) {
  programs.answer("/bin/mkdir", Answer().prints("\xff\xfe{0}'").exits(1));
  EXPECT_EQ(bringOnline(), 6);
  EXPECT_THAT(messages(), SizeIs(1));
}

class CaughtStatus : public StartedPlugin {};

TEST_F(CaughtStatus, OfAnUnmountIsTheFirstArgument) {
  table.add(device, "/mnt/a");
  programs.remove("/opt/KRIB/bin/qmumount");
  programs.answer("/bin/umount", Answer().prints("no such luck").exits(17));
  EXPECT_EQ(plugin.dispose(nullptr, &node("/mnt/a"), nullptr, 1), 6);
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_INT_EXCEPTION", "17");
}

TEST_F(CaughtStatus, OfAnUnmountThatASignalEndedIs0) {
  table.add(device, "/mnt/a");
  programs.remove("/opt/KRIB/bin/qmumount");
  programs.answer("/bin/umount", Answer().diesOf(SIGTERM));
  EXPECT_EQ(plugin.dispose(nullptr, &node("/mnt/a"), nullptr, 1), 6);
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_INT_EXCEPTION", "0");
}

// What a framework's own function throws.
class CaughtException : public StartedPlugin {
 protected:
  // Claims a mounted file system, for which an identifier is asked for.
  int claim() {
    table.add(device, "/mnt/a");
    qmfi_objid** groups = nullptr;
    int count = -5;
    const int status = plugin.claim(object("/mnt/a"), &groups, &count);
    EXPECT_EQ(groups, nullptr);
    EXPECT_EQ(count, -5);
    return status;
  }
};

TEST_F(CaughtException, OfTheRuntimeKindSaysSo) {
  importedCalls().doInIdentifier([] { throw std::runtime_error("broken"); });
  EXPECT_EQ(claim(), 6);
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", "std::runtime_error, broken");
}

TEST_F(CaughtException, DerivedFromTheRuntimeKindSaysTheSame) {
  importedCalls().doInIdentifier([] { throw std::overflow_error("broken"); });
  EXPECT_EQ(claim(), 6);
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", "std::runtime_error, broken");
}

TEST_F(CaughtException, OfAnotherStandardKindNamesItsClass) {
  importedCalls().doInIdentifier([] { throw std::invalid_argument("broken"); });
  EXPECT_EQ(claim(), 6);
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", "std::invalid_argument, broken");
}

TEST_F(CaughtException, OfShortMemoryNamesItsClass) {
  importedCalls().doInIdentifier([] { throw std::bad_alloc(); });
  EXPECT_EQ(claim(), 6);
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", "std::bad_alloc, std::bad_alloc");
}

TEST_F(CaughtException, OfAnIntIsTheNumber) {
  importedCalls().doInIdentifier([] { throw 42; });
  EXPECT_EQ(claim(), 6);
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_INT_EXCEPTION", "42");
}

TEST_F(CaughtException, OfNoKnownKindIsStatus6AllTheSame) {
  importedCalls().doInIdentifier([] { throw "a text"; });
  EXPECT_EQ(claim(), 6);
}

class CaughtError : public StartedPlugin {};

TEST_F(CaughtError, CarriesItsTextFileFunctionAndLine) {
  EXPECT_EQ(plugin.build_alttree(nullptr, nullptr, nullptr, nullptr, 0, nullptr), 6);
  expectCaughtError(messages(), "buildAltTree(): Invalid session or fiid", "buildAltTree");
  EXPECT_EQ(plugin.disable_access(nullptr, 0), 6);
  expectCaughtError(messages(), "disableAccess(): Invalid subobj list", "disableAccess");
  EXPECT_EQ(plugin.enable_access(nullptr, 0, 0, 0), 6);
  expectCaughtError(messages(), "enableAccess(): Invalid subobj list", "enableAccess");
  qmfi_objid* missing = object("/not/there");
  EXPECT_EQ(plugin.reaccess_altnode(nullptr, missing, nullptr, nullptr, nullptr, nullptr, 0, 0), 6);
  expectCaughtError(messages(), "reAccessAltNode(): stat failed for /not/there", "reAccessAltNode");
}

TEST_F(CaughtError, ReachesTheCallbackWithSeverity3) {
  EXPECT_EQ(plugin.disable_access(nullptr, 0), 6);
  ASSERT_THAT(callbacks, SizeIs(1));
  EXPECT_EQ(callbacks[0].severity, 3);
  EXPECT_THAT(callbacks[0].defaultText, HasSubstr("disableAccess(): Invalid subobj list"));
  EXPECT_THAT(callbacks[0].defaultText, Not(HasSubstr("MSG_ERROR_")));
}

// Messages as a framework fetches and shows them.
class LastError : public StartedPlugin {
 protected:
  // Pushes a message whose argument is the name.
  void push(const std::string& name) {
    kfi_domain* configuration = &node("configuration");
    EXPECT_EQ(plugin.init_node(&node(name), &configuration, 1, nullptr), 6);
  }

  std::string text(kfi_msg_info* record, const char* locale) {
    int length = -1;
    char* found = nullptr;
    EXPECT_EQ(plugin.get_locale_message(&length, record, locale, &found), 0);
    std::string copy = found != nullptr ? found : "null";
    EXPECT_EQ(static_cast<std::size_t>(length), copy.size());
    EXPECT_EQ(plugin.del_locale_message(&found), 0);
    EXPECT_EQ(found, nullptr);
    return copy;
  }
};

TEST_F(LastError, IsNullWhereNothingWasPushed) {
  kfi_msg_info stale{};
  kfi_msg_info* list = &stale;
  EXPECT_EQ(plugin.get_last_error(&list), 0);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(plugin.del_last_error(&list), 0);
}

TEST_F(LastError, IsAListOfWhatWasPushedNewestFirst) {
  push("/mnt/1");
  push("/mnt/2");
  push("/mnt/3");
  const auto pushed = messages();
  ASSERT_THAT(pushed, SizeIs(3));
  EXPECT_EQ(pushed[0].arguments, "/mnt/3");
  EXPECT_EQ(pushed[1].arguments, "/mnt/2");
  EXPECT_EQ(pushed[2].arguments, "/mnt/1");
}

TEST_F(LastError, IsHandedOutAgainUntilItIsDeleted) {
  push("/mnt/1");
  kfi_msg_info* first = nullptr;
  kfi_msg_info* second = nullptr;
  EXPECT_EQ(plugin.get_last_error(&first), 0);
  EXPECT_EQ(plugin.get_last_error(&second), 0);
  for (const kfi_msg_info* list : {first, second}) {
    ASSERT_NE(list, nullptr);
    EXPECT_STREQ(list->kmi_id, "MSG_ERROR_SUBOBJ_NOT_FOUND");
    EXPECT_EQ(list->kmi_next, nullptr);
    EXPECT_EQ(list->kmi_reserved, nullptr);
  }
  EXPECT_EQ(plugin.del_last_error(&first), 0);
  EXPECT_EQ(first, nullptr);
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_EQ(plugin.del_last_error(&second), 0);
}

TEST_F(LastError, KeepsTheNewest64) {
  for (int i = 1; i <= 70; ++i) push("/mnt/" + std::to_string(i));
  const auto pushed = messages();
  ASSERT_THAT(pushed, SizeIs(64));
  EXPECT_EQ(pushed.front().arguments, "/mnt/70");
  EXPECT_EQ(pushed.back().arguments, "/mnt/7");
}

TEST_F(LastError, HasATextInEveryLanguage) {
  push("/mnt/1");
  kfi_msg_info* list = nullptr;
  ASSERT_EQ(plugin.get_last_error(&list), 0);
  const std::string english = text(list, "");
  const std::string german = text(list, "de");
  EXPECT_THAT(english, HasSubstr("/mnt/1"));
  EXPECT_THAT(german, HasSubstr("/mnt/1"));
  EXPECT_NE(german, english);
  EXPECT_EQ(text(list, nullptr), english);
  EXPECT_EQ(text(list, "tlh"), english);
  EXPECT_EQ(text(list, "de_AT"), german);
  EXPECT_EQ(plugin.del_last_error(&list), 0);
}

TEST_F(LastError, OfAnUnknownIdentifierIsTheIdentifierWithItsArguments) {
  push("/mnt/1");
  kfi_msg_info* list = nullptr;
  ASSERT_EQ(plugin.get_last_error(&list), 0);
  kfi_msg_info unknown = *list;
  unknown.kmi_id = "MSG_OF_ANOTHER_VERSION"_text;
  unknown.kmi_next = nullptr;
  EXPECT_THAT(text(&unknown, ""), ::testing::StartsWith("MSG_OF_ANOTHER_VERSION"));
  EXPECT_THAT(text(&unknown, "de"), HasSubstr("/mnt/1"));
  EXPECT_EQ(plugin.del_last_error(&list), 0);
}

TEST_F(LastError, SurvivesRecordsThatWereTamperedWith) {
  for (char* arguments : {static_cast<char*>(nullptr), ""_text, "["_text, "{}"_text, "[1,"_text, "[[[[]]]]"_text}) {
    kfi_msg_info record{"MSG_ERROR_FREEZE"_text, arguments, nullptr, 0, 2, nullptr, nullptr};
    EXPECT_FALSE(text(&record, "").empty());
    record.kmi_id = nullptr;
    text(&record, "");
  }
}

TEST_F(LastError, WithoutAPlaceForItIsInvalid) {
  char* found = nullptr;
  int length = -5;
  kfi_msg_info record{"MSG_ERROR_FREEZE"_text, "[]"_text, nullptr, 0, 2, nullptr, nullptr};
  EXPECT_EQ(plugin.get_last_error(nullptr), 3);
  EXPECT_EQ(plugin.del_last_error(nullptr), 3);
  EXPECT_EQ(plugin.get_locale_message(nullptr, &record, "", &found), 3);
  EXPECT_EQ(plugin.get_locale_message(&length, nullptr, "", &found), 3);
  EXPECT_EQ(plugin.get_locale_message(&length, &record, "", nullptr), 3);
  EXPECT_EQ(plugin.del_locale_message(nullptr), 3);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(length, -5);
}

TEST_F(LastError, HasAConstantSentenceForEveryStatus) {
  std::vector<std::string> sentences;
  for (const int status : {0, 1, 2, 3, 4, 5, 6, 7, 18, 19, 30, 32, 1024, 1088}) {
    const char* sentence = nullptr;
    EXPECT_EQ(plugin.errmsg(status, &sentence), 0);
    ASSERT_NE(sentence, nullptr) << status;
    const char* again = nullptr;
    EXPECT_EQ(plugin.errmsg(status, &again), 0);
    EXPECT_EQ(again, sentence);
    sentences.emplace_back(sentence);
  }
  std::sort(sentences.begin(), sentences.end());
  EXPECT_EQ(std::adjacent_find(sentences.begin(), sentences.end()), sentences.end()) << "two statuses share a sentence";
  const char* other = nullptr;
  EXPECT_EQ(plugin.errmsg(-12345, &other), 0);
  EXPECT_NE(other, nullptr);
  EXPECT_EQ(plugin.errmsg(0, nullptr), 3);
}

}  // namespace
