// In which order the members of a group are flushed, frozen and thawed, and by whom.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <barrier>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "cfifrozengroup.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

// Notes the requests, by the place of the member; some fail. Descriptors are told from each other by what is told of
// them.
class NotingRequests : public CFiFreezeRequests {
 public:
  int flush(int descriptor) const noexcept override { return note("flush", descriptor); }
  int freeze(int descriptor) const noexcept override { return note("freeze", descriptor); }
  int thaw(int descriptor) const noexcept override { return note("thaw", descriptor); }

  std::vector<std::string> taken() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_calls, {});
  }
  std::size_t threads() const { return m_threads.size(); }

  std::map<int, int> places;            // by descriptor
  std::map<std::string, int> failures;  // by call, as "freeze 1"

 private:
  int note(const char* request, int descriptor) const noexcept {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::string call = std::string(request) + " " + std::to_string(places.at(descriptor));
    m_calls.push_back(call);
    m_threads.insert(std::this_thread::get_id());
    const auto found = failures.find(call);
    return found != failures.end() ? found->second : 0;
  }

  mutable std::mutex m_mutex;
  mutable std::vector<std::string> m_calls;
  mutable std::set<std::thread::id> m_threads;
};

class FrozenGroup : public testing::Test {
 protected:
  // Members /0, /1 and so on.
  std::vector<CFiFrozenMember> members(int count) {
    std::vector<CFiFrozenMember> list;
    for (int i = 0; i < count; ++i) {
      list.push_back({"/" + std::to_string(i), CFiDescriptor(dup(STDERR_FILENO))});
      m_requests.places[list.back().descriptor.get()] = i;
    }
    return list;
  }

  NotingRequests m_requests;
};

TEST_F(FrozenGroup, FlushesAllBeforeItFreezesAndThawsAllByTheSameThreads) {
  CFiFrozenGroup group(m_requests, members(3));
  EXPECT_THAT(m_requests.taken(), UnorderedElementsAre("flush 0", "flush 1", "flush 2"));
  EXPECT_TRUE(group.freeze());
  EXPECT_THAT(m_requests.taken(), UnorderedElementsAre("freeze 0", "freeze 1", "freeze 2"));
  group.thaw();
  EXPECT_THAT(m_requests.taken(), UnorderedElementsAre("thaw 0", "thaw 1", "thaw 2"));
  EXPECT_EQ(m_requests.threads(), 3U);
  for (const CFiFrozenMember& member : group.members()) EXPECT_FALSE(member.isFrozen);
}

// Each freeze waits for the others: one after another they would wait for ever.
class MeetingRequests : public CFiFreezeRequests {
 public:
  explicit MeetingRequests(int count) : m_frozen(count), m_thawed(count) {}
  int flush(int /*descriptor*/) const noexcept override { return 0; }
  int freeze(int /*descriptor*/) const noexcept override { return meet(m_frozen); }
  int thaw(int /*descriptor*/) const noexcept override { return meet(m_thawed); }

 private:
  static int meet(std::barrier<>& barrier) {
    barrier.arrive_and_wait();
    return 0;
  }

  mutable std::barrier<> m_frozen;
  mutable std::barrier<> m_thawed;
};

TEST_F(FrozenGroup, FreezesAndThawsSideBySide) {
  const MeetingRequests requests(8);
  CFiFrozenGroup group(requests, members(8));
  EXPECT_TRUE(group.freeze());
  group.thaw();
}

TEST_F(FrozenGroup, ThawsThoseThatWereFrozenWhenOneFails) {
  m_requests.failures["freeze 1"] = EBUSY;
  CFiFrozenGroup group(m_requests, members(3));
  m_requests.taken();
  EXPECT_FALSE(group.freeze());
  const std::vector<std::string> calls = m_requests.taken();
  ASSERT_EQ(calls.size(), 5U);
  EXPECT_THAT(std::vector(calls.begin(), calls.begin() + 3), UnorderedElementsAre("freeze 0", "freeze 1", "freeze 2"));
  EXPECT_THAT(std::vector(calls.begin() + 3, calls.end()), UnorderedElementsAre("thaw 0", "thaw 2"));
  EXPECT_EQ(group.members()[0].freezeError, 0);
  EXPECT_EQ(group.members()[1].freezeError, EBUSY);
  EXPECT_EQ(group.members()[1].mountPoint, "/1");
  group.thaw();
  EXPECT_TRUE(m_requests.taken().empty());
}

TEST_F(FrozenGroup, RemembersWhatCouldNotBeThawed) {
  m_requests.failures["thaw 0"] = EIO;
  CFiFrozenGroup group(m_requests, members(2));
  EXPECT_TRUE(group.freeze());
  group.thaw();
  EXPECT_EQ(group.members()[0].thawError, EIO);
  EXPECT_EQ(group.members()[1].thawError, 0);
}

TEST_F(FrozenGroup, ThawsAtItsEndAndOnce) {
  {
    CFiFrozenGroup group(m_requests, members(1));
    EXPECT_TRUE(group.freeze());
  }
  EXPECT_THAT(m_requests.taken(), ElementsAre("flush 0", "freeze 0", "thaw 0"));
}

TEST_F(FrozenGroup, ThatWasNotFrozenThawsNothing) {
  { const CFiFrozenGroup group(m_requests, members(2)); }
  EXPECT_THAT(m_requests.taken(), UnorderedElementsAre("flush 0", "flush 1"));
}

}  // namespace
