// The configuration store and the XML form of parameter descriptions.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>

#include "cficonfigparam.h"
#include "cficonfiguration.h"
#include "support/environment.h"
#include "support/temporary_directory.h"

namespace {

using namespace qmfi_pdk_4_4;

class ConfigurationTest : public testing::Test {
 protected:
  // The value of a name in [INFO] of a store with the given text.
  std::optional<unsigned int> value(const std::string& store, const char* name) const {
    m_directory.write("sample.conf", store);
    CFiConfiguration configuration("sample");
    ACE_Configuration_Section_Key key;
    if (configuration.openSection("INFO", key, 0) != 0) return std::nullopt;
    unsigned int number = 4711;
    if (configuration.getIntegerValue(name, number) == 0) return number;
    EXPECT_EQ(number, 4711U);
    return std::nullopt;
  }

  TemporaryDirectory m_directory;
  EnvironmentVariable m_variable{"QMFI_CONF_DIR", m_directory.path()};
};

TEST_F(ConfigurationTest, ReadsDecimalIntegers) {
  const std::pair<const char*, std::optional<unsigned int>> cases[] = {{"10", 10U},
                                                                       {"0", 0U},
                                                                       {"007", 7U},
                                                                       {"4294967295", 4294967295U},
                                                                       {"4294967296", std::nullopt},
                                                                       {"-1", std::nullopt},
                                                                       {"+1", std::nullopt},
                                                                       {"0x10", std::nullopt},
                                                                       {"ten", std::nullopt},
                                                                       {"", std::nullopt},
                                                                       {"1 2", std::nullopt},
                                                                       {"10s", std::nullopt},
                                                                       {"\"10\"", std::nullopt}};
  for (const auto& [text, number] : cases) {
    EXPECT_EQ(value("[INFO]\nTIMEOUT=" + std::string(text) + "\n", "TIMEOUT"), number) << text;
  }
}

TEST_F(ConfigurationTest, ReadsWhatPeopleWrite) {
  const std::string store =
      "TIMEOUT=1\n# comment\n; comment\n\n[OTHER]\nTIMEOUT=2\n  [ INFO ]  \r\nnonsense\n\tTIMEOUT \t=  3 \r\n"
      "TIMEOUT2=4\n#TIMEOUT=5\n[BROKEN\nTIMEOUT=6\n[INFO]\nLAST=7";
  EXPECT_EQ(value(store, "TIMEOUT"), 3U);
  EXPECT_EQ(value(store, "TIMEOUT2"), 4U);
  EXPECT_EQ(value(store, "LAST"), 7U);
  EXPECT_EQ(value(store, "MISSING"), std::nullopt);
  EXPECT_EQ(value(store, nullptr), std::nullopt);
}

TEST_F(ConfigurationTest, TakesTheLastOfEqualNames) {
  EXPECT_EQ(value("[INFO]\nTIMEOUT=1\nTIMEOUT=2\n", "TIMEOUT"), 2U);
}

TEST_F(ConfigurationTest, MakesAMissingSectionOnlyWhenAsked) {
  CFiConfiguration configuration("sample");
  ACE_Configuration_Section_Key key;
  EXPECT_NE(configuration.openSection("INFO", key, 0), 0);
  EXPECT_NE(configuration.openSection(nullptr, key, 1), 0);
  unsigned int number = 4711;
  EXPECT_NE(configuration.getIntegerValue("TIMEOUT", number), 0);
  EXPECT_EQ(configuration.openSection("INFO", key, 1), 0);
  EXPECT_NE(configuration.getIntegerValue("TIMEOUT", number), 0);
  EXPECT_EQ(number, 4711U);
}

TEST_F(ConfigurationTest, IsEmptyForAStoreThatCannotBeRead) {
  const std::string store = "[INFO]\nTIMEOUT=1\n";
  EXPECT_EQ(value(store + std::string(std::size_t{2} << 20, '#'), "TIMEOUT"), std::nullopt);
  std::filesystem::remove(m_directory.file("sample.conf"));
  ASSERT_EQ(mkfifo(m_directory.file("sample.conf").c_str(), 0600), 0);
  CFiConfiguration pipe("sample");
  ACE_Configuration_Section_Key key;
  EXPECT_NE(pipe.openSection("INFO", key, 0), 0);
}

TEST_F(ConfigurationTest, IsEmptyForANameThatLeavesTheDirectory) {
  m_directory.write("sample.conf", "[INFO]\nTIMEOUT=1\n");
  for (const std::string& name :
       {std::string(), "../" + std::filesystem::path(m_directory.path()).filename().string() + "/sample"}) {
    CFiConfiguration configuration(name.c_str());
    ACE_Configuration_Section_Key key;
    EXPECT_NE(configuration.openSection("INFO", key, 0), 0);
  }
}

TEST(ConfigParamInfoListTest, KeepsItsXmlFormInStep) {
  CFiConfigParamInfoList list;
  CFiConfigParamInfo info;
  info.name = "qmfsFreezeTimeout";
  info.flag = 1;
  info.defaultValue = "2";
  EXPECT_EQ(list.addParamInfo(info), 0);
  info.name = "a&\"<b>'\n\x01";
  info.choices = {"x<y", ""};
  EXPECT_EQ(list.addParamInfo(info), 0);
  EXPECT_EQ(
      list.getXML(),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<parameters>\n"
      "  <parameter name=\"a&amp;&quot;&lt;b&gt;&apos;&#10;\" description=\"\" type=\"6\" access=\"3\" flag=\"1\" "
      "default=\"2\" minimum=\"0\" maximum=\"0\">\n"
      "    <choice>x&lt;y</choice>\n"
      "    <choice></choice>\n"
      "  </parameter>\n"
      "  <parameter name=\"qmfsFreezeTimeout\" description=\"\" type=\"6\" access=\"3\" flag=\"1\" "
      "default=\"2\" minimum=\"0\" maximum=\"0\">\n"
      "  </parameter>\n"
      "</parameters>\n");
}

}  // namespace
