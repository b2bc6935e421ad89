// Trace scopes, and the base that carries a trace log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "cfitracelog.h"
#include "support/trace_capture.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int anyLine = 41;

struct ScopeCase {
  const char* name;
  const char* function;
  int line;
  const char* path;
  std::vector<std::string> records;
};

void PrintTo(const ScopeCase& scopeCase, std::ostream* out) {
  *out << scopeCase.name;
}

class TraceScopeTexts : public testing::TestWithParam<ScopeCase> {};

TEST_P(TraceScopeTexts, AreWhole) {
  const TraceCapture capture;
  const ScopeCase& scopeCase = GetParam();
  { const CFiTraceLogFunction scope(capture.log(), scopeCase.function, scopeCase.line, scopeCase.path); }
  EXPECT_EQ(capture.records(), scopeCase.records);
}

INSTANTIATE_TEST_SUITE_P(
    All, TraceScopeTexts,
    testing::Values(ScopeCase{"file behind the last slash",
                              "claim",
                              anyLine,
                              "/a/b.d/c.cpp",
                              {"L6 Entering Function claim [41, c.cpp]", "L6 Exiting Function claim [41, c.cpp]"}},
                    ScopeCase{"path that ends in a slash",
                              "claim",
                              anyLine,
                              "/a/",
                              {"L6 Entering Function claim [41, ]", "L6 Exiting Function claim [41, ]"}},
                    ScopeCase{"line 0 shortens the exit only",
                              "claim",
                              0,
                              "/a/c.cpp",
                              {"L6 Entering Function claim [0, c.cpp]", "L6 Exiting Function claim"}},
                    ScopeCase{"negative line",
                              "claim",
                              -1,
                              "/a/c.cpp",
                              {"L6 Entering Function claim [-1, c.cpp]", "L6 Exiting Function claim [-1, c.cpp]"}},
                    ScopeCase{"path without a slash is the header's own",
                              "claim",
                              anyLine,
                              "c.cpp",
                              {"L6 Entering Function claim [41, pdk/include/cfitracelog.h]",
                               "L6 Exiting Function claim [41, pdk/include/cfitracelog.h]"}},
                    ScopeCase{"no path is the header's own",
                              "claim",
                              anyLine,
                              nullptr,
                              {"L6 Entering Function claim [41, pdk/include/cfitracelog.h]",
                               "L6 Exiting Function claim [41, pdk/include/cfitracelog.h]"}},
                    ScopeCase{"no function is not traced", nullptr, anyLine, "/a/c.cpp", {}}));

TEST(TraceScope, WithoutALogTracesNothing) {
  const TraceCapture capture;
  {
    const CFiTraceLogFunction scope(CFiTraceLogSPtr(), "claim", anyLine, "/a/c.cpp");
    EXPECT_EQ(capture.log()->getCount(), 1);
  }
  EXPECT_THAT(capture.records(), IsEmpty());
}

TEST(TraceScope, IsSilentBelowLevelSix) {
  const TraceCapture capture(5);
  { const CFiTraceLogFunction scope(capture.log(), "claim", anyLine, "/a/c.cpp"); }
  EXPECT_THAT(capture.records(), IsEmpty());
}

TEST(TraceScope, HoldsTheLogWhileItLives) {
  const TraceCapture capture;
  {
    const CFiTraceLogFunction scope(capture.log(), "claim", anyLine, "/a/c.cpp");
    EXPECT_EQ(capture.log()->getCount(), 2);
  }
  EXPECT_EQ(capture.log()->getCount(), 1);
}

TEST(TraceScope, WritesItsExitThoughItsMakerDroppedTheLog) {
  const TemporaryDirectory directory;
  const EnvironmentVariable logDirectory("QMFI_LOG_DIR", directory.path());
  const EnvironmentVariable traceLevel("QMFI_TRACE_LEVEL", std::nullopt);
  {
    CFiTraceLogSPtr log(true);
    ACE_String_Base<char> empty;
    ACE_String_Base<char> second;
    log->initialize(ACE_String_Base<char>("dropped"), empty, second, CFI_TRACE_DETAIL, false);
    const CFiTraceLogFunction scope(log, "fini", 0, "/a/c.cpp");
    log.release();
  }
  EXPECT_THAT(readTrace(directory.path() + "/dropped.log"),
              ElementsAre("L6 Entering Function fini [0, c.cpp]", "L6 Exiting Function fini"));
}

TEST(TraceLog, LeavesEveryRecordToTheFrameworkUntilItTellsItsLevel) {
  const CFiTraceLogSPtr log(true);
  EXPECT_FALSE(log->isInitialized());
  EXPECT_TRUE(log->passes(CFI_TRACE_ERROR));
  EXPECT_TRUE(log->passes(CFI_TRACE_DETAIL));
}

// The object as the framework sees it: a pointer to the virtual table, then the members in order.
struct TraceLogMembers {
  void* virtualTable;
  alignas(ACE_String_Base<char>) unsigned char strings[5][sizeof(ACE_String_Base<char>)];
  bool initialized;
  bool flags[2];
  std::int32_t marker;
  CFiErrorManager* errorManager;
};

