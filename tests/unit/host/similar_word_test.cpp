// Which word a mistyped one is taken for.
#include "cli/similar_word.h"

#include <gtest/gtest.h>

namespace qmfi_host {
namespace {

TEST(SimilarWord, IsTheOneThatDiffersLeast) {
  const std::vector<std::string> commands = {"create", "list", "show", "delete", "mount", "unmount"};
  EXPECT_EQ(similarWord("creaet", commands), "create");
  EXPECT_EQ(similarWord("lst", commands), "list");
  EXPECT_EQ(similarWord("hsow", commands), "show");
  EXPECT_EQ(similarWord("deleted", commands), "delete");
  EXPECT_EQ(similarWord("umount", commands), "mount");
  EXPECT_EQ(similarWord("--forse", {"--name", "--force"}), "--force");
}

TEST(SimilarWord, IsNoneThatDiffersByMore) {
  EXPECT_EQ(similarWord("nonsense", {"create", "list"}), std::nullopt);
  EXPECT_EQ(similarWord("abcate", {"create"}), std::nullopt);
  EXPECT_EQ(similarWord("li", {"show", "list"}), std::nullopt);
  EXPECT_EQ(similarWord("", {"list"}), std::nullopt);
  EXPECT_EQ(similarWord("word", {}), std::nullopt);
}

}  // namespace
}  // namespace qmfi_host
