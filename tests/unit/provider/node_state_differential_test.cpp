// The restoring of node states compared with the rule in its plainest form, over many generated texts.
#include "qmfs_private_data.h"
#include "support/domains.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// What restoring a text gives; none of it counts when the text is too short.
struct Restored {
  bool tooShort = false;
  std::string options;
  std::vector<std::string> subObjects;
  std::string altObject = "old";

  bool operator==(const Restored&) const = default;
};

// The text between two tags, whose places are -1 where they are missing.
std::string between(const std::string& text, const std::string& open, const std::string& close) {
  const auto begin = static_cast<int>(text.find(open));
  const auto end = static_cast<int>(text.find(close));
  const auto tagLength = static_cast<int>(open.size());
  return text.substr(static_cast<std::size_t>(begin + tagLength), static_cast<std::size_t>(end - begin - tagLength));
}

Restored expected(const std::string& text) {
  Restored result;
  try {
    result.options = between(text, "<MNT_OPTS>", "</MNT_OPTS>");
    const std::string subObject = between(text, "<SUBOBJ>", "</SUBOBJ>");
    if (!subObject.empty()) {
      result.subObjects = {subObject};
    }
    if (text.find("<ALTOBJ>") != std::string::npos && text.find("</ALTOBJ>") != std::string::npos) {
      result.altObject = between(text, "<ALTOBJ>", "</ALTOBJ>");
    }
  } catch (const std::out_of_range&) {
    result = Restored();
    result.tooShort = true;
  }
  return result;
}

Restored restored(std::string text) {
  CQmFSPrivateData data(identifierOf("/data"), false);
  data.setAltObj("old");
  kfi_blob blob{text.size() + 1, text.data(), KFI_BLOB_TEXT, 0};
  Restored result;
  try {
    EXPECT_EQ(data.setNodeState(&blob), 0);
  } catch (const std::out_of_range&) {
    result.tooShort = true;
    return result;
  }
  result.options = data.getMntOpts();
  for (std::size_t i = 0; i < data.getSubObjectListLength(); ++i) {
    result.subObjects.emplace_back(data.getSubObjectList()[i]->vid_name);
  }
  result.altObject = data.getAltObj();
  return result;
}

TEST(NodeStateDifferential, AgreesWithThePlainRule) {
  constexpr std::uint32_t seed = 20261121;
  constexpr int texts = 20000;
  const std::vector<std::string> pieces = {"<MNT_OPTS>", "</MNT_OPTS>", "<SUBOBJ>",    "</SUBOBJ>", "<ALTOBJ>",
                                           "</ALTOBJ>",  "<",           "</",          "<MNT_OPTS", "SUBOBJ>",
                                           "rw,log",     "/dev/d",      "<<SUBOBJ>",   "\n",        "x",
                                           "</ALTOBJ",   "<mnt_opts>",  "<MNT_OPTS/>", ">",         "\xff"};
  std::mt19937 random(seed);
  int tooShort = 0;
  for (int i = 0; i < texts; ++i) {
    std::string text;
    for (std::uint32_t count = random() % 9; count > 0; --count) {
      text += pieces[random() % pieces.size()];
    }
    const Restored result = restored(text);
    ASSERT_EQ(result, expected(text)) << text;
    tooShort += result.tooShort ? 1 : 0;
  }
  // Both outcomes are well represented.
  EXPECT_GT(tooShort, texts / 100);
  EXPECT_LT(tooShort, texts / 2);
}

}  // namespace
