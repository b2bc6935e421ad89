// Names of devices and mount points.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include "qmfs_plugin.h"
#include "support/environment.h"
#include "support/trace_capture.h"

namespace {

using testing::ElementsAre;

// What this program takes for the time of day; none for the real one.
std::optional<std::time_t> fixedTime;

}  // namespace

extern "C" std::time_t time(std::time_t* out) noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  const std::time_t seconds = fixedTime.value_or(now.tv_sec);
  if (out != nullptr) *out = seconds;
  return seconds;
}

namespace {

class Names : public testing::Test {
 protected:
  Names() { m_plugin.registerTraceLog(m_capture.log()); }
  ~Names() override { fixedTime.reset(); }

  std::string rawDevice(std::string device) {
    m_plugin.convertBlockToRawDevice(device);
    return device;
  }
  std::string blockDevice(std::string device) {
    m_plugin.convertRawToBlockDevice(device);
    return device;
  }
  std::string generated(const std::string& name) {
    std::string result = "left over";
    m_plugin.generateName(name, result);
    return result;
  }

  // The stamp of a time in a zone.
  std::string stampIn(const char* zone, std::time_t time) {
    const EnvironmentVariable variable("TZ", zone);
    ::tzset();
    fixedTime = time;
    return m_plugin.getTime();
  }

  TraceCapture m_capture;
  CQmFSPlugin m_plugin;
};

TEST_F(Names, BlockDevicesBecomeRawOnes) {
  EXPECT_EQ(rawDevice("/dev/qm/dsk/dg1/vol1"), "/dev/qm/rdsk/dg1/vol1");
  EXPECT_EQ(rawDevice("/dev/qm/d"), "/dev/qm/rd");
  EXPECT_EQ(rawDevice("/dev/qm/rdsk/dg1/vol1"), "/dev/qm/rdsk/dg1/vol1");
  EXPECT_EQ(rawDevice("/dev/sda1"), "/dev/sda1");
  EXPECT_EQ(rawDevice("/dev/qm/"), "/dev/qm/");
  EXPECT_EQ(rawDevice(""), "");
}

TEST_F(Names, RawDevicesBecomeBlockOnes) {
  EXPECT_EQ(blockDevice("/dev/qm/rdsk/dg1/vol1"), "/dev/qm/dsk/dg1/vol1");
  EXPECT_EQ(blockDevice("/dev/qm/rd"), "/dev/qm/d");
  EXPECT_EQ(blockDevice("/dev/qm/dsk/dg1/vol1"), "/dev/qm/dsk/dg1/vol1");
  EXPECT_EQ(blockDevice("/dev/qm/r"), "/dev/qm/r");
  EXPECT_EQ(blockDevice(""), "");
}

TEST_F(Names, PrefixAnywhereReplacesTheFirstCharacters) {
  EXPECT_EQ(rawDevice("/x/dev/qm/dsk/v"), "/dev/qm/rd/dsk/v");
  EXPECT_EQ(blockDevice("/x/dev/qm/rdsk/v"), "/dev/qm/drdsk/v");
}

TEST_F(Names, ConversionsAreTracedByTheirScopesOnly) {
  rawDevice("/dev/qm/dsk/v");
  blockDevice("/dev/qm/rdsk/v");
  EXPECT_THAT(withoutLineNumbers(m_capture.records()),
              ElementsAre("L6 Entering Function convertBlockToRawDevice [line, qmfs_plugin_names.cpp]",
                          "L6 Exiting Function convertBlockToRawDevice [line, qmfs_plugin_names.cpp]",
                          "L6 Entering Function convertRawToBlockDevice [line, qmfs_plugin_names.cpp]",
                          "L6 Exiting Function convertRawToBlockDevice [line, qmfs_plugin_names.cpp]"));
}

TEST_F(Names, GeneratedNameIsTheLastComponentAtTheTop) {
  EXPECT_EQ(generated("/mnt/a/b"), "/b");
  EXPECT_EQ(generated("abc"), "/abc");
  EXPECT_EQ(generated("/abc"), "/abc");
  EXPECT_EQ(generated("a/b"), "/b");
  EXPECT_EQ(generated("/mnt/a/"), "/");
  EXPECT_EQ(generated("/"), "/");
  EXPECT_EQ(generated("//"), "/");
  EXPECT_EQ(generated(""), "/");
  EXPECT_EQ(generated("/dev/qm/dsk/g/v 1"), "/v 1");
}

TEST_F(Names, NameIsGeneratedInPlace) {
  std::string name = "/mnt/a/b";
  m_plugin.generateName(name, name);
  EXPECT_EQ(name, "/b");
}

TEST_F(Names, GenerationIsTraced) {
  generated("/mnt/a/b");
  EXPECT_THAT(withoutLineNumbers(m_capture.records()),
              ElementsAre("L6 Entering Function generateName [line, qmfs_plugin_names.cpp]",
                          "L6 CQmFSPlugin::generateName recieved name : /mnt/a/b",
                          "L6 CQmFSPlugin::generateName generated name : /b",
                          "L6 Exiting Function generateName [line, qmfs_plugin_names.cpp]"));
}

TEST_F(Names, TimeStampIsLocal) {
  // 2026-11-15 14:15:30 UTC.
  constexpr std::time_t afternoon = 1794752130;
  EXPECT_EQ(stampIn("UTC0", afternoon), "15112026141530");
  EXPECT_EQ(stampIn("EST5", afternoon), "15112026091530");
  EXPECT_EQ(stampIn("XXX-14", afternoon), "16112026041530");
  EXPECT_EQ(stampIn("UTC0", 0), "01011970000000");
  // Summer time begins on the last Sunday of March.
  EXPECT_EQ(stampIn("CET-1CEST,M3.5.0,M10.5.0/3", 1774746000), "29032026030000");
}

TEST_F(Names, TimeStampsOfOneSecondAreEqual) {
  const std::string first = stampIn("UTC0", 1794752130);
  EXPECT_EQ(m_plugin.getTime(), first);
  fixedTime = 1794752131;
  EXPECT_NE(m_plugin.getTime(), first);
}

TEST_F(Names, TimeStampNeverOutgrowsItsFourteenCharacters) {
  // The first second of the year 10000.
  EXPECT_EQ(stampIn("UTC0", 253402300800).size(), 14U);
}

// A path list that gives back what the framework would.
class PathList {
 public:
  PathList() = default;
  PathList(const PathList&) = delete;
  PathList& operator=(const PathList&) = delete;
  ~PathList() {
    if (m_paths != nullptr) {
      qmfi_free_buf(m_paths[0], std::strlen(m_paths[0]) + 1);
      std::free(m_paths);
    }
  }

