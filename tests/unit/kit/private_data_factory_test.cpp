// Who shares private data, and when it goes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <new>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "cficontextsingleton.h"
#include "cfiprivatedatamanager.h"
#include "support/allocation_faults.h"
#include "support/bounded_call.h"
#include "support/domains.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

// Private data that tells of its end.
class CountedData : public CFiPrivateData {
 public:
  CountedData(qmfi_objid* objId, bool isAltNode) : CFiPrivateData(objId, isAltNode) { ++living; }
  ~CountedData() override {
    --living;
    if (atEnd) atEnd();
  }

  static std::atomic<int> living;
  static std::function<void()> atEnd;
};
std::atomic<int> CountedData::living{0};
std::function<void()> CountedData::atEnd;

using Factory = CFiPrivateDataConcreteFactory<CountedData>;

class PrivateDataFactory : public testing::Test {
 protected:
  void TearDown() override {
    m_factory.release();
    CountedData::atEnd = nullptr;
    EXPECT_EQ(CountedData::living, 0);
  }

  CFiPrivateDataFactorySPtr m_factory{new Factory()};
};

std::vector<std::string> namesOf(const std::vector<CFiPrivateDataSPtr>& list) {
  std::vector<std::string> names;
  for (const CFiPrivateDataSPtr& data : list) names.emplace_back(data->getObjName());
  return names;
}

TEST_F(PrivateDataFactory, DomainsOfOneNameShareOneObject) {
  kfi_domain first = domainNamed("/data");
  kfi_domain second = domainNamed("/data");
  const CFiPrivateData* const object = m_factory->allocate(&first, false).get();
  EXPECT_EQ(m_factory->allocate(&second, false).get(), object);
  // The map and the two domains hold it.
  EXPECT_EQ(object->getCount(), 3);
  EXPECT_EQ(CountedData::living, 1);

  EXPECT_EQ(m_factory->deallocate(&first), 0);
  EXPECT_EQ(first.fid_private, nullptr);
  EXPECT_EQ(object->getCount(), 2);
  EXPECT_THAT(namesOf(m_factory->getPrivateDataList(false)), ElementsAre("/data"));

  EXPECT_EQ(m_factory->deallocate(&second), 0);
  EXPECT_EQ(CountedData::living, 0);
  EXPECT_THAT(m_factory->getPrivateDataList(false), IsEmpty());
}

TEST_F(PrivateDataFactory, NewObjectHasTheDomainsIdentifierAndKind) {
  kfi_domain ordinary = domainNamed("/data");
  kfi_domain alternate = domainNamed("/data_alt");
  EXPECT_STREQ(m_factory->allocate(&ordinary, false)->getObjName(), "/data");
  EXPECT_FALSE(m_factory->access(&ordinary)->getIsAltNode());
  EXPECT_STREQ(m_factory->allocate(&alternate, true)->getObjName(), "/data_alt");
  EXPECT_TRUE(m_factory->access(&alternate)->getIsAltNode());
  m_factory->deallocate(&ordinary);
  m_factory->deallocate(&alternate);
}

TEST_F(PrivateDataFactory, SharedObjectKeepsTheIdentifierThatItWasMadeWith) {
  kfi_domain first = domainNamed("/data");
  kfi_domain second{};
  second.fid_objid = identifierOf("/data", 2);
  ASSERT_NE(first.fid_objid, second.fid_objid);
  const char* const name = m_factory->allocate(&first, false)->getObjName();
  EXPECT_EQ(m_factory->allocate(&second, false)->getObjName(), name);
  EXPECT_EQ(name, first.fid_objid->vid_name);
  m_factory->deallocate(&first);
  m_factory->deallocate(&second);
}

TEST_F(PrivateDataFactory, OrdinaryAndAlternateNodesOfOneNameAreApart) {
  kfi_domain ordinary = domainNamed("/data");
  kfi_domain alternate = domainNamed("/data");
  const auto first = m_factory->allocate(&ordinary, false);
  const auto second = m_factory->allocate(&alternate, true);
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ(m_factory->accessByName("/data", false).get(), first.get());
  EXPECT_EQ(m_factory->accessByName("/data", true).get(), second.get());
  m_factory->deallocate(&ordinary);
  m_factory->deallocate(&alternate);
}

