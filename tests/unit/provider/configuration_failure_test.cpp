// The provider's settings when the framework's store fails: this program has its own way to open a section.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <vector>

#include "qmfs_configuration.h"
#include "support/trace_capture.h"

namespace {

// What opening a section does.
std::function<int()> opening;

}  // namespace

namespace qmfi_pdk_4_4 {

int CFiConfiguration::openSection(const char*, ACE_Configuration_Section_Key&, int) {
  return opening();
}

}  // namespace qmfi_pdk_4_4

namespace {

using testing::ElementsAre;

constexpr const char* entering = "L6 Entering Function importConfigData [line, qmfs_configuration.cpp]";
constexpr const char* exiting = "L6 Exiting Function importConfigData [line, qmfs_configuration.cpp]";

std::vector<std::string> recordsOfDefaults(const std::function<int()>& open) {
  const TraceCapture capture;
  opening = open;
  CQmFSConfiguration configuration("qmfsfi");
  configuration.registerTraceLog(capture.log());
  const TuningParameters parameters = configuration.importConfigData();
  EXPECT_EQ(parameters.quiescenceTimeout, 2);
  EXPECT_EQ(parameters.allowSerialQuiescence, 0);
  return withoutLineNumbers(capture.records());
}

TEST(ConfigurationFailure, SectionThatCannotBeOpenedGivesTheDefaults) {
  for (const int result : {-1, 1}) {
    EXPECT_THAT(recordsOfDefaults([result] { return result; }),
                ElementsAre(entering, "L6 CQmFSConfiguration::importConfigData - configData.quiescenceTimeout = 2",
                            "L6 CQmFSConfiguration::importConfigData - configData.allowSerialQuiescence = 0", exiting));
  }
}

TEST(ConfigurationFailure, ExceptionGivesTheDefaults) {
  const std::function<int()> throwing[] = {
      []() -> int { throw std::runtime_error("broken"); },
      []() -> int { throw std::bad_alloc(); },
      []() -> int { throw 5; },
      []() -> int { throw "text"; },
  };
  for (const std::function<int()>& open : throwing) {
    EXPECT_THAT(
        recordsOfDefaults(open),
        ElementsAre(entering, "L6 CQmFSConfiguration::importConfigData in catch - configData.quiescenceTimeout = 2",
                    "L6 CQmFSConfiguration::importConfigData in catch - configData.allowSerialQuiescence = 0",
                    exiting));
  }
}

}  // namespace
