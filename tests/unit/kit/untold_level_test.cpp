// A framework that does not tell the level of its trace log: it is given every record, and filters for itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "cfitracelog.h"

namespace {

std::vector<std::string> given;

}  // namespace

namespace qmfi_pdk_4_4 {

// What a plug-in takes from such a framework.
void CFiTraceLog::initialize(const ACE_String_Base<char>&, ACE_String_Base<char>&, ACE_String_Base<char>&, int, bool) {
  m_initialized = true;
}

void CFiTraceLog::trace(int level, const char* format, ...) {
  char text[256];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  given.push_back("L" + std::to_string(level) + " " + text);
}

}  // namespace qmfi_pdk_4_4

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;

class Tracing : public CFiTraceable {
 public:
  void traceHere() const {
    const auto scope = traceScope("traceHere", 0, "/a/sample.cpp");
    trace(CFI_TRACE_ERROR, "a failure");
    trace(CFI_TRACE_DETAIL, "%s %d", "value", 7);
  }
};

TEST(UntoldLevel, EveryRecordIsGivenToTheFramework) {
  const CFiTraceLogSPtr log(true);
  Tracing object;
  object.registerTraceLog(log);
  ACE_String_Base<char> directory;
  ACE_String_Base<char> second;
  for (const bool opened : {false, true}) {
    if (opened) log->initialize("sample", directory, second, CFI_TRACE_ERROR, false);
    given.clear();
    object.traceHere();
    EXPECT_THAT(given, ElementsAre("L6 Entering Function traceHere [0, sample.cpp]", "L1 a failure", "L6 value 7",
                                   "L6 Exiting Function traceHere"));
    EXPECT_EQ(log->isInitialized(), opened);
  }
}

}  // namespace
