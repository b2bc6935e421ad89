// The split context: while it is open trace records stay in memory, and when it closes they are written in order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>

#include "open_split_context.h"
#include "support/trace_capture.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;

// Lets no further memory be mapped.
class NoFurtherMemory {
 public:
  NoFurtherMemory() {
    getrlimit(RLIMIT_AS, &m_before);
    const rlimit none{0, m_before.rlim_max};
    setrlimit(RLIMIT_AS, &none);
  }
  NoFurtherMemory(const NoFurtherMemory&) = delete;
  NoFurtherMemory& operator=(const NoFurtherMemory&) = delete;
  ~NoFurtherMemory() { setrlimit(RLIMIT_AS, &m_before); }

 private:
  rlimit m_before{};
};

class SplitContextTest : public testing::Test {
 protected:
  TraceDirectory m_traces;
};

TEST_F(SplitContextTest, HoldsRecordsBackUntilItCloses) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  log.trace(1, "before");
  const std::string before = m_traces.content();
  {
    const OpenSplitContext context;
    EXPECT_EQ(context.result, 0);
    log.trace(1, "first");
    log.trace(1, "%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(m_traces.content(), before);
  }
  log.trace(1, "after");
  EXPECT_THAT(m_traces.texts(), ElementsAre("before", "first", std::string(5000, 'x'), "after"));
}

TEST_F(SplitContextTest, CountsItsUsers) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  EXPECT_EQ(qmfi_create_context(), 0);
  EXPECT_EQ(qmfi_create_context(), 0);
  log.trace(1, "held");
  qmfi_close_context();
  EXPECT_EQ(m_traces.content(), "");
  qmfi_close_context();
  EXPECT_THAT(m_traces.texts(), ElementsAre("held"));
}

TEST_F(SplitContextTest, IsOpenThoughItsMemoryWasNotToBeHad) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  int result = 0;
  {
    const NoFurtherMemory limit;
    result = qmfi_create_context();
    log.trace(1, "no room");
  }
  EXPECT_EQ(result, ENOMEM);
  EXPECT_EQ(m_traces.content(), "");
  qmfi_close_context();
  log.trace(1, "after");
  EXPECT_THAT(m_traces.texts(), ElementsAre("Trace records dropped while file systems were frozen: 1", "after"));
}

TEST_F(SplitContextTest, DoesNothingOnACloseWithoutAnOpen) {
  qmfi_close_context();
  qmfi_close_context();
  CFiTraceLog log;
  m_traces.open(log, 1);
  const OpenSplitContext context;
  log.trace(1, "held");
  EXPECT_EQ(m_traces.content(), "");
}

TEST_F(SplitContextTest, OpensAgainAfterItClosed) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  for (const char* const text : {"one", "two"}) {
    const std::string before = m_traces.content();
    const OpenSplitContext context;
    log.trace(1, "%s", text);
    EXPECT_EQ(m_traces.content(), before);
  }
  EXPECT_THAT(m_traces.texts(), ElementsAre("one", "two"));
}

TEST_F(SplitContextTest, KeepsTheLogsApart) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  CFiTraceLog other;
  ACE_String_Base<char> first;
  ACE_String_Base<char> second;
  other.initialize("other", first, second, 1, false);
  {
    const OpenSplitContext context;
    log.trace(1, "mine 1");
    other.trace(1, "its");
    log.trace(1, "mine 2");
  }
  EXPECT_THAT(m_traces.texts(), ElementsAre("mine 1", "mine 2"));
  EXPECT_THAT(m_traces.directory().read("other.log"), testing::EndsWith(" L1 its\n"));
}

TEST_F(SplitContextTest, WritesTheRecordsOfALogThatIsGone) {
  {
    const OpenSplitContext context;
    CFiTraceLog log;
    m_traces.open(log, 1);
    log.trace(1, "held");
  }
  EXPECT_THAT(m_traces.texts(), ElementsAre("held"));
}

TEST_F(SplitContextTest, KeepsTheFirstRecordsAndCountsThoseWithoutRoom) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  const std::string text(1000, 'x');
  constexpr std::size_t written = 3000;
  {
    const OpenSplitContext context;
    for (std::size_t i = 0; i < written; ++i) log.trace(1, "%zu %s", i, text.c_str());
  }
  log.trace(1, "after");
  std::vector<std::string> texts = m_traces.texts();
  ASSERT_GT(texts.size(), 900U);
  ASSERT_LT(texts.size(), 1100U);
  const std::size_t kept = texts.size() - 2;
  for (std::size_t i = 0; i < kept; ++i) ASSERT_EQ(texts[i], std::to_string(i) + " " + text);
  EXPECT_EQ(texts[kept], "Trace records dropped while file systems were frozen: " + std::to_string(written - kept));
  EXPECT_EQ(texts[kept + 1], "after");
}

}  // namespace