TEST_F(PrivateDataFactory, AttachedObjectIsGivenWhateverKindIsAskedFor) {
  kfi_domain domain = domainNamed("/data");
  const CFiPrivateData* const object = m_factory->allocate(&domain, false).get();
  void* const holder = domain.fid_private;
  EXPECT_EQ(m_factory->allocate(&domain, true).get(), object);
  EXPECT_EQ(domain.fid_private, holder);
  EXPECT_EQ(object->getCount(), 2);
  EXPECT_THAT(m_factory->getPrivateDataList(true), IsEmpty());
  m_factory->deallocate(&domain);
}

TEST_F(PrivateDataFactory, AllocatedObjectIsHandedOutCounted) {
  kfi_domain domain = domainNamed("/data");
  const auto data = m_factory->allocate(&domain, false);
  EXPECT_EQ(data->getCount(), 3);
  m_factory->deallocate(&domain);
}

TEST_F(PrivateDataFactory, AccessLooksAtTheDomainOnly) {
  kfi_domain attached = domainNamed("/data");
  kfi_domain bare = domainNamed("/data");
  const auto data = m_factory->allocate(&attached, false);
  EXPECT_EQ(m_factory->access(&attached).get(), data.get());
  EXPECT_FALSE(m_factory->access(&bare));
  EXPECT_EQ(bare.fid_private, nullptr);
  m_factory->deallocate(&attached);
}

TEST_F(PrivateDataFactory, NothingToDeallocateIsMinusOne) {
  kfi_domain attached = domainNamed("/data");
  kfi_domain bare = domainNamed("/data");
  m_factory->allocate(&attached, false);
  EXPECT_EQ(m_factory->deallocate(nullptr), -1);
  EXPECT_EQ(m_factory->deallocate(&bare), -1);
  EXPECT_THAT(namesOf(m_factory->getPrivateDataList(false)), ElementsAre("/data"));
  EXPECT_EQ(m_factory->deallocate(&attached), 0);
  EXPECT_EQ(m_factory->deallocate(&attached), -1);
}

TEST_F(PrivateDataFactory, DeallocatedObjectThatACallerHoldsStaysInTheMap) {
  kfi_domain domain = domainNamed("/data");
  const auto held = m_factory->allocate(&domain, false);
  EXPECT_EQ(m_factory->deallocate(&domain), 0);
  EXPECT_EQ(held->getCount(), 2);
  EXPECT_EQ(m_factory->accessByName("/data", false).get(), held.get());
}

TEST_F(PrivateDataFactory, ObjectItselfSaysWhichMapItGoesFrom) {
  kfi_domain domain = domainNamed("/data");
  m_factory->allocate(&domain, false)->setIsAltNode(true);
  // The alternate map does not know the name, so the ordinary one keeps its entry.
  EXPECT_EQ(m_factory->deallocate(&domain), 0);
  EXPECT_THAT(namesOf(m_factory->getPrivateDataList(false)), ElementsAre("/data"));
}

TEST_F(PrivateDataFactory, NameThatIsNoLongerInTheMapIsNoFailure) {
  kfi_domain domain = domainNamed("/data");
  m_factory->allocate(&domain, false);
  domain.fid_objid = identifierOf("/renamed");
  EXPECT_EQ(m_factory->deallocate(&domain), 0);
  EXPECT_EQ(domain.fid_private, nullptr);
  EXPECT_THAT(namesOf(m_factory->getPrivateDataList(false)), ElementsAre("/data"));
}

TEST_F(PrivateDataFactory, DomainThatLostItsNameGivesItsObjectBackAllTheSame) {
  qmfi_objid nameless{nullptr, 0, 1};
  for (qmfi_objid* const lost : {static_cast<qmfi_objid*>(nullptr), &nameless}) {
    for (const bool alternate : {false, true}) {
      kfi_domain domain = domainNamed("/data");
      kfi_domain other = domainNamed("/other");
      m_factory->allocate(&domain, alternate);
      m_factory->allocate(&other, alternate);
      domain.fid_objid = lost;
      EXPECT_EQ(m_factory->deallocate(&domain), 0);
      EXPECT_EQ(domain.fid_private, nullptr);
      EXPECT_THAT(namesOf(m_factory->getPrivateDataList(alternate)), ElementsAre("/other"));
      EXPECT_EQ(m_factory->deallocate(&other), 0);
      EXPECT_EQ(CountedData::living, 0);
    }
  }
}

