// The restoring of node states compared with the rule in its plainest form, over many generated texts.
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "qmfs_private_data.h"
#include "support/domains.h"
#include "support/provider_model.h"

namespace {

using provider_model::NodeState;
using provider_model::restoredState;

NodeState restored(std::string text) {
  CQmFSPrivateData data(identifierOf("/data"), false);
  data.setAltObj("old");
  kfi_blob blob{text.size() + 1, text.data(), KFI_BLOB_TEXT, 0};
  NodeState result;
  try {
    EXPECT_EQ(data.setNodeState(&blob), 0);
  } catch (const std::out_of_range&) {
    result.tooShort = true;
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
    for (std::uint32_t count = random() % 9; count > 0; --count) text += pieces[random() % pieces.size()];
    const NodeState result = restored(text);
    ASSERT_EQ(result, restoredState(text, "old")) << text;
    tooShort += result.tooShort ? 1 : 0;
  }
  // Both outcomes are well represented.
  EXPECT_GT(tooShort, texts / 100);
  EXPECT_LT(tooShort, texts / 2);
}

}  // namespace
