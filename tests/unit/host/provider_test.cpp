// A provider's start and stop, and how its failures reach the user.
#include "provider/provider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <sstream>

#include "cfiexecpipe.h"
#include "fake_provider.h"
#include "german_texts.h"
#include "provider/node.h"
#include "support/environment.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string printed(const std::exception& error) {
  std::ostringstream text;
  printError(text, error);
  return text.str();
}

class ProviderTest : public testing::Test {
 protected:
  Journal m_journal;
  FakeProvider m_fake{m_journal};
};

TEST_F(ProviderTest, IsStartedOnceAndStoppedOnce) {
  { const Provider provider(m_fake.entryPoints(), "sample", "de_DE"); }
  EXPECT_THAT(m_journal.calls(), ElementsAre("init sample de_DE", "fini"));
}

TEST_F(ProviderTest, IsGivenNoLanguageWhereTheUserHasNone) {
  { const Provider provider(m_fake.entryPoints(), "sample", ""); }
  EXPECT_THAT(m_journal.calls(), ElementsAre("init sample -", "fini"));
}

TEST_F(ProviderTest, ThatRefusesToStartIsStoppedAndItsMessagesAreShown) {
  m_fake.statuses["init"] = 30;
  m_fake.messages["init"] = {{"MSG_ERROR_INITIALIZATION_FAILED", "not started"},
                             {"MSG_ERROR_COMMAND_FAILED", "no package"}};
  try {
    const Provider provider(m_fake.entryPoints(), "sample", "");
    FAIL() << "it started";
  } catch (const ProviderError& error) {
    EXPECT_EQ(printed(error),
              "qmfi: the provider sample could not be started: status 30\n"
              "  The operation failed.\n"
              "  MSG_ERROR_INITIALIZATION_FAILED: not started\n"
              "  MSG_ERROR_COMMAND_FAILED: no package\n");
  }
  EXPECT_THAT(m_journal.calls(), ElementsAre("init sample -", "fini"));
}

TEST_F(ProviderTest, WhosePackageIsMissingSaysWhichAndWhatIsNext) {
  ProviderDescriptor descriptor;
  descriptor.package = "sample-tools";
  const struct {
    int status;
    const char* text;
  } cases[] = {
      {30,
       "the provider sample could not be started: the package sample-tools, which it needs, was not found; install it "
       "and try again: status 30"},
      {6, "the provider sample could not be started: status 6"},
  };
  for (const auto& one : cases) {
    m_fake.statuses["init"] = one.status;
    EXPECT_THAT([&] { Provider(m_fake.entryPoints(), "sample", "", descriptor); },
                testing::ThrowsMessage<ProviderError>(one.text));
  }
}

TEST_F(ProviderTest, OfAnotherInterfaceVersionIsRefused) {
  m_fake.version = 8;
  try {
    const Provider provider(m_fake.entryPoints(), "sample", "");
    FAIL() << "it started";
  } catch (const HostError& error) {
    EXPECT_EQ(printed(error),
              "qmfi: the provider sample could not be started: it speaks version 8 of the interface, not 7\n");
  }
  EXPECT_THAT(m_journal.calls(), ElementsAre("init sample -", "fini"));
}

TEST_F(ProviderTest, FailingCallShowsItsMessagesInTheUsersLanguageAndForgetsThem) {
  Provider provider(m_fake.entryPoints(), "sample", "de_DE");
  m_fake.pushed = {{"MSG_ERROR_OLD", "left by an earlier call"}};
  m_fake.statuses["format"] = 6;
  m_fake.messages["format"] = {{"MSG_ERROR_FORMAT", "kein Formatieren"}};
  try {
    provider.format("/dev/x");
    FAIL() << "it did not fail";
  } catch (const ProviderError& error) {
    EXPECT_EQ(error.status(), 6);
    EXPECT_EQ(printed(error),
              "qmfi: /dev/x could not be formatted: status 6\n"
              "  The operation failed.\n"
              "  MSG_ERROR_FORMAT: kein Formatieren\n");
  }
  EXPECT_EQ(m_fake.language, "de_DE");
  EXPECT_THAT(m_fake.pushed, IsEmpty());
}

TEST_F(ProviderTest, MessagesCarryThoseOfTheirArgumentsThatAreTexts) {
  Provider provider(m_fake.entryPoints(), "sample", "");
  m_fake.pushed = {{"MSG_LIST", R"(["/mnt/a b",22,"\u00fc"])"}, {"MSG_NONE", "[]"}, {"MSG_NO_LIST", "text"}};
  const std::vector<ProviderMessage> messages = provider.takeMessages();
  ASSERT_EQ(messages.size(), 3U);
  EXPECT_THAT(messages[0].arguments, ElementsAre("/mnt/a b", "\u00fc"));
  EXPECT_THAT(messages[1].arguments, IsEmpty());
  EXPECT_THAT(messages[2].arguments, IsEmpty());
}