TEST_F(PrivateDataFactory, DomainThatLostItsNameLeavesASharedObjectToTheOthers) {
  kfi_domain first = domainNamed("/data");
  kfi_domain second = domainNamed("/data");
  m_factory->allocate(&first, false);
  const CFiPrivateData* const object = m_factory->allocate(&second, false).get();
  first.fid_objid = nullptr;
  EXPECT_EQ(m_factory->deallocate(&first), 0);
  EXPECT_EQ(m_factory->access(&second).get(), object);
  EXPECT_EQ(m_factory->accessByName("/data", false).get(), object);
  EXPECT_EQ(m_factory->deallocate(&second), 0);
}

TEST_F(PrivateDataFactory, FindsByTheWholeName) {
  kfi_domain domain = domainNamed("/data");
  m_factory->allocate(&domain, false);
  EXPECT_TRUE(m_factory->accessByName("/data", false));
  EXPECT_FALSE(m_factory->accessByName("/data", true));
  EXPECT_FALSE(m_factory->accessByName("/dat", false));
  EXPECT_FALSE(m_factory->accessByName("/data2", false));
  EXPECT_FALSE(m_factory->accessByName("", false));
  EXPECT_FALSE(m_factory->accessByName(ACE_String_Base<char>("/data\0x", 7), false));
  m_factory->deallocate(&domain);
}

TEST_F(PrivateDataFactory, ListsAscendByName) {
  std::deque<kfi_domain> domains;
  for (const char* const name : {"/b", "/a/x", "/a", "/\xff", "/A"}) {
    m_factory->allocate(&domains.emplace_back(domainNamed(name)), false);
  }
  kfi_domain alternate = domainNamed("/other");
  m_factory->allocate(&alternate, true);
  EXPECT_THAT(namesOf(m_factory->getPrivateDataList(false)), ElementsAre("/A", "/a", "/a/x", "/b", "/\xff"));
  EXPECT_THAT(namesOf(m_factory->getPrivateDataList(true)), ElementsAre("/other"));
  EXPECT_EQ(m_factory->getPrivateDataList(true)[0]->getCount(), 3);
  for (kfi_domain& domain : domains) m_factory->deallocate(&domain);
  m_factory->deallocate(&alternate);
}

