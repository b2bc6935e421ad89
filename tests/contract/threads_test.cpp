// The plug-in called from several threads at once, as a framework calls it.
#include <algorithm>
#include <barrier>
#include <thread>

#include "plugin_fixture.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr int threadCount = 8;
constexpr int rounds = 20;

// Runs the body once in each thread, all beginning together; the body is given the thread's number.
template <typename Body>
void inThreads(const Body& body) {
  std::barrier together(threadCount);
  std::vector<std::jthread> threads;
  for (int number = 0; number < threadCount; ++number) {
    threads.emplace_back([&together, &body, number] {
      together.arrive_and_wait();
      body(number);
    });
  }
}

class ThreadsBeforeStart : public LoadedPlugin {};

TEST_F(ThreadsBeforeStart, MeetOneProviderInTheirFirstCalls) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  qmfi_objid* const mounted = object("/mnt/a");
  std::vector<qmfi_objid**> groups(threadCount);
  std::vector<int> answers(threadCount);
  inThreads([&](int number) {
    int count = 0;
    const auto place = static_cast<std::size_t>(number);
    answers[place] = plugin.claim(mounted, &groups[place], &count);
  });
  EXPECT_THAT(answers, Each(1));
  EXPECT_THAT(groups, Each(groups[0]));
}

class Threads : public StartedPlugin {
 protected:
  void SetUp() override {
    StartedPlugin::SetUp();
    for (int number = 0; number < threadCount; ++number) {
      paths.push_back(makeDirectory(std::to_string(number)));
      table.add("/dev/qm/dsk/dg1/vol" + std::to_string(number), paths.back());
    }
  }

  std::vector<std::string> paths;
};

TEST_F(Threads, ClaimAtOnce) {
  std::vector<qmfi_objid*> objects;
  for (const auto& path : paths) objects.push_back(object(path));
  std::vector<int> claimed(threadCount);
  inThreads([&](int number) {
    const auto place = static_cast<std::size_t>(number);
    for (int i = 0; i < rounds; ++i) {
      qmfi_objid** groups = nullptr;
      int count = 0;
      claimed[place] += plugin.claim(objects[place], &groups, &count);
    }
  });
  EXPECT_THAT(claimed, Each(rounds));
  const auto records = trace();
  const auto answers = std::count(records.begin(), records.end(), traced(3, "claim : 1"));
  EXPECT_EQ(answers, threadCount * rounds) << "records of several threads were mixed";
}

TEST_F(Threads, InitialiseNodesOfTheSameAndOfOtherNamesAtOnce) {
  // One node of its own for each thread, and one more of a name that all share.
  std::vector<kfi_domain*> own;
  std::vector<kfi_domain*> shared;
  for (const auto& path : paths) {
    own.push_back(&node(path));
    shared.push_back(&node("shared"));
  }
  kfi_domain* configuration = &configurationDomain();
  std::vector<int> failures(threadCount);
  inThreads([&](int number) {
    const auto place = static_cast<std::size_t>(number);
    for (int i = 0; i < rounds; ++i) {
      failures[place] += plugin.init_node(own[place], &configuration, 1, nullptr) != 0;
      failures[place] += plugin.init_node(shared[place], nullptr, 0, nullptr) != 0;
      kfi_blob blob{};
      failures[place] += plugin.process_providerstate(own[place], &blob, 1) != 0;
      framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
      plugin.deinit_node(own[place]);
      plugin.deinit_node(shared[place]);
    }
  });
  EXPECT_THAT(failures, Each(0));
}

TEST_F(Threads, PushAndFetchMessagesAtOnce) {
  std::vector<kfi_domain*> unmounted;
  for (int number = 0; number < threadCount; ++number) unmounted.push_back(&node("/not/mounted"));
  inThreads([&](int number) {
    const auto place = static_cast<std::size_t>(number);
    for (int i = 0; i < rounds; ++i) {
      if (number % 2 == 0) {
        plugin.init_altnode(nullptr, nullptr, unmounted[place]);
      } else {
        kfi_msg_info* list = nullptr;
        plugin.get_last_error(&list);
        plugin.del_last_error(&list);
      }
    }
  });
  // Each was handed to the callback, by whichever thread.
  EXPECT_THAT(callbacks, SizeIs(threadCount / 2 * rounds));
}

TEST_F(Threads, OfWhichOneQuiescesAndTheOthersAreRefused) {
  std::vector<kfi_quiescenode*> nodes;
  for (const auto& path : paths) nodes.push_back(initialisedNode(path).fid_qnode);
  forget();
  std::vector<int> answers(threadCount);
  inThreads([&](int number) {
    const auto place = static_cast<std::size_t>(number);
    answers[place] = plugin.quiesce(nodes[place], nullptr, 0, nullptr);
  });
  std::sort(answers.begin(), answers.end());
  EXPECT_EQ(answers.front(), 0);
  EXPECT_EQ(std::count(answers.begin(), answers.end(), 6), threadCount - 1);
  inThreads([&](int) { plugin.unquiesce(nullptr, nullptr, 0); });
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(importedCalls().driverRequests(), SizeIs(2));
}

}  // namespace
