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
  EXPECT_EQ(plugin.claim(object("/mnt/a"), &groups, &count), 1);
  ASSERT_EQ(count, 1);
  EXPECT_STREQ(groups[0]->vid_name, "qmfs-quiesce");
  EXPECT_EQ(groups[0]->vid_length, 12u);
  EXPECT_EQ(groups[0]->vid_kind, 3);
  EXPECT_THAT(trace(), ElementsAre(traced(3, "primaryObjid->vid_name : /mnt/a"), traced(6, "Calling qmfs_check_claim"),
                                   traced(6, "qmfs_check_claim returned claim : 1"), traced(3, "claim : 1")));
}

TEST_F(Claim, AsksForTheGroupWithTheTerminatorCounted) {
  EXPECT_EQ(plugin.claim(object("/mnt/a"), &groups, &count), 1);
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{"qmfs-quiesce", 13, 3}));
}

TEST_F(Claim, TwiceReturnsTheSameArray) {
  ASSERT_EQ(plugin.claim(object("/mnt/a"), &groups, &count), 1);
  qmfi_objid** second = nullptr;
  ASSERT_EQ(plugin.claim(object("/mnt/dev/x"), &second, &count), 1);
  EXPECT_EQ(second, groups);
  EXPECT_STREQ(second[0]->vid_name, "qmfs-quiesce");
}

TEST_F(Claim, HandsOutTheIdentifierFetchedLast) {
  qmfi_objid earlier{"qmfs-quiesce"_text, 12, 3};
  qmfi_objid later{"qmfs-quiesce"_text, 12, 3};
  importedCalls().answerIdentifier("qmfs-quiesce", &earlier);
  ASSERT_EQ(plugin.claim(object("/mnt/a"), &groups, &count), 1);
  EXPECT_EQ(groups[0], &earlier);
  importedCalls().answerIdentifier("qmfs-quiesce", &later);
  qmfi_objid** second = nullptr;
  ASSERT_EQ(plugin.claim(object("/mnt/a"), &second, &count), 1);
  EXPECT_EQ(second, groups);
  EXPECT_EQ(groups[0], &later);
}

TEST_F(Claim, TrimsEachKindOfWhiteSpaceAtBothEnds) {
  for (const std::string space : {" ", "\n", "\t", "\r"}) {
    for (const std::string& given : {space + "/dev/x", "/dev/x" + space, space + space + "/dev/x" + space + space}) {
      forget();
      EXPECT_EQ(plugin.claim(object(given), &groups, &count), 0);
      EXPECT_THAT(trace(), ElementsAre(traced(3, "primaryObjid->vid_name : " + given),
                                       traced(4, "Not a valid mount point path [/dev/x]")));
    }
    // A path behind white space is one, though nothing is mounted on what was given.
    forget();
    EXPECT_EQ(plugin.claim(object(space + "/mnt/a"), &groups, &count), 0);
    EXPECT_EQ(trace().back(), traced(3, "claim : 0"));
  }
}

TEST_F(Claim, TrimsNoOtherCharacter) {
  for (const std::string other : {"\v", "\f", "\b"}) {
    forget();
    EXPECT_EQ(plugin.claim(object(other + "/mnt/a"), &groups, &count), 0);
    EXPECT_EQ(trace().back(), traced(4, "Not a valid mount point path [" + other + "/mnt/a]"));
  }
}

TEST_F(Claim, OfADevicePathIsRejected) {
  EXPECT_EQ(plugin.claim(object("/dev/qm/dsk/dg/vol"), &groups, &count), 0);
  EXPECT_THAT(trace(), ElementsAre(traced(3, "primaryObjid->vid_name : /dev/qm/dsk/dg/vol"),
                                   traced(4, "Not a valid mount point path [/dev/qm/dsk/dg/vol]")));
  EXPECT_EQ(groups, nullptr);
  EXPECT_EQ(count, -5);
}

TEST_F(Claim, ShowsTheTrimmedNameOfWhatItRejects) {
  EXPECT_EQ(plugin.claim(object(" \n\t\r/dev/qm/dsk/dg/vol \n\t\r"), &groups, &count), 0);
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
    EXPECT_EQ(plugin.claim(object(tried.name), &groups, &count), tried.result) << tried.name;
    EXPECT_EQ(count, tried.result == 1 ? 1 : -5) << tried.name;
  }
}

TEST_F(Claim, LooksTheUntrimmedNameUp) {
  EXPECT_EQ(plugin.claim(object(" /mnt/a"), &groups, &count), 0);
  EXPECT_THAT(trace(), ElementsAre(traced(3, "primaryObjid->vid_name :  /mnt/a"), traced(6, "Calling qmfs_check_claim"),
                                   traced(6, "qmfs_check_claim returned claim : 0"), traced(3, "claim : 0")));
}

TEST_F(Claim, OfAnotherTypeLeavesTheOutArgumentsUntouched) {
  EXPECT_EQ(plugin.claim(object("/mnt/other"), &groups, &count), 0);
  EXPECT_EQ(groups, nullptr);
  EXPECT_EQ(count, -5);
}