TEST_F(PrivateDataFactory, FindsAndListsEachOfManyNames) {
  constexpr int count = 3000;
  std::deque<kfi_domain> domains;
  std::vector<std::string> names;
  for (int number = 0; number < count; ++number) {
    names.push_back("/srv/volume-" + std::to_string(number));
    m_factory->allocate(&domains.emplace_back(domainNamed(names.back())), false);
  }
  for (int number = 0; number < count; ++number) {
    EXPECT_EQ(m_factory->accessByName(names[number].c_str(), false).get(), m_factory->access(&domains[number]).get());
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(namesOf(m_factory->getPrivateDataList(false)), names);
  for (kfi_domain& domain : domains) {
    EXPECT_EQ(m_factory->deallocate(&domain), 0);
  }
  EXPECT_EQ(CountedData::living, 0);
}

TEST_F(PrivateDataFactory, GivesNewObjectsItsTraceLog) {
  const CFiTraceLogSPtr log(true);
  m_factory->registerTraceLog(log);
  kfi_domain domain = domainNamed("/data");
  EXPECT_EQ(m_factory->allocate(&domain, false)->traceLog().get(), log.get());
  m_factory->deallocate(&domain);
}

TEST_F(PrivateDataFactory, ObjectIsDestroyedWithTheMapFree) {
  kfi_domain domain = domainNamed("/data");
  m_factory->allocate(&domain, false);
  CFiPrivateDataFactory* const factory = m_factory.get();
  bool returned = false;
  CountedData::atEnd = [&] { returned = returnsOnAnotherThread([factory] { factory->accessByName("/data", false); }); };
  m_factory->deallocate(&domain);
  EXPECT_TRUE(returned);
}

// Looks a name up on another thread, without memory of the asking one.
class OtherThread {
 public:
  explicit OtherThread(CFiPrivateDataFactory& factory) : m_thread([this, &factory] { run(factory); }) {}
  OtherThread(const OtherThread&) = delete;
  OtherThread& operator=(const OtherThread&) = delete;
  ~OtherThread() {
    m_ended = true;
    m_asked.release();
    m_thread.join();
  }

  bool canLookUp() {
    constexpr std::chrono::seconds bound(20);
    m_asked.release();
    return m_answered.try_acquire_for(bound);
  }

 private:
  void run(CFiPrivateDataFactory& factory) {
    for (m_asked.acquire(); !m_ended; m_asked.acquire()) {
      factory.accessByName("/data", false);
      m_answered.release();
    }
  }

  std::atomic<bool> m_ended{false};
  std::counting_semaphore<> m_asked{0};
  std::counting_semaphore<> m_answered{0};
  std::thread m_thread;
};

TEST_F(PrivateDataFactory, ObjectThatFindsNoRoomIsDestroyedWithTheMapFree) {
  kfi_domain domain = domainNamed("/data");
  OtherThread other(*m_factory);
  int destroyed = 0;
  CountedData::atEnd = [&] {
    EXPECT_TRUE(other.canLookUp());
    ++destroyed;
  };
  const auto allocateWith = [&](int callsAhead) {
    const MemoryFailure failure(callsAhead);
    try {
      m_factory->allocate(&domain, false);
    } catch (const std::bad_alloc&) {
    }
  };
  for (int callsAhead = 0; domain.fid_private == nullptr; ++callsAhead) {
    ASSERT_LT(callsAhead, 20);
    allocateWith(callsAhead);
    EXPECT_EQ(CountedData::living, domain.fid_private != nullptr ? 1 : 0);
  }
  EXPECT_GE(destroyed, 1);
  m_factory->deallocate(&domain);
}

TEST_F(PrivateDataFactory, EndOfTheFactoryReleasesWhatTheMapsHold) {
  kfi_domain domain = domainNamed("/data");
  const auto held = m_factory->allocate(&domain, false);
  EXPECT_EQ(held->getCount(), 3);
  m_factory.release();
  EXPECT_EQ(held->getCount(), 2);
  delete static_cast<CFiPrivateDataSPtr*>(domain.fid_private);
}

TEST_F(PrivateDataFactory, ThreadsThatShareNamesLeaveNothingBehind) {
  constexpr int threadCount = 4;
  constexpr int rounds = 500;
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < rounds; ++round) {
        kfi_domain domain = domainNamed("/shared" + std::to_string(round % 3));
        m_factory->allocate(&domain, round % 2 != 0);
        m_factory->accessByName("/shared0", false);
        m_factory->getPrivateDataList(true);
        m_factory->deallocate(&domain);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  // What one thread still held while another let go may stay, but no more than one object of each name and kind.
  EXPECT_LE(CountedData::living, 6);
}

struct ManagerTestPlugin;
using Manager = CFiContextSingleton<CFiPrivateDataManager, ManagerTestPlugin>;

TEST(PrivateDataManager, IsMadeWithItsDefaultFactoryOnly) {
  const auto manager = Manager::instance(false);
  const CFiPrivateDataFactorySPtr factory = manager->getDefaultFactory();
  ASSERT_TRUE(factory);
  EXPECT_NE(dynamic_cast<CFiPrivateDataConcreteFactory<CFiPrivateData>*>(factory.get()), nullptr);
  EXPECT_FALSE(manager->getProviderFactory());
  Manager::instance(true);
}

// Asks its manager while it is destroyed.
class AskingFactory : public Factory {
 public:
  AskingFactory(CFiPrivateDataManager& manager, bool& returned) : m_manager(manager), m_returned(returned) {}
  ~AskingFactory() override {
    m_returned = returnsOnAnotherThread([&manager = m_manager] { manager.getProviderFactory(); });
  }

 private:
  CFiPrivateDataManager& m_manager;
  bool& m_returned;
};

TEST(PrivateDataManager, ReplacedFactoryIsDestroyedWithTheManagerFree) {
  const auto manager = Manager::instance(false);
  bool returned = false;
  manager->setProviderFactory(CFiPrivateDataFactorySPtr(new AskingFactory(*manager, returned)));
  const CFiPrivateDataFactorySPtr replacement(new Factory());
  manager->setProviderFactory(replacement);
  EXPECT_TRUE(returned);
  EXPECT_EQ(manager->getProviderFactory().get(), replacement.get());
  Manager::instance(true);
}

}  // namespace
