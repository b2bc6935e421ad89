// A provider's start and stop, and how its failures reach the user.
#include "provider/provider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "fake_provider.h"
#include "provider/node.h"

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
              "  MSG_ERROR_INITIALIZATION_FAILED: not started\n"
              "  MSG_ERROR_COMMAND_FAILED: no package\n");
  }
  EXPECT_THAT(m_journal.calls(), ElementsAre("init sample -", "fini"));
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
              "  MSG_ERROR_CACHE: still fast\n");
  }
}

}  // namespace
}  // namespace qmfi_host
