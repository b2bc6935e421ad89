// Claims, existence of nodes, and devices that hold a file system of the provider's type.
#include "plugin_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class Claim : public StartedPlugin {
 protected:
  void SetUp() override {
    StartedPlugin::SetUp();
    table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
    table.add("/dev/sda1", "/mnt/other", "xfs");
    table.add("/dev/qm/dsk/dg1/vol2", "/mnt/dev/x");
    table.add("/dev/qm/dsk/dg1/vol3", "/devices");
  }

  // An identifier whose name is empty can only be made by hand.
  qmfi_objid emptyName() {
    static char empty[] = "";
    return {empty, 0, 1};
  }

  qmfi_objid** groups = nullptr;
  int count = -5;
};

TEST_F(Claim, OfAMountedFileSystemReturnsTheQuiesceGroup) {
  EXPECT_EQ(1, plugin.claim(object("/mnt/a"), &groups, &count));
  ASSERT_EQ(1, count);
  EXPECT_STREQ("qmfs-quiesce", groups[0]->vid_name);
  EXPECT_EQ(12u, groups[0]->vid_length);
  EXPECT_EQ(3, groups[0]->vid_kind);
  EXPECT_THAT(trace(), ElementsAre(traced(3, "primaryObjid->vid_name : /mnt/a"), traced(6, "Calling qmfs_check_claim"),
                                   traced(6, "qmfs_check_claim returned claim : 1"), traced(3, "claim : 1")));
}

TEST_F(Claim, AsksForTheGroupWithTheTerminatorCounted) {
  EXPECT_EQ(1, plugin.claim(object("/mnt/a"), &groups, &count));
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{"qmfs-quiesce", 13, 3}));
}

TEST_F(Claim, TwiceReturnsTheSameArray) {
  ASSERT_EQ(1, plugin.claim(object("/mnt/a"), &groups, &count));
  qmfi_objid** second = nullptr;
  ASSERT_EQ(1, plugin.claim(object("/mnt/dev/x"), &second, &count));
  EXPECT_EQ(groups, second);
  EXPECT_STREQ("qmfs-quiesce", second[0]->vid_name);
}

TEST_F(Claim, HandsOutTheIdentifierFetchedLast) {
  qmfi_objid earlier{"qmfs-quiesce"_text, 12, 3};
  qmfi_objid later{"qmfs-quiesce"_text, 12, 3};
  importedCalls().answerIdentifier("qmfs-quiesce", &earlier);
  ASSERT_EQ(1, plugin.claim(object("/mnt/a"), &groups, &count));
  EXPECT_EQ(&earlier, groups[0]);
  importedCalls().answerIdentifier("qmfs-quiesce", &later);
  qmfi_objid** second = nullptr;
  ASSERT_EQ(1, plugin.claim(object("/mnt/a"), &second, &count));
  EXPECT_EQ(groups, second);
  EXPECT_EQ(&later, groups[0]);
}

TEST_F(Claim, TrimsEachKindOfWhiteSpaceAtBothEnds) {
  for (const std::string space : {" ", "\n", "\t", "\r"}) {
    for (const std::string& given : {space + "/dev/x", "/dev/x" + space, space + space + "/dev/x" + space + space}) {
      forget();
      EXPECT_EQ(0, plugin.claim(object(given), &groups, &count));
      EXPECT_THAT(trace(), ElementsAre(traced(3, "primaryObjid->vid_name : " + given),
                                       traced(4, "Not a valid mount point path [/dev/x]")));
    }
    // A path behind white space is one, though nothing is mounted on what was given.
    forget();
    EXPECT_EQ(0, plugin.claim(object(space + "/mnt/a"), &groups, &count));
    EXPECT_EQ(traced(3, "claim : 0"), trace().back());
  }
}

TEST_F(Claim, TrimsNoOtherCharacter) {
  for (const std::string other : {"\v", "\f", "\b"}) {
    forget();
    EXPECT_EQ(0, plugin.claim(object(other + "/mnt/a"), &groups, &count));
    EXPECT_EQ(traced(4, "Not a valid mount point path [" + other + "/mnt/a]"), trace().back());
  }
}

TEST_F(Claim, OfADevicePathIsRejected) {
  EXPECT_EQ(0, plugin.claim(object("/dev/qm/dsk/dg/vol"), &groups, &count));
  EXPECT_THAT(trace(), ElementsAre(traced(3, "primaryObjid->vid_name : /dev/qm/dsk/dg/vol"),
                                   traced(4, "Not a valid mount point path [/dev/qm/dsk/dg/vol]")));
  EXPECT_EQ(nullptr, groups);
  EXPECT_EQ(-5, count);
}

