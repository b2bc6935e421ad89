// Start and stop of a provider: the host's language, and a provider whose own end fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfiapilifecycle.h"
#include "support/environment.h"
#include "support/plain_provider.h"
#include "support/temporary_directory.h"

ACE_String_Base<char> cfi_pgn_name_tstr("kittest", nullptr, false);

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using Catalogs = CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>;
using Errors = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>;
using Logs = CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>;
using PrivateData = CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>;
using Sessions = CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>;

bool endFails = false;
// How many messages the error manager has when the provider is destroyed.
std::vector<std::size_t> messagesAtTheEnd;

class Provider : public PlainProvider {
 public:
  ~Provider() override { messagesAtTheEnd.push_back(Errors::instance(false)->messages().size()); }
  void fini() override {
    if (endFails) throw 5;
  }
};

class Lifecycle : public testing::Test {
 protected:
  Lifecycle() {
    endFails = false;
    messagesAtTheEnd.clear();
    m_host.context.kcx_callback = [](kfi_context* context, const char*, const char* text, kfi_eseverity) {
      // The context record is the first member.
      reinterpret_cast<Host*>(context)->texts.emplace_back(text);
    };
    m_host.context.kcx_language = &m_language;
  }

  int start(const char* language) {
    m_name = language != nullptr ? language : "";
    m_language = language != nullptr ? m_name.data() : nullptr;
    kfi_version version{};
    return startPlugin<Provider>(&m_host.context, &version, nullptr);
  }
  void stop() { stopPlugin<Provider>("kittest_fi_pgn_fini", 1); }

  static std::string language() { return Catalogs::instance(false)->getNativeLanguage(); }

  struct Host {
    kfi_context context{};
    std::vector<std::string> texts;
  };
  Host m_host;

 private:
  TemporaryDirectory m_directory;
  EnvironmentVariable m_logDirectory{"QMFI_LOG_DIR", m_directory.path()};
  std::string m_name;
  char* m_language = nullptr;
};

TEST_F(Lifecycle, LanguageOfTheHostIsSetThoughItIsEmpty) {
  EXPECT_EQ(start("de"), 0);
  EXPECT_EQ(language(), "de");
  EXPECT_EQ(start(nullptr), 0);
  EXPECT_EQ(language(), "de");
  EXPECT_EQ(start(""), 0);
  EXPECT_EQ(language(), "");
  stop();
}

TEST_F(Lifecycle, ProviderWhoseEndFailsGoesWithTheSingletonsAllTheSame) {
  EXPECT_EQ(start("de"), 0);
  const auto catalogs = Catalogs::instance(false);
  const auto errors = Errors::instance(false);
  endFails = true;
  stop();
  // It went ahead of the manager that had been told of its failure.
  EXPECT_THAT(messagesAtTheEnd, ElementsAre(1U));
  EXPECT_NE(Catalogs::instance(false).get(), catalogs.get());
  EXPECT_NE(Errors::instance(false).get(), errors.get());
  EXPECT_THAT(Errors::instance(false)->messages(), IsEmpty());
  EXPECT_THAT(m_host.texts, ElementsAre(StartsWith("MSG_ERROR_UNHANDLED_INT_EXCEPTION: 5, cfiapiexport.h, ")));
  Errors::instance(true);
  Catalogs::instance(true);
}

// What was destroyed, in order.
std::vector<std::string> destroyed;

// Objects that their owner destroys with itself, or at its end, and which tell so.
class NotedProvider : public PlainProvider {
 public:
  ~NotedProvider() override { destroyed.emplace_back("provider"); }
};

class NotedCatalogFactory : public CFiIcuMessageCatalogFactory {
 public:
  NotedCatalogFactory() : CFiIcuMessageCatalogFactory("root", "kittest") {}
  ~NotedCatalogFactory() override { destroyed.emplace_back("catalogs"); }
};

class NotedHandler : public CFiErrorHandlerBase {
 public:
  explicit NotedHandler(const char* name) : m_name(name) {}
  ~NotedHandler() override { destroyed.emplace_back(m_name); }

 private:
  const char* const m_name;
};

class NotedDataFactory : public CFiPrivateDataConcreteFactory<CFiPrivateData> {
 public:
  ~NotedDataFactory() override { destroyed.emplace_back("private data"); }
};

TEST(Singletons, AreDroppedInTheirOrderAndSessionsStay) {
  destroyed.clear();
  CFiContextSingleton<NotedProvider, FI_PLUGIN_NAME>::instance(false);
  Catalogs::instance(false)->registerFactory(CFiMessageCatalogFactorySPtr(new NotedCatalogFactory()));
  // A manager that is the log's alone goes with it.
  CFiErrorManagerSPtr managerOfTheLog(true);
  managerOfTheLog->registerHandler(new NotedHandler("trace log"));
  Logs::instance(false)->setErrorManager(managerOfTheLog);
  managerOfTheLog.release();
  Errors::instance(false)->registerHandler(new NotedHandler("errors"));
  PrivateData::instance(false)->setProviderFactory(CFiPrivateDataFactorySPtr(new NotedDataFactory()));
  const auto sessions = Sessions::instance(false);

  dropSingletons<NotedProvider>();

  EXPECT_THAT(destroyed, ElementsAre("provider", "catalogs", "trace log", "errors", "private data"));
  EXPECT_EQ(Sessions::instance(false).get(), sessions.get());
}

}  // namespace
