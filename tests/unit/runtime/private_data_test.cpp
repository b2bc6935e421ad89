// The framework's part of private data.
#include <gtest/gtest.h>

#include "cfiprivatedata.h"

namespace {

using namespace qmfi_pdk_4_4;

class PrivateDataTest : public testing::Test {
 protected:
  char m_name[6] = "/data";
  qmfi_objid m_identifier{m_name, 5, 1};
  CFiPrivateData m_data{&m_identifier, false};
};

TEST_F(PrivateDataTest, MakesItsListsOnFirstUse) {
  for (const int category : {0, 1}) {
    EXPECT_FALSE(m_data.hasConfigInfoList(category));
    EXPECT_FALSE(m_data.hasConfigDataList(category));
    EXPECT_EQ(m_data.configInfoList(category), m_data.configInfoList(category));
    EXPECT_TRUE(m_data.configDataList(category)->empty());
    EXPECT_TRUE(m_data.hasConfigInfoList(category));
    EXPECT_TRUE(m_data.hasConfigDataList(category));
  }
  EXPECT_NE(m_data.configDataList(0), m_data.configDataList(1));
}

TEST_F(PrivateDataTest, AddsDefaultsWithoutReplacingValues) {
  CFiConfigParamInfoList infos;
  CFiConfigParamInfo info;
  info.name = "first";
  info.defaultValue = "1";
  infos.addParamInfo(info);
  info.name = "second";
  info.defaultValue = "2";
  info.choices = {"2", "3"};
  infos.addParamInfo(info);
  (*m_data.configDataList(1))["first"].value = "mine";
  m_data.addDefaultConfigParamsToDataList(1, &infos);
  m_data.addDefaultConfigParamsToDataList(1, nullptr);
  const CFiConfigDataList& list = *m_data.configDataList(1);
  ASSERT_EQ(list.size(), 2U);
  EXPECT_STREQ(list.at("first").value.c_str(), "mine");
  EXPECT_STREQ(list.at("second").value.c_str(), "2");
  EXPECT_EQ(list.at("second").choices, info.choices);
}

TEST_F(PrivateDataTest, KeepsTheSessionIdentifier) {
  m_data.setSessionId("session");
  EXPECT_EQ(m_data.getSessionId(), "session");
  m_data.setSessionId(nullptr);
  EXPECT_EQ(m_data.getSessionId(), "");
}

TEST_F(PrivateDataTest, SelectsOnlyATargetThatItHas) {
  std::string target = "other";
  m_data.setConfiguredTarget(target);
  m_data.selectTargetFromConfigData();
  EXPECT_EQ(m_data.getConfiguredTarget(), "other");
  (*m_data.configDataList(0))["another parameter"].value = "mine";
  m_data.selectTargetFromConfigData();
  EXPECT_EQ(m_data.getConfiguredTarget(), "other");
  (*m_data.configDataList(0))["target"].value = "disk2";
  m_data.addTarget("disk1");
  m_data.selectTargetFromConfigData();
  EXPECT_EQ(m_data.getConfiguredTarget(), "other");
  m_data.addTarget("disk2");
  m_data.selectTargetFromConfigData();
  EXPECT_EQ(m_data.getConfiguredTarget(), "disk2");
}

TEST_F(PrivateDataTest, KnowsNoState) {
  kfi_blob blob{};
  EXPECT_EQ(m_data.getNodeState(&blob), 0);
  EXPECT_EQ(blob.kb_buffer, nullptr);
  EXPECT_EQ(m_data.setNodeState(nullptr), 0);
}

}  // namespace
