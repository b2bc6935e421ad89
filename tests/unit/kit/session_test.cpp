// Sessions and their split nodes.
#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "cfisession.h"
#include "support/allocation_faults.h"

namespace {

using namespace qmfi_pdk_4_4;

// Split nodes with their domains, as a framework keeps them.
class SplitNodes {
 public:
  // A node whose own name is the key. Without a key the name of its identifier is.
  void add(const std::string& name, const char* key, const char* identifier = "/identifier") {
    Record& record = m_records.emplace_back();
    record.name = name;
    record.key = key != nullptr ? key : "";
    record.domain.fid_objid = qmfi_get_objid(identifier, 4096, 1);
    record.domain.fid_name = key != nullptr ? record.key.data() : nullptr;
    record.node = {record.name.data(), &record.domain};
    m_list.push_back(&record.node);
  }

  kfi_splitnode** list() { return m_list.data(); }
  int count() const { return static_cast<int>(m_list.size()); }

 private:
  struct Record {
    std::string name;
    std::string key;
    kfi_domain domain{};
    kfi_splitnode node{};
  };
  std::deque<Record> m_records;
  std::vector<kfi_splitnode*> m_list;
};

TEST(SessionManager, GivesOneSessionForEachIdentifier) {
  const CFiSessionManagerSPtr manager(true);
  const CFiSessionSPtr first = manager->getSession("one");
  ASSERT_TRUE(first);
  EXPECT_EQ(first->getId(), "one");
  EXPECT_EQ(manager->getSession("one").get(), first.get());
  EXPECT_NE(manager->getSession("two").get(), first.get());
  EXPECT_NE(manager->getSession("One").get(), first.get());
  EXPECT_EQ(manager->getSession(std::string("one").c_str()).get(), first.get());
}

TEST(SessionManager, EmptyIdentifierIsASessionLikeAnyOther) {
  const CFiSessionManagerSPtr manager(true);
  const CFiSessionSPtr session = manager->getSession("");
  ASSERT_TRUE(session);
  EXPECT_EQ(session->getId(), "");
  EXPECT_EQ(manager->getSession("").get(), session.get());
}

TEST(SessionManager, NoIdentifierIsNoSession) {
  const CFiSessionManagerSPtr manager(true);
  EXPECT_FALSE(manager->getSession(nullptr));
}

TEST(SessionManager, SessionForWhichMemoryIsShortIsMadeByALaterCall) {
  const CFiSessionManagerSPtr manager(true);
  const auto getWith = [&](int callsAhead) {
    const MemoryFailure failure(callsAhead);
    try {
      return manager->getSession("one");
    } catch (const std::bad_alloc&) {
      return CFiSessionSPtr();
    }
  };
  CFiSessionSPtr session;
  int failures = -1;
  for (; !session; ++failures) {
    ASSERT_LT(failures, 20);
    session = getWith(failures + 1);
  }
  EXPECT_GE(failures, 2);
  EXPECT_EQ(session->getCount(), 2);
  EXPECT_EQ(manager->getSession("one").get(), session.get());
}

TEST(SessionManager, KeepsItsSessionsUntilItsEnd) {
  CFiSessionManagerSPtr manager(true);
  const CFiSessionSPtr session = manager->getSession("one");
  EXPECT_EQ(session->getCount(), 2);
  manager.release();
  EXPECT_EQ(session->getCount(), 1);
}

TEST(Session, KeepsNodesUnderTheirKeys) {
  CFiSession session("one");
  SplitNodes nodes;
  nodes.add("node a", "/a");
  nodes.add("node b", "/b");
  session.addNodes(nodes.list(), nodes.count());
  EXPECT_EQ(session.size(), 2U);
  CFiSplitNode found;
  ASSERT_TRUE(session.findNode("/a", found));
  EXPECT_STREQ(found.key.c_str(), "/a");
  EXPECT_EQ(found.nodeName, "node a");
  EXPECT_TRUE(found.secondName.is_empty());
  for (const std::int32_t number : found.numbers) {
    EXPECT_EQ(number, 0);
  }
  EXPECT_FALSE(session.findNode("/c", found));
  EXPECT_FALSE(session.findNode("node a", found));
}

TEST(Session, FirstNodeUnderAKeyStays) {
  CFiSession session("one");
  SplitNodes nodes;
  nodes.add("first", "/a");
  nodes.add("second", "/a");
  session.addNodes(nodes.list(), nodes.count());
  SplitNodes later;
  later.add("third", "/a");
  session.addNodes(later.list(), later.count());
  CFiSplitNode found;
  ASSERT_TRUE(session.findNode("/a", found));
  EXPECT_EQ(found.nodeName, "first");
  EXPECT_EQ(session.size(), 1U);
}

TEST(Session, AddsNothingForACountOfZeroOrLess) {
  CFiSession session("one");
  SplitNodes nodes;
  nodes.add("first", "/a");
  session.addNodes(nodes.list(), 0);
  session.addNodes(nodes.list(), -1);
  session.addNodes(nullptr, 0);
  EXPECT_EQ(session.size(), 0U);
}

TEST(Session, TakesOnlyAsManyNodesAsItIsTold) {
  CFiSession session("one");
  SplitNodes nodes;
  nodes.add("first", "/a");
  nodes.add("second", "/b");
  session.addNodes(nodes.list(), 1);
  EXPECT_EQ(session.size(), 1U);
}

TEST(Session, NodeWithoutAnOwnNameHasItsIdentifiersAsKey) {
  CFiSession session("one");
  SplitNodes nodes;
  nodes.add("node", nullptr, "/mnt/data");
  session.addNodes(nodes.list(), nodes.count());
  CFiSplitNode found;
  EXPECT_TRUE(session.findNode("/mnt/data", found));
}

TEST(Session, KeepsASecondNameForANodeThatItKnows) {
  CFiSession session("one");
  SplitNodes nodes;
  nodes.add("node", "/a");
  session.addNodes(nodes.list(), nodes.count());
  EXPECT_TRUE(session.setSecondName("/a", "/snap/a"));
  EXPECT_FALSE(session.setSecondName("/b", "/snap/b"));
  session.addNodes(nodes.list(), nodes.count());
  CFiSplitNode found;
  ASSERT_TRUE(session.findNode("/a", found));
  EXPECT_STREQ(found.secondName.c_str(), "/snap/a");
}

TEST(SessionManager, ThreadsThatAddToTheSameSessionsLoseNothing) {
  constexpr int threadCount = 4;
  constexpr int rounds = 100;
  const CFiSessionManagerSPtr manager(true);
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < rounds; ++round) {
        SplitNodes nodes;
        const std::string own = "/" + std::to_string(i) + "/" + std::to_string(round);
        nodes.add("node", own.c_str());
        nodes.add("node", "/shared");
        const CFiSessionSPtr session = manager->getSession(std::to_string(round % 3).c_str());
        session->addNodes(nodes.list(), nodes.count());
        session->setSecondName("/shared", own);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::size_t nodes = 0;
  for (const char* const id : {"0", "1", "2"}) nodes += manager->getSession(id)->size();
  EXPECT_EQ(nodes, static_cast<std::size_t>(threadCount * rounds + 3));
}

}  // namespace
