// Object identifiers: one for each name and kind.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kfi.h"

namespace {

TEST(ObjectIdentifierTest, HoldsACopyOfTheNameItsLengthAndItsKind) {
  std::string name = "/mnt/copied";
  const qmfi_objid* const identifier = qmfi_get_objid(name.c_str(), static_cast<uint32_t>(name.size()), 7);
  name[1] = 'X';
  ASSERT_NE(identifier, nullptr);
  EXPECT_STREQ(identifier->vid_name, "/mnt/copied");
  EXPECT_EQ(identifier->vid_length, 11U);
  EXPECT_EQ(identifier->vid_kind, 7);
}

TEST(ObjectIdentifierTest, IsTheSameForTheSameNameAndKind) {
  const char name[] = "/mnt/same";
  const qmfi_objid* const identifier = qmfi_get_objid(name, sizeof name - 1, 1);
  EXPECT_EQ(qmfi_get_objid(name, sizeof name, 1), identifier);
  EXPECT_EQ(qmfi_get_objid(name, 1000, 1), identifier);
  EXPECT_NE(qmfi_get_objid(name, sizeof name, 2), identifier);
  EXPECT_NE(qmfi_get_objid(name, sizeof name - 2, 1), identifier);
}

TEST(ObjectIdentifierTest, ReadsNotBeyondTheLength) {
  const char name[3] = {'/', 'a', 'b'};
  const qmfi_objid* const identifier = qmfi_get_objid(name, sizeof name, 1);
  ASSERT_NE(identifier, nullptr);
  EXPECT_STREQ(identifier->vid_name, "/ab");
}

TEST(ObjectIdentifierTest, IsNullForANullOrEmptyName) {
  EXPECT_EQ(qmfi_get_objid(nullptr, 5, 1), nullptr);
  EXPECT_EQ(qmfi_get_objid("", 1, 1), nullptr);
  EXPECT_EQ(qmfi_get_objid("/mnt", 0, 1), nullptr);
}

}  // namespace