TEST_F(Claim, ShowsTheTrimmedNameOfWhatItRejects) {
  EXPECT_EQ(0, plugin.claim(object(" \n\t\r/dev/qm/dsk/dg/vol \n\t\r"), &groups, &count));
  EXPECT_THAT(trace(), ElementsAre(traced(3, "primaryObjid->vid_name :  \n\t\r/dev/qm/dsk/dg/vol \n\t\r"),
                                   traced(4, "Not a valid mount point path [/dev/qm/dsk/dg/vol]")));
}

struct ClaimCase {
  const char* name;
  int result;
};

TEST_F(Claim, QualifiesPathsByTheirBeginning) {
  for (const ClaimCase& tried : {
           ClaimCase{"/mnt/dev/x", 1},   // "/dev/" further on does not disqualify
           ClaimCase{"/devices", 1},     // nor does the mere beginning
           ClaimCase{"/mnt/a/", 0},      // compared byte for byte
           ClaimCase{"/mnt/A", 0},       //
           ClaimCase{"/mnt", 0},         //
           ClaimCase{"mnt/a", 0},        // no path
           ClaimCase{"qmfs-quiesce", 0}  //
       }) {
    groups = nullptr;
    count = -5;
    EXPECT_EQ(tried.result, plugin.claim(object(tried.name), &groups, &count)) << tried.name;
    EXPECT_EQ(tried.result == 1 ? 1 : -5, count) << tried.name;
  }
}

TEST_F(Claim, LooksTheUntrimmedNameUp) {
  EXPECT_EQ(0, plugin.claim(object(" /mnt/a"), &groups, &count));
  EXPECT_THAT(trace(), ElementsAre(traced(3, "primaryObjid->vid_name :  /mnt/a"), traced(6, "Calling qmfs_check_claim"),
                                   traced(6, "qmfs_check_claim returned claim : 0"), traced(3, "claim : 0")));
}

TEST_F(Claim, OfAnotherTypeLeavesTheOutArgumentsUntouched) {
  EXPECT_EQ(0, plugin.claim(object("/mnt/other"), &groups, &count));
  EXPECT_EQ(nullptr, groups);
  EXPECT_EQ(-5, count);
}

TEST_F(Claim, WithoutAReadableMountTableReturns6) {
  table.makeUnreadable();
  EXPECT_EQ(6, plugin.claim(object("/mnt/a"), &groups, &count));
  EXPECT_EQ(nullptr, groups);
  EXPECT_EQ(-5, count);
  EXPECT_THAT(trace(), ElementsAre(traced(3, "primaryObjid->vid_name : /mnt/a"), traced(6, "Calling qmfs_check_claim"),
                                   traced(6, "qmfs_check_claim returned claim : -1"),
                                   traced(1, "Mount point entry lookup failed")));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Claim, OfAnEmptyNameIsACaughtException) {
  qmfi_objid empty = emptyName();
  EXPECT_EQ(6, plugin.claim(&empty, &groups, &count));
  const auto pushed = messages();
  ASSERT_EQ(1u, pushed.size());
  EXPECT_EQ("MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", pushed[0].id);
  EXPECT_THAT(pushed[0].arguments, StartsWith("std::out_of_range, basic_string::at"));
  EXPECT_THAT(pushed[0].arguments, ::testing::EndsWith(", " + pushed[0].file + ", " + std::to_string(pushed[0].line)));
  EXPECT_EQ(3, pushed[0].severity);
  EXPECT_EQ(-5, count);
}

TEST_F(Claim, OfABlankNameIsACaughtException) {
  EXPECT_EQ(6, plugin.claim(object(" \t"), &groups, &count));
  EXPECT_EQ(1u, messages().size());
}

TEST_F(Claim, WithoutAnIdentifierOfTheGroupReturns6) {
  ASSERT_EQ(1, plugin.claim(object("/mnt/a"), &groups, &count));
  qmfi_objid** const array = groups;
  groups = nullptr;
  count = -5;
  importedCalls().failIdentifier("qmfs-quiesce");
  EXPECT_EQ(6, plugin.claim(object("/mnt/a"), &groups, &count));
  EXPECT_EQ(nullptr, groups);
  EXPECT_EQ(-5, count);
  EXPECT_NE(nullptr, array[0]);
}

