// Descriptions of configuration parameters.
#include <gtest/gtest.h>

#include <string>

#include "cficonfigparam.h"

namespace {

using namespace qmfi_pdk_4_4;

TEST(ConfigParamInfo, FreshOneHasItsFixedNumbers) {
  const CFiConfigParamInfo info;
  EXPECT_EQ(info.name, "");
  EXPECT_EQ(info.description, "");
  EXPECT_EQ(info.type, 6);
  EXPECT_EQ(info.access, 3);
  EXPECT_EQ(info.flag, 0);
  EXPECT_TRUE(info.choices.empty());
  EXPECT_EQ(info.defaultValue, "");
  EXPECT_EQ(info.minimum, 0);
  EXPECT_EQ(info.maximum, 0);
}

TEST(ConfigParamInfoList, StoresACopyUnderItsName) {
  CFiConfigParamInfo info{"timeout", "how long", 1, 2, 4, {"a", "b"}, "2", -5, 60};
  CFiConfigParamInfoList list;
  EXPECT_EQ(list.addParamInfo(info), 0);
  info = CFiConfigParamInfo();
  const CFiConfigParamInfo* const stored = list.find("timeout");
  ASSERT_NE(stored, nullptr);
  EXPECT_EQ(stored->name, "timeout");
  EXPECT_EQ(stored->description, "how long");
  EXPECT_EQ(stored->type, 1);
  EXPECT_EQ(stored->access, 2);
  EXPECT_EQ(stored->flag, 4);
  EXPECT_EQ(stored->choices, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(stored->defaultValue, "2");
  EXPECT_EQ(stored->minimum, -5);
  EXPECT_EQ(stored->maximum, 60);
  EXPECT_EQ(list.find("Timeout"), nullptr);
}

TEST(ConfigParamInfoList, LaterDescriptionReplacesTheWholeEarlierOne) {
  CFiConfigParamInfoList list;
  list.addParamInfo({"timeout", "how long", 1, 2, 4, {"a"}, "2", -5, 60});
  CFiConfigParamInfo later;
  later.name = "timeout";
  list.addParamInfo(later);
  EXPECT_EQ(list.infos().size(), 1U);
  EXPECT_EQ(list.find("timeout")->description, "");
  EXPECT_EQ(list.find("timeout")->type, 6);
  EXPECT_TRUE(list.find("timeout")->choices.empty());
}

TEST(ConfigParamInfoList, KeepsItsXmlInStep) {
  CFiConfigParamInfoList list;
  list.addParamInfo({"first", "", 6, 3, 0, {}, "", 0, 0});
  const std::string before = list.getXML();
  EXPECT_NE(before.find("first"), std::string::npos);
  list.addParamInfo({"second", "", 6, 3, 0, {}, "", 0, 0});
  EXPECT_EQ(before.find("second"), std::string::npos);
  EXPECT_NE(list.getXML().find("second"), std::string::npos);
}

}  // namespace
