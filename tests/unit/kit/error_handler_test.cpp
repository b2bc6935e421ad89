// Messages, and the handler that forwards them to a host's callback.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfierrorhandler.h"
#include "cfierrormanager.h"
#include "cfimessage.h"
#include "support/pushed_messages.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

// Texts that say which locale they were asked for in.
class NamingCatalog : public CFiMessageCatalog {
 public:
  explicit NamingCatalog(const char* locale) : m_locale(locale) {}
  bool format(const CFiMessage& message, std::string& text) const override {
    text = m_locale + ":" + message.getMessageId();
    return true;
  }

 private:
  const std::string m_locale;
};

class NamingFactory : public CFiMessageCatalogFactory {
 public:
  NamingFactory() : CFiMessageCatalogFactory("root", "naming") {}
  CFiMessageCatalogSPtr allocateCatalog(const char* locale) const override {
    return CFiMessageCatalogSPtr(new NamingCatalog(locale));
  }
  CFiMessageSPtr allocateMessage(kfi_msg_info*) const override { return CFiMessageSPtr(); }
};

struct Received {
  std::string native;
  std::string defaulted;
  int severity;

  bool operator==(const Received&) const = default;
};

// A host's context whose callback keeps what it is given.
struct Host {
  kfi_context context{};
  std::vector<Received> received;

  Host() {
    context.kcx_callback = [](kfi_context* called, const char* native, const char* defaulted, kfi_eseverity severity) {
      // The context record is the first member.
      reinterpret_cast<Host*>(called)->received.push_back({native, defaulted, severity});
    };
  }
};

CFiMessageCatalogManagerSPtr namingManager() {
  CFiMessageCatalogManagerSPtr manager(true);
  manager->registerFactory(CFiMessageCatalogFactorySPtr(new NamingFactory()));
  return manager;
}

CFiMessageSPtr someMessage() {
  return CFiMessageSPtr(new CFiIcuMessage("MSG_ERROR_SOME", nullptr, 0, KFI_SEVERITY_ERROR, "a.cpp", 4));
}

TEST(ErrorHandler, ForwardsATextAsTheDefaultOne) {
  Host host;
  CFiErrorHandler handler(&host.context, namingManager(), "de");
  EXPECT_EQ(handler.handleMessage("plain", KFI_SEVERITY_INFORMATION), 0);
  EXPECT_EQ(handler.handleMessage(nullptr, KFI_SEVERITY_UNHANDLED_EXCEPTION), 0);
  EXPECT_THAT(host.received, ElementsAre(Received{"", "plain", 1}, Received{"", "", 3}));
}

TEST(ErrorHandler, ForwardsAMessageInBothLanguages) {
  Host host;
  CFiErrorHandler handler(&host.context, namingManager(), "de");
  EXPECT_EQ(handler.handleMessage(someMessage()), 0);
  EXPECT_THAT(host.received, ElementsAre(Received{"de:MSG_ERROR_SOME", "root:MSG_ERROR_SOME", 2}));
}

TEST(ErrorHandler, WithoutALanguageBothAreTheDefaultOne) {
  Host host;
  CFiErrorHandler handler(&host.context, namingManager(), "");
  EXPECT_EQ(handler.handleMessage(someMessage()), 0);
  EXPECT_THAT(host.received, ElementsAre(Received{"root:MSG_ERROR_SOME", "root:MSG_ERROR_SOME", 2}));
}

TEST(ErrorHandler, SwallowsWithoutACallback) {
  kfi_context context{};
  CFiErrorHandler handler(&context, namingManager(), "de");
  EXPECT_EQ(handler.handleMessage("plain", KFI_SEVERITY_ERROR), 0);
  EXPECT_EQ(handler.handleMessage(someMessage()), 0);
}

TEST(ErrorHandler, SwallowsWithoutAContext) {
  CFiErrorHandler handler(nullptr, namingManager(), "de");
  EXPECT_EQ(handler.handleMessage("plain", KFI_SEVERITY_ERROR), 0);
  EXPECT_EQ(handler.handleMessage(someMessage()), 0);
}