TEST_F(Claim, NeedsTheOutArgumentsOnlyForWhatItClaims) {
  EXPECT_EQ(3, plugin.claim(object("/mnt/a"), nullptr, &count));
  EXPECT_EQ(3, plugin.claim(object("/mnt/a"), &groups, nullptr));
  EXPECT_EQ(nullptr, groups);
  EXPECT_EQ(-5, count);
  EXPECT_EQ(0, plugin.claim(object("/mnt/other"), nullptr, nullptr));
}

TEST_F(Claim, WithoutANameIsInvalid) {
  qmfi_objid unnamed{nullptr, 0, 1};
  EXPECT_EQ(3, plugin.claim(nullptr, &groups, &count));
  EXPECT_EQ(3, plugin.claim(&unnamed, &groups, &count));
}

class Existence : public Claim {
 protected:
  int exists = -5;
};

TEST_F(Existence, OfAMountedNodeIs1) {
  EXPECT_EQ(0, plugin.check_node_existence(&node("/mnt/a"), &exists));
  EXPECT_EQ(1, exists);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_check_claim on node->fid_objid->vid_name : /mnt/a"),
                                   traced(3, "Node :/mnt/a exists")));
}

TEST_F(Existence, OfANodeThatIsNotMountedIs0) {
  EXPECT_EQ(0, plugin.check_node_existence(&node("/mnt/none"), &exists));
  EXPECT_EQ(0, exists);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_check_claim on node->fid_objid->vid_name : /mnt/none")));
}

TEST_F(Existence, OfAnotherTypeIs0) {
  EXPECT_EQ(0, plugin.check_node_existence(&node("/mnt/other"), &exists));
  EXPECT_EQ(0, exists);
}

TEST_F(Existence, WithoutAReadableMountTableReturns6AndLeavesTheFlag) {
  table.makeUnreadable();
  EXPECT_EQ(6, plugin.check_node_existence(&node("/mnt/a"), &exists));
  EXPECT_EQ(-5, exists);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_check_claim on node->fid_objid->vid_name : /mnt/a"),
                                   traced(1, "Mount point entry lookup failed")));
}

TEST_F(Existence, WithoutNodeNameOrFlagIsInvalid) {
  kfi_domain unnamed{};
  EXPECT_EQ(3, plugin.check_node_existence(nullptr, &exists));
  EXPECT_EQ(3, plugin.check_node_existence(&unnamed, &exists));
  EXPECT_EQ(3, plugin.check_node_existence(&node("/mnt/a"), nullptr));
  EXPECT_EQ(-5, exists);
}

class Parent : public StartedPlugin {
 protected:
  int isParent = -5;
  const char* const device = "/dev/qm/dsk/dg1/vol1";

  std::vector<TraceRecord> found() {
    return {traced(6, "Searching for fstype cmd : /opt/KRIBqmfs/sbin/fstyp"),
            traced(3, "Found fstype cmd : /opt/KRIBqmfs/sbin/fstyp")};
  }
};

TEST_F(Parent, OfADeviceThatHoldsAFileSystemOfTheType) {
  programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs"));
  EXPECT_EQ(0, plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, &isParent, 0));
  EXPECT_EQ(1, isParent);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIBqmfs/sbin/fstyp /dev/qm/dsk/dg1/vol1"));
  auto records = found();
  records.push_back(traced(3, "Found fstype for device : /dev/qm/dsk/dg1/vol1  as qmfs"));
  EXPECT_EQ(records, trace());
}

TEST_F(Parent, TrimsEachKindOfWhiteSpaceAtBothEnds) {
  programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs"));
  for (const std::string space : {" ", "\n", "\t", "\r"}) {
    for (std::string given : {space + device, device + space, space + space + device + space + space}) {
      isParent = -5;
      forget();
      EXPECT_EQ(0, plugin.is_parent_pgn(given.data(), &isParent, 0));
      EXPECT_EQ(1, isParent) << ::testing::PrintToString(given);
      EXPECT_THAT(programs.commands(), ElementsAre(std::string("/opt/KRIBqmfs/sbin/fstyp ") + device));
      EXPECT_EQ(traced(3, std::string("Found fstype for device : ") + device + "  as qmfs"), trace().back());
    }
  }
}

TEST_F(Parent, TrimsNoOtherCharacter) {
  for (const std::string other : {"\v", "\f", "\b"}) {
    std::string given = other + device;
    isParent = -5;
    forget();
    EXPECT_EQ(0, plugin.is_parent_pgn(given.data(), &isParent, 0));
    EXPECT_EQ(0, isParent);
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid device path [" + given + "]")));
  }
}

TEST_F(Parent, TrimsTheDeviceFirst) {
  programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs"));
  EXPECT_EQ(0, plugin.is_parent_pgn(" \t/dev/qm/dsk/dg1/vol1\r\n"_text, &isParent, 0));
  EXPECT_EQ(1, isParent);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIBqmfs/sbin/fstyp /dev/qm/dsk/dg1/vol1"));
}

