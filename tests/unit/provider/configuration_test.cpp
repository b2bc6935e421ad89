// The provider's settings, read from files of the framework's store.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qmfs_configuration.h"
#include "support/environment.h"
#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace {

using testing::ElementsAre;

class Configuration : public testing::Test {
 protected:
  TuningParameters import() {
    CQmFSConfiguration configuration("qmfsfi");
    configuration.registerTraceLog(m_capture.log());
    return configuration.importConfigData();
  }

  void write(const std::string& text) { m_directory.write("qmfsfi.conf", text); }

  TemporaryDirectory m_directory;
  EnvironmentVariable m_place{"QMFI_CONF_DIR", m_directory.path()};
  TraceCapture m_capture;
};

struct ConfigurationCase {
  const char* text;
  int timeout;
  int serial;
};

TEST_F(Configuration, HasADefaultForEachMissingValue) {
  const ConfigurationCase cases[] = {
      {"", 2, 0},
      {"[QUIESCENCE_INFO]\n", 2, 0},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT = 10\n", 10, 0},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_SERIAL_QUIESCENCE = 1\n", 2, 1},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=600\nQUIESCENCE_SERIAL_QUIESCENCE=7\n", 600, 7},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=0\n", 0, 0},
      // Of another section.
      {"[OTHER]\nQUIESCENCE_TIMEOUT = 10\n", 2, 0},
      {"QUIESCENCE_TIMEOUT = 10\n[QUIESCENCE_INFO]\n", 2, 0},
      // No decimal numbers.
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT = ten\nQUIESCENCE_SERIAL_QUIESCENCE = 1x\n", 2, 0},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT = -1\nQUIESCENCE_SERIAL_QUIESCENCE = 99999999999\n", 2, 0},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT =\n", 2, 0},
  };
  for (const ConfigurationCase& c : cases) {
    write(c.text);
    const TuningParameters parameters = import();
    EXPECT_EQ(parameters.quiescenceTimeout, c.timeout) << c.text;
    EXPECT_EQ(parameters.allowSerialQuiescence, c.serial) << c.text;
  }
}

constexpr const char* entering = "L6 Entering Function importConfigData [line, qmfs_configuration.cpp]";
constexpr const char* opened = "L6 CQmFSConfiguration::importConfigData - Successfully opend section QUIESCENCE_INFO";
constexpr const char* exiting = "L6 Exiting Function importConfigData [line, qmfs_configuration.cpp]";

TEST_F(Configuration, TracesWhatItFindsAndWhatItMisses) {
  write("[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT = 10\nQUIESCENCE_SERIAL_QUIESCENCE = 1\n");
  import();
  EXPECT_THAT(
      withoutLineNumbers(m_capture.records()),
      ElementsAre(entering, opened,
                  "L6 CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = 10",
                  "L6 CQmFSConfiguration::importConfigData From File - configData.allowSerialQuiescence = 1", exiting));
}

TEST_F(Configuration, MissingStoreIsTracedAsMissingValues) {
  import();
  EXPECT_THAT(
      withoutLineNumbers(m_capture.records()),
      ElementsAre(entering, opened,
                  "L6 CQmFSConfiguration::importConfigData - could not find value for  QUIESCENCE_TIMEOUT",
                  "L6 CQmFSConfiguration::importConfigData - could not find value for QUIESCENCE_SERIAL_QUIESCENCE",
                  "L6 CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = 2",
                  "L6 CQmFSConfiguration::importConfigData From File - configData.allowSerialQuiescence = 0", exiting));
}

}  // namespace