TEST(ErrorHandler, PassesOverAnEmptyMessage) {
  Host host;
  CFiErrorHandler handler(&host.context, namingManager(), "de");
  EXPECT_EQ(handler.handleMessage(CFiMessageSPtr()), 0);
  EXPECT_THAT(host.received, IsEmpty());
}

TEST(ErrorHandler, HoldsTheCatalogManager) {
  const CFiMessageCatalogManagerSPtr manager = namingManager();
  {
    const CFiErrorHandler handler(nullptr, manager, "");
    EXPECT_EQ(manager->getCount(), 2);
  }
  EXPECT_EQ(manager->getCount(), 1);
}

TEST(ErrorHandler, ReceivesWhatTheManagerIsGiven) {
  Host host;
  const CFiErrorManagerSPtr errors(true);
  errors->registerHandler(new CFiErrorHandler(&host.context, namingManager(), "fr"));
  errors->pushError(someMessage());
  EXPECT_THAT(host.received, ElementsAre(Received{"fr:MSG_ERROR_SOME", "root:MSG_ERROR_SOME", 2}));
}

TEST(ErrorHandlerBase, SwallowsEverything) {
  CFiErrorHandlerBase handler;
  EXPECT_EQ(handler.handleMessage("plain", KFI_SEVERITY_ERROR), 0);
  EXPECT_EQ(handler.handleMessage(someMessage()), 0);
}

TEST(Message, CopiesItsArguments) {
  std::vector<icu::Formattable> arguments{icu::Formattable("one"), icu::Formattable(std::int32_t{2})};
  const CFiMessageSPtr message(new CFiIcuMessage("MSG_ERROR_SOME", arguments.data(), 2, 3, "a.cpp", 4));
  arguments.clear();
  EXPECT_EQ(describe(message), (PushedMessage{"MSG_ERROR_SOME", {"s:one", "i:2"}, 3, "a.cpp", 4}));
}

TEST(Message, TakesOnlyAsManyArgumentsAsItIsTold) {
  const icu::Formattable arguments[] = {icu::Formattable("one"), icu::Formattable("two")};
  const CFiMessageSPtr message(new CFiIcuMessage("MSG_ERROR_SOME", arguments, 1, 3, "a.cpp", 4));
  EXPECT_EQ(describe(message).arguments, std::vector<std::string>{"s:one"});
}

TEST(Message, NullStringsCountAsEmpty) {
  const CFiMessageSPtr message(new CFiIcuMessage(nullptr, nullptr, 0, KFI_SEVERITY_ERROR, nullptr, -1));
  EXPECT_EQ(describe(message), (PushedMessage{"", {}, 2, "", -1}));
}

TEST(CatalogFactory, KeepsItsDefaultLocaleAndName) {
  const CFiIcuMessageCatalogFactory factory("root", "tinyfi");
  EXPECT_EQ(factory.getDefaultLocale(), "root");
  EXPECT_EQ(factory.getCatalogName(), "tinyfi");
}

TEST(CatalogFactory, RebuildsAMessageFromItsRecord) {
  const icu::Formattable arguments[] = {icu::Formattable(icu::UnicodeString::fromUTF8("gr\xc3\xbc\xc3\x9f")),
                                        icu::Formattable(std::int32_t{-7})};
  const CFiIcuMessage original("MSG_ERROR_SOME", arguments, 2, 3, "a.cpp", 4);
  std::string id = original.getMessageId();
  std::string serialized = original.serialize();
  std::string file = original.getFileName();
  kfi_msg_info record{id.data(), serialized.data(), file.data(), 4, 3, nullptr, nullptr};

  const CFiIcuMessageCatalogFactory factory("root", "tinyfi");
  EXPECT_EQ(describe(factory.allocateMessage(&record)),
            (PushedMessage{"MSG_ERROR_SOME", {"s:gr\xc3\xbc\xc3\x9f", "i:-7"}, 3, "a.cpp", 4}));
  EXPECT_FALSE(factory.allocateMessage(nullptr));
}

}  // namespace