struct PrintedType {
  std::string printed;
  int isParent;
};

TEST_F(Parent, ComparesTheFirstPrintedLineWithoutTrailingWhiteSpace) {
  for (const PrintedType& tried :
       {PrintedType{"qmfs \t\r", 1}, PrintedType{"qmfs\nxfs", 1}, PrintedType{"xfs\nqmfs", 0}, PrintedType{" qmfs", 0},
        PrintedType{"QMFS", 0}, PrintedType{"qmfs2", 0}, PrintedType{"\nqmfs", 0}}) {
    isParent = -5;
    Answer answer;
    std::string::size_type begin = 0;
    for (auto end = tried.printed.find('\n'); begin != std::string::npos; end = tried.printed.find('\n', begin)) {
      answer.prints(tried.printed.substr(begin, end - begin));
      begin = end == std::string::npos ? end : end + 1;
    }
    programs.answer("/opt/KRIBqmfs/sbin/fstyp", answer);
    EXPECT_EQ(0, plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, &isParent, 0));
    EXPECT_EQ(tried.isParent, isParent) << tried.printed;
  }
}

TEST_F(Parent, OfADeviceWhoseTypeIsNotPrintedIs0) {
  EXPECT_EQ(0, plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, &isParent, 0));
  EXPECT_EQ(0, isParent);
  auto records = found();
  records.push_back(traced(2, "command '/opt/KRIBqmfs/sbin/fstyp /dev/qm/dsk/dg1/vol1' returned no fstype"));
  EXPECT_EQ(records, trace());
}

TEST_F(Parent, OfADeviceWhoseTypeCannotBeFoundOutIs0) {
  programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs").exits(1));
  EXPECT_EQ(0, plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, &isParent, 0));
  EXPECT_EQ(0, isParent);
  auto records = found();
  records.push_back(traced(2, "command '/opt/KRIBqmfs/sbin/fstyp /dev/qm/dsk/dg1/vol1' failed with message 'qmfs'."));
  EXPECT_EQ(records, trace());
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Parent, WithoutATypeProgramIs0) {
  programs.remove("/opt/KRIBqmfs/sbin/fstyp");
  EXPECT_EQ(0, plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, &isParent, 0));
  EXPECT_EQ(0, isParent);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Searching for fstype cmd : /opt/KRIBqmfs/sbin/fstyp"),
                                   traced(6, "Searching for fstype cmd : /opt/KRIB/bin/fstyp"),
                                   traced(6, "Searching for fstype cmd : /usr/lib/fs/qmfs/fstyp"),
                                   traced(6, "Searching for fstype cmd : /usr/sbin/fstyp"),
                                   traced(6, "Searching for fstype cmd : /sbin/fstyp"),
                                   traced(6, "Searching for fstype cmd : /etc/fstyp"),
                                   traced(1, "fstype command is not installed")));
}

TEST_F(Parent, OfADevicePathWithoutItsLeadingSlashIs0) {
  EXPECT_EQ(0, plugin.is_parent_pgn(" dev/qm/dsk/dg1/vol1 "_text, &isParent, 0));
  EXPECT_EQ(0, isParent);
  EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid device path [dev/qm/dsk/dg1/vol1]")));
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(Parent, OfAMountPointOrNothingIs0) {
  for (char* path : {"/mnt/dev/x"_text, "/dev"_text, ""_text, " "_text}) {
    isParent = -5;
    EXPECT_EQ(0, plugin.is_parent_pgn(path, &isParent, 0));
    EXPECT_EQ(0, isParent) << path;
  }
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(Parent, OfADeviceThatACommandWouldTakeForTwoIs0) {
  for (const std::string path : {"/dev/qm/a b", "/dev/qm/a\tb", "/dev/qm/a\nb"}) {
    std::string given = " " + path;
    isParent = -5;
    forget();
    EXPECT_EQ(0, plugin.is_parent_pgn(given.data(), &isParent, 0));
    EXPECT_EQ(0, isParent) << path;
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid device path [" + path + "]")));
    EXPECT_THAT(programs.commands(), IsEmpty());
  }
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Parent, WithoutDeviceOrFlagIsInvalid) {
  EXPECT_EQ(3, plugin.is_parent_pgn(nullptr, &isParent, 0));
  EXPECT_EQ(3, plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, nullptr, 0));
  EXPECT_EQ(-5, isParent);
}

}  // namespace
