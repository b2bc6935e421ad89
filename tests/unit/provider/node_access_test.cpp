// What operations check before they use a name.
#include <gtest/gtest.h>

#include <string>

#include "qmfs_node_access.h"
#include "support/domains.h"

namespace {

using namespace qmfi_pdk_4_4;

TEST(NonEmptyOrNull, IsNullForANameThatIsEmpty) {
  const char* const name = "/dev/one";
  EXPECT_EQ(nonEmptyOrNull(name), name);
  EXPECT_EQ(nonEmptyOrNull(""), nullptr);
  EXPECT_EQ(nonEmptyOrNull(nullptr), nullptr);
}

TEST(CommandOptions, MayBeAnythingButTheBarThatBeginsAnotherProgram) {
  for (const char* const options : {"", " ", "ro", "rw  -o ro", "-o x", "a\nb", "||", "rw|", "|rw", "a\n|\nb"}) {
    EXPECT_TRUE(areCommandOptions(options)) << options;
  }
  for (const char* const options : {"|", " |", "| ", "rw | x", "rw\t|", "|\trw", "rw |  | x"}) {
    EXPECT_FALSE(areCommandOptions(options)) << options;
  }
}

TEST(FirstName, IsThatOfTheFirstObject) {
  qmfi_objid* objects[] = {identifierOf("/dev/one"), identifierOf("/dev/two")};
  EXPECT_STREQ(firstName(objects), "/dev/one");
  char empty[] = "";
  qmfi_objid emptyName{empty, 0, 1};
  qmfi_objid* emptyNames[] = {&emptyName, identifierOf("/dev/two")};
  EXPECT_STREQ(firstName(emptyNames), "");
}

TEST(FirstName, IsMissingWithTheObject) {
  qmfi_objid nameless{};
  qmfi_objid* none[] = {nullptr};
  qmfi_objid* noName[] = {&nameless};
  EXPECT_EQ(firstName(nullptr), nullptr);
  EXPECT_EQ(firstName(none), nullptr);
  EXPECT_EQ(firstName(noName), nullptr);
}

TEST(DeviceOfANode, IsItsFirstSubObject) {
  EXPECT_EQ(deviceOf(CFiPrivateDataSPtr()), nullptr);
  const CFiPrivateDataSPtr data(new CQmFSPrivateData(identifierOf("/data"), false));
  EXPECT_EQ(deviceOf(data), nullptr);
  data->addSubObject(identifierOf("/dev/one", 3));
  data->addSubObject(identifierOf("/dev/two", 3));
  EXPECT_STREQ(deviceOf(data), "/dev/one");
}

TEST(DeviceOfANode, MayHaveAnEmptyNameButNotNone) {
  char empty[] = "";
  for (char* const name : {empty, static_cast<char*>(nullptr)}) {
    qmfi_objid first{name, 0, 3};
    const CFiPrivateDataSPtr data(new CQmFSPrivateData(identifierOf("/data"), false));
    data->addSubObject(&first);
    data->addSubObject(identifierOf("/dev/two", 3));
    EXPECT_EQ(deviceOf(data), name);
  }
}

}  // namespace
