// The text form of message arguments.
#include <gtest/gtest.h>

#include <limits>

#include "cfimessage.h"

namespace {

using namespace qmfi_pdk_4_4;
using icu::Formattable;
using icu::UnicodeString;

std::string serialized(const std::vector<Formattable>& arguments) {
  const CFiMessageSPtr message(
      new CFiIcuMessage("ID", arguments.data(), static_cast<int>(arguments.size()), KFI_SEVERITY_ERROR, "file.cpp", 1));
  return static_cast<const CFiIcuMessage&>(*message).serialize();
}

std::vector<Formattable> deserialized(const char* text) {
  std::string copy(text);
  kfi_msg_info record{};
  record.kmi_args = copy.data();
  const CFiMessageSPtr message = CFiIcuMessage::deserialize(&record);
  return static_cast<const CFiIcuMessage&>(*message).getArguments();
}

TEST(IcuMessageTest, WritesItsArgumentsOnOneLine) {
  EXPECT_EQ(serialized({}), "[]");
  EXPECT_EQ(serialized({Formattable(UnicodeString(u"a \"b\"\n\u00fc")), Formattable(42), Formattable(-1.5)}),
            "[\"a \\\"b\\\"\\n\u00fc\",42,-1.5]");
}

TEST(IcuMessageTest, ReadsBackWhatItWrote) {
  const std::vector<Formattable> arguments = {
      Formattable(UnicodeString()),
      Formattable(UnicodeString(u"K\u00f6ln, \U0001f40c {0} 'x'\t\u0001")),
      Formattable(0),
      Formattable(std::numeric_limits<std::int32_t>::min()),
      Formattable(std::numeric_limits<std::int32_t>::max()),
      Formattable(std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1),
      Formattable(std::numeric_limits<std::int64_t>::min()),
      Formattable(std::numeric_limits<std::int64_t>::max()),
      Formattable(5.0),
      Formattable(0.1),
      Formattable(-1e300),
  };
  EXPECT_TRUE(deserialized(serialized(arguments).c_str()) == arguments) << serialized(arguments);
}

TEST(IcuMessageTest, WritesNothingThatIsNotText) {
  const Formattable list[] = {Formattable(1), Formattable(2)};
  EXPECT_EQ(serialized({Formattable(list, 2), Formattable(3)}), "[null,3]");
  EXPECT_EQ(serialized({Formattable(std::numeric_limits<double>::infinity())}), "[null]");
  EXPECT_EQ(serialized({Formattable(UnicodeString(char16_t{0xd800}))}), "[\"\xef\xbf\xbd\"]");
}

TEST(IcuMessageTest, HasNoArgumentsWhenTheTextIsOfAnotherForm) {
  for (const char* const text : {"", "x", "[", "[1", "[1,]", "{\"a\":1}", "\"a\"", "1", "null", "[\"\xff\"]", "[1]2"}) {
    EXPECT_TRUE(deserialized(text).empty()) << text;
  }
  const std::string nested(100000, '[');
  EXPECT_TRUE(deserialized(nested.c_str()).empty());
}

TEST(IcuMessageTest, TakesValuesThatAreNoArgumentsForEmptyTexts) {
  const std::vector<Formattable> arguments = deserialized("[true,[1],{\"a\":2},null,7,18446744073709551615]");
  ASSERT_EQ(arguments.size(), 6U);
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(arguments[i] == Formattable(UnicodeString())) << i;
  EXPECT_TRUE(arguments[4] == Formattable(7));
  EXPECT_TRUE(arguments[5] == Formattable(18446744073709551615.0));
}

TEST(IcuMessageTest, RebuildsARecord) {
  char id[] = "MSG_ERROR_FREEZE";
  char args[] = "[\"/data\"]";
  char file[] = "qmfs_plugin_quiesce.cpp";
  kfi_msg_info record{id, args, file, 77, KFI_SEVERITY_UNHANDLED_EXCEPTION, nullptr, nullptr};
  const CFiMessageSPtr message = CFiIcuMessage::deserialize(&record);
  ASSERT_TRUE(message);
  EXPECT_EQ(message->getMessageId(), "MSG_ERROR_FREEZE");
  EXPECT_EQ(message->getFileName(), "qmfs_plugin_quiesce.cpp");
  EXPECT_EQ(message->getLineNumber(), 77);
  EXPECT_EQ(message->getSeverity(), KFI_SEVERITY_UNHANDLED_EXCEPTION);
  EXPECT_EQ(static_cast<const CFiIcuMessage&>(*message).serialize(), "[\"/data\"]");
}

TEST(IcuMessageTest, RebuildsAnEmptyRecord) {
  kfi_msg_info record{};
  const CFiMessageSPtr message = CFiIcuMessage::deserialize(&record);
  ASSERT_TRUE(message);
  EXPECT_EQ(message->getMessageId(), "");
  EXPECT_EQ(message->getFileName(), "");
}

}  // namespace