TEST_F(ProviderTest, MessageWithoutATextIsShownWithItsArguments) {
  Provider provider(m_fake.entryPoints(), "sample", "");
  m_fake.statuses["format"] = 6;
  m_fake.messages["format"] = {{"MSG_ERROR_FORMAT", R"(["/dev/x"])"}};
  m_fake.hasTexts = false;
  for (const int status : {0, 5}) {
    m_fake.textStatus = status;
    try {
      provider.format("/dev/x");
      FAIL() << "it did not fail";
    } catch (const ProviderError& error) {
      EXPECT_EQ(printed(error),
                "qmfi: /dev/x could not be formatted: status 6\n"
                "  The operation failed.\n"
                "  MSG_ERROR_FORMAT: [\"/dev/x\"]\n");
    }
  }
}

TEST_F(ProviderTest, FailingCallWithoutMessagesIsExplainedByItsStatus) {
  Provider provider(m_fake.entryPoints(), "sample", "");
  m_fake.statuses["format"] = 3;
  try {
    provider.format("/dev/x");
    FAIL() << "it did not fail";
  } catch (const ProviderError& error) {
    EXPECT_EQ(printed(error), "qmfi: /dev/x could not be formatted: status 3\n  An argument is invalid.\n");
  }
}

TEST_F(ProviderTest, FailingCallEndsWithTheStatusOfWhatIsBusy) {
  Provider provider(m_fake.entryPoints(), "sample", "");
  for (const auto& [status, exitStatus] : {std::pair(32, ExitStatus::busy), std::pair(6, ExitStatus::failed)}) {
    m_fake.statuses["format"] = status;
    EXPECT_THAT([&] { provider.format("/dev/x"); },
                testing::Throws<ProviderError>(testing::Property(&HostError::exitStatus, exitStatus)));
  }
}

TEST_F(ProviderTest, OutputOfAProgramIsShownByItsLastLineAndWhereTheRestIs) {
  const TemporaryDirectory directory;
  const EnvironmentVariable log("QMFI_LOG_DIR", directory.path());
  const GermanTexts german;
  ProviderEntryPoints entryPoints = m_fake.entryPoints();
  entryPoints.fi_pgn_errmsg = [](int, const char** text) {
    *text = "The operation failed; the messages of the provider say why.";
    return 0;
  };
  Provider provider(entryPoints, "sample", "");
  const std::string program = directory.write("program", "#!/bin/sh\necho much; echo more; exit 1\n");
  chmod(program.c_str(), 0700);
  std::vector<std::string> output;
  qmfi_pdk_4_4::CFiExecPipePosix pipe(1);
  pipe.Exec(program, output, "", 30, "", "", "");
  m_fake.statuses["format"] = 6;
  m_fake.messages["format"] = {{"MSG_OUTPUT", R"(["/dev/x",")" + pipe.getLastError().getText() + R"(",7])"}};
  m_fake.hasTexts = false;
  const auto told = [&] {
    try {
      provider.format("/dev/x");
    } catch (const ProviderError& error) {
      EXPECT_THAT(error.messages().at(0).arguments, ElementsAre("/dev/x", "muchmore"));
      return printed(error);
    }
    return std::string();
  };
  const std::string withoutTheRest =
      "qmfi: /dev/x konnte nicht formatiert werden: Status 6\n"
      "  Die Operation ist fehlgeschlagen; die Meldungen des Providers nennen den Grund.\n"
      "  MSG_OUTPUT: [\"/dev/x\",\"more\",7]\n";
  EXPECT_EQ(told(), withoutTheRest);
  directory.write("sample.log", "what was logged");
  EXPECT_EQ(told(),
            withoutTheRest + "      Die ganze Ausgabe des Programms steht in " + directory.file("sample.log") + ".\n");
}

TEST_F(ProviderTest, CallWithoutAStatusFailsByItsMessages) {
  Provider provider(m_fake.entryPoints(), "sample", "");
  Node node(provider, "/proc");
  m_fake.pushed = {{"MSG_ERROR_OLD", "left by an earlier call"}};
  EXPECT_NO_THROW(provider.enableCache(node));
  m_fake.messages["cache_enable"] = {{"MSG_ERROR_CACHE", "still fast"}};
  try {
    provider.enableCache(node);
    FAIL() << "it did not fail";
  } catch (const ProviderError& error) {
    EXPECT_EQ(printed(error),
              "qmfi: the cache of /proc could not be enabled: status 6\n"
              "  The operation failed.\n"
              "  MSG_ERROR_CACHE: still fast\n");
  }
}

}  // namespace
}  // namespace qmfi_host