  char*** place() { return &m_paths; }
  char** get() const { return m_paths; }

 private:
  char** m_paths = nullptr;
};

TEST_F(Names, PathIsHandedOutInAnArrayOfOne) {
  for (const char* const path : {"/mnt/data", "/", ""}) {
    PathList list;
    int count = 0;
    EXPECT_EQ(m_plugin.createPathAndAllocBuffer(path, list.place(), &count), 0);
    EXPECT_EQ(count, 1);
    ASSERT_NE(list.get(), nullptr);
    EXPECT_STREQ(list.get()[0], path);
  }
}

TEST(ObjectIdentifier, IsTheFrameworksOfThatNameAndOfKindOne) {
  qmfi_objid* object = nullptr;
  EXPECT_EQ(fipgn_get_objid("/mnt/data", &object), 0);
  ASSERT_NE(object, nullptr);
  EXPECT_STREQ(object->vid_name, "/mnt/data");
  EXPECT_EQ(object->vid_length, 9U);
  EXPECT_EQ(object->vid_kind, 1);
  qmfi_objid* again = nullptr;
  EXPECT_EQ(fipgn_get_objid("/mnt/data", &again), 0);
  EXPECT_EQ(again, object);
}

TEST(ObjectIdentifier, OfNoNameIsOneAndTouchesNothing) {
  qmfi_objid other{};
  qmfi_objid* object = &other;
  EXPECT_EQ(fipgn_get_objid("", &object), 1);
  EXPECT_EQ(fipgn_get_objid(nullptr, &object), 1);
  EXPECT_EQ(fipgn_get_objid("/mnt/data", nullptr), 1);
  EXPECT_EQ(object, &other);
}

}  // namespace
