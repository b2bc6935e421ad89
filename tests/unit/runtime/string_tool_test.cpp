// String operations and the splitting of option strings.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "cfiformatoptionlist.h"
#include "cfistringtool.h"

namespace {

using qmfi_pdk_4_4::CFiFormatOptionList;
using qmfi_pdk_4_4::CFiStringTool;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(StringToolTest, TrimsTheGivenCharactersOnly) {
  const std::string blanks = " \n\t\r";
  EXPECT_EQ(CFiStringTool::trim(" \t/data one\r\n", blanks), "/data one");
  EXPECT_EQ(CFiStringTool::trim(" \t ", blanks), "");
  EXPECT_EQ(CFiStringTool::trim("", blanks), "");
  EXPECT_EQ(CFiStringTool::trim(" a ", ""), " a ");
  EXPECT_EQ(CFiStringTool::rtrim(" /data// ", "/ "), " /data");
  EXPECT_EQ(CFiStringTool::rtrim("///", "/"), "");
  EXPECT_EQ(CFiStringTool::rtrim("", "/"), "");
}

TEST(StringToolTest, SplitsIntoNonEmptyPieces) {
  EXPECT_THAT(CFiStringTool::tokenize("rw,,ro; x,", ",;"), ElementsAre("rw", "ro", " x"));
  EXPECT_THAT(CFiStringTool::tokenize("rw", ","), ElementsAre("rw"));
  EXPECT_THAT(CFiStringTool::tokenize(",,", ","), IsEmpty());
  EXPECT_THAT(CFiStringTool::tokenize("", ","), IsEmpty());
  EXPECT_THAT(CFiStringTool::tokenize("a b", ""), ElementsAre("a b"));
}

TEST(StringToolTest, ConvertsStringsWithNulsInside) {
  const std::string text("a\0b", 3);
  const ACE_String_Base<char> converted = CFiStringTool::str2tstr(text);
  EXPECT_EQ(converted.length(), 3U);
  EXPECT_EQ(CFiStringTool::tstr2str(converted), text);
  EXPECT_EQ(CFiStringTool::tstr2str(CFiStringTool::str2tstr("")), "");
}

TEST(StringToolTest, JoinsWithTheSeparatorBehindEachElement) {
  EXPECT_EQ(CFiStringTool::vec2str({"x", "y"}, ","), "x,y,");
  EXPECT_EQ(CFiStringTool::vec2str({}, ","), "");
  EXPECT_EQ(CFiStringTool::vec2str({"x", "", "y"}, ""), "xy");
}

TEST(StringToolTest, ReadsTheLeadingNumber) {
  const std::pair<const char*, int> cases[] = {{"0", 0},
                                               {"42", 42},
                                               {" \t\n+7x", 7},
                                               {"-7", -7},
                                               {"12.5", 12},
                                               {"007", 7},
                                               {"", 0},
                                               {"x1", 0},
                                               {"-", 0},
                                               {"+", 0},
                                               {"+-1", 0},
                                               {"- 1", 0},
                                               {"0x10", 0},
                                               {"--1", 0},
                                               {"2147483647", INT_MAX},
                                               {"2147483648", INT_MAX},
                                               {"99999999999999999999", INT_MAX},
                                               {"-2147483648", INT_MIN},
                                               {"-2147483649", INT_MIN},
                                               {"-99999999999999999999x", INT_MIN}};
  for (const auto& [text, number] : cases) EXPECT_EQ(CFiStringTool::str2int(text), number) << text;
}

TEST(StringToolTest, FindsATextInsideALine) {
  EXPECT_TRUE(CFiStringTool::find({"one", "device is busy"}, "busy"));
  EXPECT_FALSE(CFiStringTool::find({"device is Busy"}, "busy"));
  EXPECT_FALSE(CFiStringTool::find({"bu", "sy"}, "busy"));
  EXPECT_FALSE(CFiStringTool::find({}, ""));
  EXPECT_TRUE(CFiStringTool::find({""}, ""));
}

TEST(FormatOptionListTest, SplitsPairsAndKeepsTheFirstOfEqualKeys) {
  EXPECT_THAT(CFiFormatOptionList::parse("mountOptions=rw,a=b;;flag;mountOptions=ro; x = y ;=z;empty="),
              ElementsAre(Pair("", "z"), Pair(" x ", " y "), Pair("empty", ""), Pair("flag", ""),
                          Pair("mountOptions", "rw,a=b")));
  EXPECT_THAT(CFiFormatOptionList::parse(""), IsEmpty());
  EXPECT_THAT(CFiFormatOptionList::parse(";;"), IsEmpty());
}

}  // namespace