TEST_F(Claim, WithoutAReadableMountTableReturns6) {
  table.makeUnreadable();
  EXPECT_EQ(plugin.claim(object("/mnt/a"), &groups, &count), 6);
  EXPECT_EQ(groups, nullptr);
  EXPECT_EQ(count, -5);
  EXPECT_THAT(trace(), ElementsAre(traced(3, "primaryObjid->vid_name : /mnt/a"), traced(6, "Calling qmfs_check_claim"),
                                   traced(6, "qmfs_check_claim returned claim : -1"),
                                   traced(1, "Mount point entry lookup failed")));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Claim, OfAnEmptyNameIsACaughtException) {
  qmfi_objid empty = emptyName();
  EXPECT_EQ(plugin.claim(&empty, &groups, &count), 6);
  const auto pushed = messages();
  ASSERT_EQ(pushed.size(), 1u);
  EXPECT_EQ(pushed[0].id, "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION");
  EXPECT_THAT(pushed[0].arguments, StartsWith("std::out_of_range, basic_string::at"));
  EXPECT_THAT(pushed[0].arguments, ::testing::EndsWith(", " + pushed[0].file + ", " + std::to_string(pushed[0].line)));
  EXPECT_EQ(pushed[0].severity, 3);
  EXPECT_EQ(count, -5);
}

TEST_F(Claim, OfABlankNameIsACaughtException) {
  EXPECT_EQ(plugin.claim(object(" \t"), &groups, &count), 6);
  EXPECT_EQ(messages().size(), 1u);
}

TEST_F(Claim, WithoutAnIdentifierOfTheGroupReturns6) {
  ASSERT_EQ(plugin.claim(object("/mnt/a"), &groups, &count), 1);
  qmfi_objid** const array = groups;
  groups = nullptr;
  count = -5;
  importedCalls().failIdentifier("qmfs-quiesce");
  EXPECT_EQ(plugin.claim(object("/mnt/a"), &groups, &count), 6);
  EXPECT_EQ(groups, nullptr);
  EXPECT_EQ(count, -5);
  EXPECT_NE(array[0], nullptr);
}

TEST_F(Claim, NeedsTheOutArgumentsOnlyForWhatItClaims) {
  EXPECT_EQ(plugin.claim(object("/mnt/a"), nullptr, &count), 3);
  EXPECT_EQ(plugin.claim(object("/mnt/a"), &groups, nullptr), 3);
  EXPECT_EQ(groups, nullptr);
  EXPECT_EQ(count, -5);
  EXPECT_EQ(plugin.claim(object("/mnt/other"), nullptr, nullptr), 0);
}

TEST_F(Claim, WithoutANameIsInvalid) {
  qmfi_objid unnamed{nullptr, 0, 1};
  EXPECT_EQ(plugin.claim(nullptr, &groups, &count), 3);
  EXPECT_EQ(plugin.claim(&unnamed, &groups, &count), 3);
}

class Existence : public Claim {
 protected:
  int exists = -5;
};

TEST_F(Existence, OfAMountedNodeIs1) {
  EXPECT_EQ(plugin.check_node_existence(&node("/mnt/a"), &exists), 0);
  EXPECT_EQ(exists, 1);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_check_claim on node->fid_objid->vid_name : /mnt/a"),
                                   traced(3, "Node :/mnt/a exists")));
}

TEST_F(Existence, OfANodeThatIsNotMountedIs0) {
  EXPECT_EQ(plugin.check_node_existence(&node("/mnt/none"), &exists), 0);
  EXPECT_EQ(exists, 0);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_check_claim on node->fid_objid->vid_name : /mnt/none")));
}

TEST_F(Existence, OfAnotherTypeIs0) {
  EXPECT_EQ(plugin.check_node_existence(&node("/mnt/other"), &exists), 0);
  EXPECT_EQ(exists, 0);
}

TEST_F(Existence, WithoutAReadableMountTableReturns6AndLeavesTheFlag) {
  table.makeUnreadable();
  EXPECT_EQ(plugin.check_node_existence(&node("/mnt/a"), &exists), 6);
  EXPECT_EQ(exists, -5);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_check_claim on node->fid_objid->vid_name : /mnt/a"),
                                   traced(1, "Mount point entry lookup failed")));
}

TEST_F(Existence, WithoutNodeNameOrFlagIsInvalid) {
  kfi_domain unnamed{};
  EXPECT_EQ(plugin.check_node_existence(nullptr, &exists), 3);
  EXPECT_EQ(plugin.check_node_existence(&unnamed, &exists), 3);
  EXPECT_EQ(plugin.check_node_existence(&node("/mnt/a"), nullptr), 3);
  EXPECT_EQ(exists, -5);
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
  EXPECT_EQ(plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, &isParent, 0), 0);
  EXPECT_EQ(isParent, 1);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIBqmfs/sbin/fstyp /dev/qm/dsk/dg1/vol1"));
  auto records = found();
  records.push_back(traced(3, "Found fstype for device : /dev/qm/dsk/dg1/vol1  as qmfs"));
  EXPECT_EQ(trace(), records);
}

