// The frame when mutexes fail: calls end with a status and leave nothing half done.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include "cfiapilifecycle.h"
#include "cfiapisession.h"
#include "support/domains.h"
#include "support/environment.h"
#include "support/mutex_faults.h"
#include "support/plain_provider.h"
#include "support/temporary_directory.h"

// What cannot give its count back is kept for ever, so leaks of what these tests make are not reported.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:frame_mutex_test.cpp\n";
}

ACE_String_Base<char> cfi_pgn_name_tstr("kittest", nullptr, false);

namespace {

using namespace qmfi_pdk_4_4;

CFiMessageSPtr messageNamed(const char* id) {
  return CFiMessageSPtr(new CFiIcuMessage(id, nullptr, 0, KFI_SEVERITY_ERROR, "sample.cpp", 1));
}

// An entry point, of whose locks the one with that number fails.
int enterWithFailure(int number) {
  const MutexFailure failure(MutexCall::lock, number, EINVAL);
  return enterPlugin<PlainProvider>("entry", 1, CFiEntry::delayed, [](PlainProvider&) { return 41; });
}

TEST(FrameMutex, EntryPointWithoutAProviderIsSix) {
  constexpr int locks = 30;
  int failed = 0;
  for (const bool exists : {false, true}) {
    for (int number = 1; number <= locks; ++number) {
      CFiContextSingleton<PlainProvider, FI_PLUGIN_NAME>::instance(!exists);
      const int status = enterWithFailure(number);
      EXPECT_TRUE(status == 41 || status == 6) << number << ": " << status;
      failed += status == 6 ? 1 : 0;
    }
  }
  EXPECT_GT(failed, 0);
  CFiContextSingleton<PlainProvider, FI_PLUGIN_NAME>::instance(true);
}

class CountingProvider : public PlainProvider {
 public:
  int delayedInit() override {
    ++runs;
    return 0;
  }
  static int runs;
};
int CountingProvider::runs = 0;

TEST(FrameMutex, DelayedInitialisationThatCannotBeLockedIsRunOnceAllTheSame) {
  const auto enter = [] {
    return enterPlugin<CountingProvider>("entry", 1, CFiEntry::delayed, [](CountingProvider&) { return 41; });
  };
  constexpr int locks = 30;
  int notRun = 0;
  for (int number = 1; number <= locks; ++number) {
    CFiContextSingleton<CountingProvider, FI_PLUGIN_NAME>::instance(true);
    CountingProvider::runs = 0;
    int status = 0;
    {
      const MutexFailure failure(MutexCall::lock, number, EINVAL);
      status = enter();
    }
    EXPECT_TRUE(status == 41 || status == 6) << number << ": " << status;
    notRun += CountingProvider::runs == 0 ? 1 : 0;
    EXPECT_EQ(enter(), 41) << number;
    EXPECT_EQ(CountingProvider::runs, 1) << number;
  }
  // At least the mutexes of the singleton, of the provider's count and of the delayed initialisation.
  EXPECT_GE(notRun, 3);
  CFiContextSingleton<CountingProvider, FI_PLUGIN_NAME>::instance(true);
}

// A start, of whose locks the one with that number fails.
int startWithFailure(int number) {
  kfi_version version{};
  const MutexFailure failure(MutexCall::lock, number, EINVAL);
  return guardEntryPoint(1, [&] { return startPlugin<PlainProvider>(nullptr, &version, nullptr); });
}

TEST(FrameMutex, StartWithoutASingletonIsSix) {
  const TemporaryDirectory directory;
  const EnvironmentVariable logDirectory("QMFI_LOG_DIR", directory.path());
  constexpr int locks = 60;
  int failed = 0;
  for (int number = 1; number <= locks; ++number) {
    const int status = startWithFailure(number);
    EXPECT_TRUE(status == 0 || status == 6) << number << ": " << status;
    failed += status == 6 ? 1 : 0;
    stopPlugin<PlainProvider>("kittest_fi_pgn_fini", 1);
  }
  // At least the locks of six singletons and of their objects.
  EXPECT_GE(failed, 12);
  CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>::instance(true);
}

TEST(FrameMutex, MessageThatCannotBeCountedIsNeitherKeptNorHandedOut) {
  // One for each time that the message is copied.
  for (const int number : {1, 2, 3}) {
    CFiErrorManager manager;
    const CFiMessageSPtr message = messageNamed("lost");
    {
      const MutexFailure failure(MutexCall::lock, number, EINVAL);
      EXPECT_EQ(manager.pushError(message), 0);
    }
    EXPECT_TRUE(manager.messages().empty());
    manager.pushError(messageNamed("next"));
    EXPECT_EQ(manager.messages().size(), 1U);
  }
}

TEST(FrameMutex, LastErrorsAreAllOrNone) {
  const CFiErrorManagerSPtr manager(true);
  PlainProvider provider;
  provider.registerErrorManager(manager);
  manager->pushError(messageNamed("older"));
  manager->pushError(messageNamed("newer"));
  kfi_msg_info* list = nullptr;
  // Those of the queue and of each message.
  for (const int number : {1, 2, 3}) {
    const MutexFailure failure(MutexCall::lock, number, EINVAL);
    EXPECT_THROW(provider.getLastError(&list), std::system_error) << number;
    EXPECT_EQ(list, nullptr) << number;
  }
  EXPECT_EQ(provider.getLastError(&list), 0);
  ASSERT_NE(list, nullptr);
  EXPECT_STREQ(list->kmi_id, "newer");
  ASSERT_NE(list->kmi_next, nullptr);
  EXPECT_STREQ(list->kmi_next->kmi_id, "older");
  EXPECT_EQ(list->kmi_next->kmi_next, nullptr);
  provider.delLastError(&list);
}

// Registers a manager of that kind, of whose locks the first one fails.
template <typename Manager>
void expectNotRegistered(void (CFiPluginBase::*registration)(const CFiSmartPtr<Manager>&)) {
  const CFiSmartPtr<Manager> manager(true);
  PlainProvider provider;
  const MutexFailure failure(MutexCall::lock, 1, EINVAL);
  EXPECT_THROW((provider.*registration)(manager), std::system_error);
}

TEST(FrameMutex, ManagerThatCannotBeCountedIsNotLeftOutInSilence) {
  expectNotRegistered<CFiErrorManager>(&CFiPluginBase::registerErrorManager);
  expectNotRegistered<CFiMessageCatalogManager>(&CFiPluginBase::registerCatalogManager);
  expectNotRegistered<CFiPrivateDataManager>(&CFiPluginBase::registerPrivateDataManager);
  expectNotRegistered<CFiSessionManager>(&CFiPluginBase::registerSessionManager);
}

// What a node without private data is refused with must not be said of one that has them.
TEST(FrameMutex, NodeWhoseDataCannotBeReachedIsNotTakenForOneWithoutThem) {
  PlainProvider provider;
  const CFiPrivateDataManagerSPtr manager(true);
  provider.registerPrivateDataManager(manager);
  kfi_domain domain = domainNamed("/data");
  const CFiPrivateDataFactorySPtr factory(new CFiPrivateDataConcreteFactory<CFiPrivateData>());
  manager->setProviderFactory(factory);
  factory->allocate(&domain, false);
  int sixes = 0;
  bool failed = true;
  for (int number = 1; failed; ++number) {
    qmfi_objid** objects = nullptr;
    int count = -1;
    const MutexFailure failure(MutexCall::lock, number, EINVAL);
    const int status = guardEntryPoint(1, [&] { return provider.subobjList(&domain, &objects, &count); });
    failed = mutexFaultHappened();
    EXPECT_TRUE(status == 0 || (failed && status == 6)) << number << ": " << status;
    sixes += status == 6 ? 1 : 0;
  }
  EXPECT_GT(sixes, 0);
  provider.deInitNode(&domain);
}

TEST(FrameMutex, PrivateDataThatCannotBeCountedAreNotAttachedUntilALaterCall) {
  constexpr int locks = 8;
  int failed = 0;
  for (int number = 1; number <= locks; ++number) {
    const CFiPrivateDataFactorySPtr factory(new CFiPrivateDataConcreteFactory<CFiPrivateData>());
    kfi_domain domain = domainNamed("/data");
    try {
      const MutexFailure failure(MutexCall::lock, number, EINVAL);
      factory->allocate(&domain, false);
    } catch (const std::system_error&) {
      // The map's own mutex.
    }
    const bool attached = domain.fid_private != nullptr;
    failed += attached ? 0 : 1;
    EXPECT_EQ(static_cast<bool>(factory->access(&domain)), attached) << number;
    EXPECT_TRUE(factory->allocate(&domain, false)) << number;
    EXPECT_EQ(factory->access(&domain).get(), factory->accessByName("/data", false).get()) << number;
    EXPECT_EQ(factory->deallocate(&domain), 0) << number;
  }
  // The map's mutex, and the counts of the map and of the domain.
  EXPECT_GE(failed, 3);
}

TEST(FrameMutex, SessionThatCannotBeCountedIsMadeByALaterCall) {
  constexpr int locks = 6;
  for (int number = 1; number <= locks; ++number) {
    const CFiSessionManagerSPtr manager(true);
    try {
      const MutexFailure failure(MutexCall::lock, number, EINVAL);
      manager->getSession("one");
    } catch (const std::system_error&) {
      // The map's own mutex.
    }
    EXPECT_TRUE(manager->getSession("one")) << number;
  }
}

// A preselection, of whose locks the one with that number fails.
int preselectWithFailure(int number) {
  char session[] = "one";
  char name[] = "/data";
  kfi_domain domain = domainNamed(name);
  domain.fid_name = name;
  kfi_splitnode node{name, &domain};
  const MutexFailure failure(MutexCall::lock, number, EINVAL);
  return guardEntryPoint(1, [&] { return preselectInSession(session, CFiSplitNodeList(&node, nullptr, 0)); });
}

TEST(FrameMutex, SessionCallWithoutASessionIsSix) {
  constexpr int locks = 20;
  int failed = 0;
  for (int number = 1; number <= locks; ++number) {
    CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>::instance(true);
    const int status = preselectWithFailure(number);
    EXPECT_TRUE(status == 0 || status == 6) << number << ": " << status;
    failed += status == 6 ? 1 : 0;
  }
  EXPECT_GT(failed, 1);
  CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>::instance(true);
  CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(true);
}

}  // namespace