TEST(TraceLog, KeepsItsMembersInTheirOrder) {
  const TraceCapture capture;
  const CFiErrorManagerSPtr manager(true);
  const CFiTraceLogSPtr log(true);
  log->setErrorManager(manager);
  TraceLogMembers fresh;
  std::memcpy(&fresh, static_cast<const void*>(log.get()), sizeof fresh);
  EXPECT_FALSE(fresh.initialized);
  EXPECT_FALSE(fresh.flags[0]);
  EXPECT_FALSE(fresh.flags[1]);
  EXPECT_EQ(fresh.marker, 12345);
  EXPECT_EQ(fresh.errorManager, manager.get());
  TraceLogMembers opened;
  std::memcpy(&opened, static_cast<const void*>(capture.log().get()), sizeof opened);
  EXPECT_TRUE(opened.initialized);
}

TEST(TraceLog, PassesUpToItsLevel) {
  const TraceCapture capture(CFI_TRACE_PROGRESS);
  EXPECT_TRUE(capture.log()->isInitialized());
  EXPECT_TRUE(capture.log()->passes(CFI_TRACE_PROGRESS));
  EXPECT_FALSE(capture.log()->passes(CFI_TRACE_REJECTED));
}

class Tracing : public CFiTraceable {
 public:
  int traceHere() const {
    const auto scope = traceScope("traceHere");
    trace(CFI_TRACE_PROGRESS, "%s %d", "value", 7);
    return __LINE__ - 2;
  }
};

TEST(Traceable, ScopesCarryTheirOwnPlaceInTheSource) {
  const TraceCapture capture;
  Tracing object;
  object.registerTraceLog(capture.log());
  const std::string place = "[" + std::to_string(object.traceHere()) + ", trace_scope_test.cpp]";
  EXPECT_THAT(capture.records(), ElementsAre("L6 Entering Function traceHere " + place, "L3 value 7",
                                             "L6 Exiting Function traceHere " + place));
}

TEST(TraceFormat, FitsArgumentsOfItsConversionsOnly) {
  EXPECT_TRUE(CFiTraceFormat<>::fits("no argument, 100 %%"));
  EXPECT_TRUE((CFiTraceFormat<const char*, int, unsigned>::fits("%s %d %u")));
  EXPECT_TRUE((CFiTraceFormat<char*, CFiTraceLevel, bool>::fits("%s %d %d")));
  EXPECT_FALSE(CFiTraceFormat<>::fits("%s"));
  EXPECT_FALSE(CFiTraceFormat<const char*>::fits("no conversion"));
  EXPECT_FALSE((CFiTraceFormat<const char*, const char*>::fits("%s")));
  EXPECT_FALSE(CFiTraceFormat<const char*>::fits("%s %s"));
  EXPECT_FALSE(CFiTraceFormat<int>::fits("%s"));
  EXPECT_FALSE(CFiTraceFormat<const char*>::fits("%d"));
  EXPECT_FALSE(CFiTraceFormat<unsigned>::fits("%d"));
  EXPECT_FALSE(CFiTraceFormat<int>::fits("%5d"));
  EXPECT_FALSE(CFiTraceFormat<int>::fits("%"));
  EXPECT_FALSE((CFiTraceFormat<int, const char*>::fits("%s %d")));
}

TEST(Traceable, WithoutALogTracesNothing) {
  const TraceCapture capture;
  const Tracing object;
  object.traceHere();
  EXPECT_FALSE(object.traceLog());
  EXPECT_THAT(capture.records(), IsEmpty());
}

TEST(Traceable, LevelIsFiltered) {
  const TraceCapture capture(CFI_TRACE_WARNING);
  Tracing object;
  object.registerTraceLog(capture.log());
  object.traceHere();
  EXPECT_THAT(capture.records(), IsEmpty());
}

TEST(Traceable, RegisteringItsOwnLogChangesNothing) {
  const CFiTraceLogSPtr log(true);
  CFiTraceable object;
  object.registerTraceLog(log);
  object.registerTraceLog(object.traceLog());
  EXPECT_EQ(object.traceLog().get(), log.get());
  EXPECT_EQ(log->getCount(), 2);
}

TEST(Traceable, RegisteringReleasesTheFormerLog) {
  const CFiTraceLogSPtr former(true);
  const CFiTraceLogSPtr present(true);
  CFiTraceable object;
  object.registerTraceLog(former);
  object.registerTraceLog(present);
  EXPECT_EQ(former->getCount(), 1);
  EXPECT_EQ(present->getCount(), 2);
  object.registerTraceLog(CFiTraceLogSPtr());
  EXPECT_EQ(present->getCount(), 1);
}

TEST(Traceable, GivesItsLogBackAtItsEnd) {
  const CFiTraceLogSPtr log(true);
  {
    CFiTraceable object;
    object.registerTraceLog(log);
    EXPECT_EQ(log->getCount(), 2);
  }
  EXPECT_EQ(log->getCount(), 1);
}

}  // namespace