TEST_F(Parent, TrimsEachKindOfWhiteSpaceAtBothEnds) {
  programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs"));
  for (const std::string space : {" ", "\n", "\t", "\r"}) {
    for (std::string given : {space + device, device + space, space + space + device + space + space}) {
      isParent = -5;
      forget();
      EXPECT_EQ(plugin.is_parent_pgn(given.data(), &isParent, 0), 0);
      EXPECT_EQ(isParent, 1) << ::testing::PrintToString(given);
      EXPECT_THAT(programs.commands(), ElementsAre(std::string("/opt/KRIBqmfs/sbin/fstyp ") + device));
      EXPECT_EQ(trace().back(), traced(3, std::string("Found fstype for device : ") + device + "  as qmfs"));
    }
  }
}

TEST_F(Parent, TrimsNoOtherCharacter) {
  for (const std::string other : {"\v", "\f", "\b"}) {
    std::string given = other + device;
    isParent = -5;
    forget();
    EXPECT_EQ(plugin.is_parent_pgn(given.data(), &isParent, 0), 0);
    EXPECT_EQ(isParent, 0);
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid device path [" + given + "]")));
  }
}

TEST_F(Parent, TrimsTheDeviceFirst) {
  programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs"));
  EXPECT_EQ(plugin.is_parent_pgn(" \t/dev/qm/dsk/dg1/vol1\r\n"_text, &isParent, 0), 0);
  EXPECT_EQ(isParent, 1);
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
    EXPECT_EQ(plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, &isParent, 0), 0);
    EXPECT_EQ(isParent, tried.isParent) << tried.printed;
  }
}

TEST_F(Parent, OfADeviceWhoseTypeIsNotPrintedIs0) {
  EXPECT_EQ(plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, &isParent, 0), 0);
  EXPECT_EQ(isParent, 0);
  auto records = found();
  records.push_back(traced(2, "command '/opt/KRIBqmfs/sbin/fstyp /dev/qm/dsk/dg1/vol1' returned no fstype"));
  EXPECT_EQ(trace(), records);
}

TEST_F(Parent, OfADeviceWhoseTypeCannotBeFoundOutIs0) {
  programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs").exits(1));
  EXPECT_EQ(plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, &isParent, 0), 0);
  EXPECT_EQ(isParent, 0);
  auto records = found();
  records.push_back(traced(2, "command '/opt/KRIBqmfs/sbin/fstyp /dev/qm/dsk/dg1/vol1' failed with message 'qmfs'."));
  EXPECT_EQ(trace(), records);
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Parent, WithoutATypeProgramIs0) {
  programs.remove("/opt/KRIBqmfs/sbin/fstyp");
  EXPECT_EQ(plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, &isParent, 0), 0);
  EXPECT_EQ(isParent, 0);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Searching for fstype cmd : /opt/KRIBqmfs/sbin/fstyp"),
                                   traced(6, "Searching for fstype cmd : /opt/KRIB/bin/fstyp"),
                                   traced(6, "Searching for fstype cmd : /usr/lib/fs/qmfs/fstyp"),
                                   traced(6, "Searching for fstype cmd : /usr/sbin/fstyp"),
                                   traced(6, "Searching for fstype cmd : /sbin/fstyp"),
                                   traced(6, "Searching for fstype cmd : /etc/fstyp"),
                                   traced(1, "fstype command is not installed")));
}

TEST_F(Parent, OfADevicePathWithoutItsLeadingSlashIs0) {
  EXPECT_EQ(plugin.is_parent_pgn(" dev/qm/dsk/dg1/vol1 "_text, &isParent, 0), 0);
  EXPECT_EQ(isParent, 0);
  EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid device path [dev/qm/dsk/dg1/vol1]")));
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(Parent, OfAMountPointOrNothingIs0) {
  for (char* path : {"/mnt/dev/x"_text, "/dev"_text, ""_text, " "_text}) {
    isParent = -5;
    EXPECT_EQ(plugin.is_parent_pgn(path, &isParent, 0), 0);
    EXPECT_EQ(isParent, 0) << path;
  }
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(Parent, OfADeviceThatACommandWouldTakeForTwoIs0) {
  for (const std::string path : {"/dev/qm/a b", "/dev/qm/a\tb", "/dev/qm/a\nb"}) {
    std::string given = " " + path;
    isParent = -5;
    forget();
    EXPECT_EQ(plugin.is_parent_pgn(given.data(), &isParent, 0), 0);
    EXPECT_EQ(isParent, 0) << path;
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid device path [" + path + "]")));
    EXPECT_THAT(programs.commands(), IsEmpty());
  }
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Parent, WithoutDeviceOrFlagIsInvalid) {
  EXPECT_EQ(plugin.is_parent_pgn(nullptr, &isParent, 0), 3);
  EXPECT_EQ(plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, nullptr, 0), 3);
  EXPECT_EQ(isParent, -5);
}

}  // namespace
