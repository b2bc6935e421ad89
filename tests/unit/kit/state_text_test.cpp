// The state of a node as a text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "cfistatetext.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;

// A blob that is given back at the end.
class StateText : public testing::Test {
 protected:
  ~StateText() override {
    if (m_blob.kb_buffer != nullptr) qmfi_free_buf(m_blob.kb_buffer, m_blob.kb_length);
  }

  kfi_blob m_blob{};
};

TEST_F(StateText, IsALineOfWordsWithAZeroByteBehindIt) {
  putStateText(m_blob, {"mine", "a b", "", "x\\y\tz\n!"});
  EXPECT_STREQ(m_blob.kb_buffer, "mine a\\040b  x\\134y\\011z\\012!");
  EXPECT_EQ(m_blob.kb_length, sizeof("mine a\\040b  x\\134y\\011z\\012!"));
  EXPECT_EQ(m_blob.kb_encoding, KFI_BLOB_TEXT);
}

TEST_F(StateText, GivesItsWordsBack) {
  putStateText(m_blob, {"", "a b", "", "x\\y\tz\n!", "\xff"});
  EXPECT_THAT(stateTextOf(m_blob), ElementsAre("", "a b", "", "x\\y\tz\n!", "\xff"));
}

TEST_F(StateText, EndsWithItsZeroByteOrWithTheBlob) {
  std::array<char, 6> text = {'o', 'n', 'e', '\0', 't', 'w'};
  kfi_blob blob{};
  blob.kb_buffer = text.data();
  blob.kb_length = text.size();
  EXPECT_THAT(stateTextOf(blob), ElementsAre("one"));
  blob.kb_length = 2;
  EXPECT_THAT(stateTextOf(blob), ElementsAre("on"));
}

}  // namespace
