// Mutexes that fail: whichever lock of a call it is, the call answers as usual or 6, and nothing stays frozen or open.
#include <algorithm>
#include <cerrno>

#include "alternate_tree_fixture.h"
#include "support/mutex_faults.h"
#include "support/process_state.h"

// What cannot give its count back is kept for ever, also beyond its library, so the program is not looked at for leaks.
extern "C" int __lsan_is_turned_off() {
  return 1;
}

namespace {

// Makes the call again and again, each time with another of its locks failing, until it has no more. before and after
// surround each call.
template <typename Before, typename Call, typename After>
void failEachLock(const Before& before, const Call& call, const After& after) {
  constexpr int usual = 0;
  constexpr int failed = 6;
  int statusesOfFailure = 0;
  for (int number = 1;; ++number) {
    SCOPED_TRACE("lock " + std::to_string(number));
    before();
    int status = -1;
    {
      const MutexFailure failure(MutexCall::lock, number, EINVAL);
      status = call();
    }
    const bool hasFailed = mutexFaultHappened();
    after(status);
    ASSERT_TRUE(status == usual || (hasFailed && status == failed)) << status;
    statusesOfFailure += status == failed ? 1 : 0;
    if (!hasFailed) break;
  }
  EXPECT_GT(statusesOfFailure, 0);
}

class FailingMutexes : public AlternateTree {
 protected:
  void SetUp() override {
    AlternateTree::SetUp();
    // Not this program's own, nor those of the libraries that the plug-in cannot help.
    countLocks([](const void* caller) { return isOfLibrary(caller, "/libqm"); });
    table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", "qmfs", "rw,log");
    programs.answer("/bin/mkdir", Answer());
    programs.answer("/bin/mount", Answer());
  }

  // The next call finds no private data that this one has made.
  void release(kfi_domain& domain) { plugin.deinit_node(&domain); }
};

TEST_F(FailingMutexes, StartAnswersSix) {
  stopPlugin();
  failEachLock([] {}, [this] { return startPlugin(); }, [this](int) { stopPlugin(); });
}

TEST_F(FailingMutexes, NodeInitialisationAnswersSix) {
  kfi_domain* configuration = &node("configuration");
  kfi_domain& domain = node("/mnt/a");
  failEachLock([] {}, [&] { return plugin.init_node(&domain, &configuration, 1, nullptr); },
               [&](int) { release(domain); });
}

TEST_F(FailingMutexes, InitialisationOfAnAlternateNodeAnswersSix) {
  kfi_domain& domain = node("/mnt/a");
  failEachLock([] {}, [&] { return plugin.init_altnode(nullptr, nullptr, &domain); }, [&](int) { release(domain); });
}

TEST_F(FailingMutexes, ProviderStateAnswersSix) {
  kfi_domain& domain = node("/mnt/a");
  std::string text = "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n";
  failEachLock([] {},
               [&] {
                 kfi_blob stored{text.size() + 1, text.data(), 1};
                 return plugin.process_providerstate(&domain, &stored, 0);
               },
               [&](int) { release(domain); });
  kfi_domain& restored = restoredNode("/mnt/a", "/dev/qm/dsk/dg1/vol1");
  kfi_blob fetched{};
  failEachLock([] {}, [&] { return plugin.process_providerstate(&restored, &fetched, 1); },
               [&](int) {
                 framework.qmfi_free_buf(fetched.kb_buffer, fetched.kb_length);
                 fetched = {};
               });
}

TEST_F(FailingMutexes, BuildingAnAlternateTreeAnswersSix) {
  kfi_domain& domain = ownNode("/mnt/a");
  qmfi_objid* snapshots[] = {object(SNAPSHOT)};
  failEachLock([] {}, [&] { return plugin.build_alttree(&domain, "fiid"_text, nullptr, snapshots, 1, &alternate); },
               [&](int) { release(domain); });
}

TEST_F(FailingMutexes, ImportOfAnAlternateTreeAnswersSix) {
  kfi_domain& domain = node("/mnt/a");
  kfi_subobj_entry entries[] = {{"/mnt/a"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;
  qmfi_objid* snapshots[] = {object(SNAPSHOT)};
  failEachLock([] {}, [&] { return plugin.import_tree(&domain, nullptr, snapshots, 1, &alternate); },
               [&](int) { release(domain); });
}

class FailingMutexesWhileFrozen : public FailingMutexes {
 protected:
  void SetUp() override {
    FailingMutexes::SetUp();
    m_path = makeDirectory("frozen");
    table.add("/dev/qm/dsk/dg1/vol2", m_path);
    m_nodes[0] = initialisedNode(m_path).fid_qnode;
    forget();
  }

  int quiesce() { return plugin.quiesce(nullptr, m_nodes, 1, nullptr); }
  void unquiesce() { plugin.unquiesce(nullptr, m_nodes, 1); }

  // What was frozen was thawed once, no descriptor is left, and the split context was opened as often as it was closed.
  void expectThawed() {
    const auto requests = importedCalls().driverRequests();
    EXPECT_EQ(std::count(requests.begin(), requests.end(), thaw(m_path)),
              std::count(requests.begin(), requests.end(), freezeAll({m_path}, 2)));
    const auto calls = importedCalls().contextCalls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "close"), std::count(calls.begin(), calls.end(), "create"));
    EXPECT_EQ(descriptorsOf(m_path).size(), 0U);
    forget();
  }

 private:
  std::string m_path;
  kfi_quiescenode* m_nodes[1] = {nullptr};
};

TEST_F(FailingMutexesWhileFrozen, QuiesceAnswersSix) {
  failEachLock([] {}, [this] { return quiesce(); },
               [this](int status) {
                 if (status == 0) unquiesce();
                 expectThawed();
               });
}

TEST_F(FailingMutexesWhileFrozen, UnquiesceThawsOrLeavesItToTheNext) {
  constexpr int mostLocks = 1000;
  int number = 1;
  for (; number < mostLocks; ++number) {
    SCOPED_TRACE("lock " + std::to_string(number));
    ASSERT_EQ(quiesce(), 0);
    {
      const MutexFailure failure(MutexCall::lock, number, EINVAL);
      unquiesce();
    }
    const bool hasFailed = mutexFaultHappened();
    // A call that did not reach the provider can be made again; to any other this is one too many, which does nothing.
    unquiesce();
    expectThawed();
    if (!hasFailed) break;
  }
  EXPECT_LT(number, mostLocks);
}

}  // namespace
