// The mount options that a node keeps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "qmfs_private_data.h"
#include "support/domains.h"
#include "support/provider_model.h"
#include "support/trace_capture.h"

namespace {

using testing::ElementsAre;

struct OptionCase {
  const char* options;
  const char* filtered;
};

TEST(MountOptions, LoseTheLogWhenTheyAreReadOnly) {
  const OptionCase cases[] = {
      {"rw,log,delaylog", "rw,log,delaylog"},
      {"ro,log,delaylog", "ro,delaylog"},
      {"log,ro", "ro"},
      {"log,ro,log", "ro"},
      {"ro", "ro"},
      {"log", "log"},
      {"ro,ro", "ro,ro"},
      {"", ""},
      // Only the exact words count.
      {"RO,log", "RO,log"},
      {"ro,LOG", "ro,LOG"},
      {"ro,log=x", "ro,log=x"},
      {"ro=1,log", "ro=1,log"},
      {"rofoo,log", "rofoo,log"},
      {"ro,delaylog,nolog,logx", "ro,delaylog,nolog,logx"},
      {"ro, log", "ro, log"},
      {" ro,log", " ro,log"},
      // Empty options between commas vanish.
      {",", ""},
      {",,,", ""},
      {"rw,,log", "rw,log"},
      {",ro,,log,", "ro"},
      {"b,a,b", "b,a,b"},
  };
  for (const OptionCase& c : cases) {
    EXPECT_EQ(filterMountOptions(c.options), c.filtered) << c.options;
  }
}

TEST(MountOptions, FollowTheRuleForEveryShortList) {
  const std::vector<std::string> words = {"ro", "log", "rw", "RO", "log=x", "delaylog", ""};
  constexpr std::size_t longest = 4;
  std::vector<std::vector<std::string>> lists = {{}};
  for (std::size_t next = 0; next < lists.size(); ++next) {
    const std::vector<std::string> list = lists[next];
    std::string text;
    for (const std::string& option : list) text += option + ",";
    const std::string withoutLastComma = text.substr(0, text.empty() ? 0 : text.size() - 1);
    ASSERT_EQ(filterMountOptions(withoutLastComma), provider_model::keptOptions(list)) << withoutLastComma;
    ASSERT_EQ(filterMountOptions(text), provider_model::keptOptions(list)) << text;
    for (const std::string& word : words) {
      if (list.size() < longest) {
        lists.push_back(list);
        lists.back().push_back(word);
      }
    }
  }
  EXPECT_EQ(lists.size(), 1U + 7 + 7 * 7 + 7 * 7 * 7 + 7 * 7 * 7 * 7);
}

class KeptMountOptions : public testing::Test {
 protected:
  KeptMountOptions() { m_data.registerTraceLog(m_capture.log()); }

  TraceCapture m_capture;
  CQmFSPrivateData m_data{identifierOf("/data"), false};
};

TEST_F(KeptMountOptions, AreFilteredAndTraced) {
  m_data.setMntOpts("ro,log,delaylog");
  EXPECT_EQ(m_data.getMntOpts(), "ro,delaylog");
  EXPECT_THAT(withoutLineNumbers(m_capture.records()),
              ElementsAre("L6 Entering Function setMntOpts [line, qmfs_private_data.cpp]",
                          "L3 Got mount options for filtering: ro,log,delaylog",
                          "L3 Setting filtered mount options: ro,delaylog",
                          "L6 Exiting Function setMntOpts [line, qmfs_private_data.cpp]"));
}

TEST_F(KeptMountOptions, StayWhenThereAreNone) {
  m_data.setMntOpts("rw");
  const std::size_t before = m_capture.records().size();
  m_data.setMntOpts(nullptr);
  EXPECT_EQ(m_data.getMntOpts(), "rw");
  auto records = withoutLineNumbers(m_capture.records());
  records.erase(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(before));
  EXPECT_THAT(records, ElementsAre("L6 Entering Function setMntOpts [line, qmfs_private_data.cpp]",
                                   "L3 CQmFSPrivateData::setMntOpts no mount options are specified",
                                   "L6 Exiting Function setMntOpts [line, qmfs_private_data.cpp]"));
}

TEST_F(KeptMountOptions, AreReplacedByEmptyOnes) {
  m_data.setMntOpts("rw");
  m_data.setMntOpts("");
  EXPECT_EQ(m_data.getMntOpts(), "");
}

}  // namespace
