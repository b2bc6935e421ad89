// What a node's private data keeps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfiprivatedata.h"
#include "support/domains.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

class PrivateData : public testing::Test {
 protected:
  std::vector<std::string> hosts() const {
    std::vector<std::string> names;
    for (const ACE_String_Base<char>& name : m_data.getHostList()) names.emplace_back(name.c_str(), name.length());
    return names;
  }

  CFiPrivateData m_data{identifierOf("/mnt/data"), false};
};

TEST_F(PrivateData, StartsEmpty) {
  EXPECT_STREQ(m_data.getObjName(), "/mnt/data");
  EXPECT_EQ(m_data.getCount(), 0);
  EXPECT_FALSE(m_data.getIsAltNode());
  EXPECT_EQ(m_data.getSessionId(), "");
  EXPECT_EQ(m_data.getSplitType(), "");
  EXPECT_EQ(m_data.getConfiguredTarget(), "");
  EXPECT_THAT(m_data.getTargets(), IsEmpty());
  EXPECT_FALSE(m_data.getTransportable());
  EXPECT_THAT(hosts(), IsEmpty());
  EXPECT_EQ(m_data.getIntent(), 0);
  for (const int category : {0, 1}) {
    EXPECT_FALSE(m_data.hasConfigInfoList(category));
    EXPECT_FALSE(m_data.hasConfigDataList(category));
  }
  EXPECT_FALSE(m_data.traceLog());
}

TEST_F(PrivateData, EmptySubObjectListIsNull) {
  EXPECT_EQ(m_data.getSubObjectList(), nullptr);
  EXPECT_EQ(m_data.getSubObjectListLength(), 0U);
}

TEST_F(PrivateData, SubObjectsStandInTheOrderAdded) {
  qmfi_objid* const first = identifierOf("/dev/qm/dsk/g/one", 3);
  qmfi_objid* const second = identifierOf("/dev/qm/dsk/g/two", 3);
  m_data.addSubObject(first);
  m_data.addSubObject(second);
  m_data.addSubObject(first);
  ASSERT_EQ(m_data.getSubObjectListLength(), 3U);
  EXPECT_EQ(m_data.getSubObjectList()[0], first);
  EXPECT_EQ(m_data.getSubObjectList()[1], second);
  EXPECT_EQ(m_data.getSubObjectList()[2], first);
}

TEST_F(PrivateData, KeepsWhatItIsGiven) {
  m_data.setIsAltNode(true);
  m_data.setIntent(2);
  m_data.setTransportable(true);
  m_data.setSplitType("mirror");
  m_data.setSessionId("session");
  EXPECT_TRUE(m_data.getIsAltNode());
  EXPECT_EQ(m_data.getIntent(), 2);
  EXPECT_TRUE(m_data.getTransportable());
  EXPECT_EQ(m_data.getSplitType(), "mirror");
  EXPECT_EQ(m_data.getSessionId(), "session");
  m_data.setSplitType("");
  EXPECT_EQ(m_data.getSplitType(), "");
}

TEST_F(PrivateData, TargetsStandInTheOrderAdded) {
  m_data.addTarget("b");
  m_data.addTarget("a");
  m_data.addTarget("b");
  EXPECT_THAT(m_data.getTargets(), ElementsAre("b", "a", "b"));
}

TEST_F(PrivateData, HostsAreCopiedAndThoseWithoutANamePassedOver) {
  char first[] = "alpha";
  char second[] = "beta";
  char empty[] = "";
  kfi_host_info list[] = {{first, &list[1]}, {nullptr, &list[2]}, {empty, &list[3]}, {second, nullptr}};
  m_data.setHostList(list);
  first[0] = 'A';
  EXPECT_THAT(hosts(), ElementsAre("alpha", "", "beta"));
}

TEST_F(PrivateData, SecondHostListStandsBehindTheFirst) {
  char first[] = "alpha";
  char second[] = "beta";
  kfi_host_info firstList{first, nullptr};
  kfi_host_info secondList{second, nullptr};
  m_data.setHostList(&firstList);
  m_data.setHostList(&secondList);
  m_data.setHostList(&firstList);
  m_data.setHostList(nullptr);
  EXPECT_THAT(hosts(), ElementsAre("alpha", "beta", "alpha"));
}

TEST_F(PrivateData, HandsOutCopiesOfItsLists) {
  char host[] = "alpha";
  kfi_host_info list{host, nullptr};
  m_data.setHostList(&list);
  m_data.getHostList().clear();
  m_data.addTarget("a");
  m_data.getTargets().clear();
  EXPECT_THAT(hosts(), ElementsAre("alpha"));
  EXPECT_THAT(m_data.getTargets(), ElementsAre("a"));
}

TEST_F(PrivateData, ConfigurationListsOfACategoryAreMadeOnFirstUse) {
  CFiConfigDataList* const values = m_data.configDataList(1);
  ASSERT_NE(values, nullptr);
  EXPECT_TRUE(m_data.hasConfigDataList(1));
  EXPECT_FALSE(m_data.hasConfigDataList(0));
  EXPECT_FALSE(m_data.hasConfigInfoList(1));
  EXPECT_EQ(m_data.configDataList(1), values);
  ASSERT_NE(m_data.configInfoList(0), nullptr);
  EXPECT_TRUE(m_data.hasConfigInfoList(0));
  EXPECT_FALSE(m_data.hasConfigInfoList(1));
}

}  // namespace
