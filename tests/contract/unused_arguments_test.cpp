// Arguments that an operation does not use: pointers to memory that nobody may touch, and numbers that would mean
// something elsewhere.
#include <climits>
#include <cstdlib>
#include <cstring>

#include "access_fixture.h"
#include "alternate_tree_fixture.h"
#include "forbidden_memory.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const std::string DEVICE = "/dev/qm/dsk/dg1/vol1";

constexpr int takeOfflineMode = 2;
constexpr int remove = 1;

class UnusedArguments : public AlternateTree {
 protected:
  ForbiddenMemory forbidden;
};

// Counts.

const int COUNTS[] = {0, -1, INT_MIN, INT_MAX};

TEST_F(UnusedArguments, OfBuildAreTheObjectsAndTheCount) {
  qmfi_objid* snapObjects[] = {object(SNAPSHOT)};
  for (const int count : COUNTS) {
    kfi_domain& domain = ownNode("/data");
    kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
    domain.fid_subobjs = entries;
    alternate = nullptr;
    forget();
    EXPECT_EQ(0, plugin.build_alttree(&domain, forbidden, forbidden, snapObjects, count, &alternate)) << count;
    EXPECT_EQ(object("/alt"), alternate);
    EXPECT_THAT(programs.commands(),
                ElementsAre("/bin/mkdir -p /alt", "/bin/mount -t qmfs -o ro " + SNAPSHOT + " /alt"));
  }
}

TEST_F(UnusedArguments, OfImportAreTheObjectsAndTheCount) {
  qmfi_objid* snapObjects[] = {object(SNAPSHOT)};
  for (const int count : COUNTS) {
    kfi_domain& domain = restoredNode("/data", DEVICE, "rw", "/alt");
    alternate = nullptr;
    forget();
    EXPECT_EQ(0, plugin.import_tree(&domain, forbidden, snapObjects, count, &alternate)) << count;
    EXPECT_EQ(object("/alt"), alternate);
    EXPECT_THAT(programs.commands(),
                ElementsAre("/bin/mkdir -p /alt", "/bin/mount -t qmfs -o ro " + SNAPSHOT + " /alt"));
  }
}

TEST_F(UnusedArguments, OfImportThatReusesAMountAreTheSnapshotObjectsToo) {
  kfi_domain& domain = restoredNode("/data", DEVICE, "rw", "/alt");
  table.add(SNAPSHOT, "/alt", "qmfs", "ro");
  EXPECT_EQ(0, plugin.import_tree(&domain, forbidden, forbidden, 1, &alternate));
  EXPECT_EQ(object("/alt"), alternate);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
}

TEST_F(UnusedArguments, OfFormatAreTheCountTheExtraTextsAndThePaths) {
  std::string name = DEVICE;
  char* devices[] = {name.data()};
  for (const int count : COUNTS) {
    forget();
    EXPECT_EQ(0, plugin.format(devices, count, forbidden, nullptr, forbidden, 1, forbidden, forbidden)) << count;
    EXPECT_EQ("/sbin/mkfs -t qmfs /dev/qm/rdsk/dg1/vol1", programs.commands().front());
  }
}

TEST_F(UnusedArguments, OfFormatWithNothingToDoAreAllButTheTypeAndTheFlags) {
  EXPECT_EQ(0, plugin.format(forbidden, 1, forbidden, nullptr, forbidden, ~1, forbidden, forbidden));
  EXPECT_EQ(3, plugin.format(forbidden, 1, forbidden, "xfs"_text, forbidden, 1, forbidden, forbidden));
  expectNothingDone();
}

TEST_F(UnusedArguments, OfOnlineResourceAreTheCountAndTheExtraOnes) {
  std::string name = DEVICE;
  char* devices[] = {name.data()};
  for (const int count : COUNTS) {
    char** paths = nullptr;
    int pathCount = 0;
    forget();
    EXPECT_EQ(
        0, plugin.online_resource(devices, count, "/data"_text, nullptr, nullptr, forbidden, count, &paths, &pathCount))
        << count;
    ASSERT_EQ(1, pathCount);
    EXPECT_STREQ("/data", paths[0]);
    EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /data", "/bin/mount -t qmfs " + DEVICE + " /data"));
    framework.qmfi_free_buf(paths[0], std::strlen(paths[0]) + 1);
    std::free(paths);
  }
}

TEST_F(UnusedArguments, OfIsParentIsTheNumber) {
  programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs"));
  for (const int number : COUNTS) {
    int isParent = -5;
    EXPECT_EQ(0, plugin.is_parent_pgn("/dev/x"_text, &isParent, number));
    EXPECT_EQ(1, isParent) << number;
  }
}

// Nodes.

TEST_F(UnusedArguments, OfOnlineIsTheFirstDomain) {
  EXPECT_EQ(0, plugin.online(forbidden, &restoredNode("/data", DEVICE), 1, remove));
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /data", "/bin/mount -t qmfs -o rw " + DEVICE + " /data"));
  kfi_domain& mounted = mountedNode("/data", DEVICE);
  EXPECT_EQ(0, plugin.online(forbidden, &mounted, takeOfflineMode, 0));
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /data"));
  EXPECT_EQ(0, plugin.online(forbidden, forbidden, 3, remove));
}

TEST_F(UnusedArguments, OfDisposeAreTheFirstDomainAndTheSplitNode) {
  kfi_domain& mounted = mountedNode("/nowhere/data", DEVICE);
  EXPECT_EQ(0, plugin.dispose(forbidden, &mounted, forbidden, remove));
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /nowhere/data"));
  EXPECT_EQ(0, plugin.dispose(forbidden, forbidden, forbidden, 0));
}

TEST_F(UnusedArguments, OfDeportAreTheNodesWhenNoAccessIsToBeTakenDown) {
  kfi_accessnode nothing{};
  EXPECT_EQ(0, plugin.deport_tree(forbidden, forbidden, &nothing));
  expectNothingDone();
}

TEST_F(UnusedArguments, OfDeportOfAnAlternateNodeIsThePrimaryOne) {
  table.add(DEVICE, "/data_alt");
  EXPECT_EQ(0, plugin.deport_tree(forbidden, &node("/data_alt"), nullptr));
  EXPECT_EQ(2u, programs.commands().size());
}

TEST_F(UnusedArguments, OfNodeInitialisationIsTheIdentifier) {
  table.add(DEVICE, "/data");
  kfi_domain* configuration = &configurationDomain();
  kfi_domain& initialised = node("/data");
  EXPECT_EQ(0, plugin.init_node(&initialised, &configuration, 1, forbidden));
  EXPECT_THAT(subObjectsOf(initialised), ElementsAre(DEVICE));
}

TEST_F(UnusedArguments, OfNodeInitialisationWithoutDomainsAreTheDomainsToo) {
  kfi_domain& initialised = node("/data");
  EXPECT_EQ(0, plugin.init_node(&initialised, forbidden, 0, forbidden));
  ASSERT_NE(nullptr, initialised.fid_qnode);
  EXPECT_EQ(nullptr, initialised.fid_qnode->kqn_config);
}

TEST_F(UnusedArguments, OfAlternateNodeInitialisationAreTheFirstTwoDomainsAndWhetherItIsRemote) {
  table.add(DEVICE, "/data_alt", "qmfs", "ro");
  kfi_domain& local = node("/data_alt");
  EXPECT_EQ(0, plugin.init_altnode(forbidden, forbidden, &local));
  const TraceRecords records = trace();
  const std::string state = stateOf(local);
  EXPECT_EQ(nullptr, local.fid_qnode);
  plugin.deinit_node(&local);
  forget();

  kfi_domain& remote = node("/data_alt");
  EXPECT_EQ(0, plugin.init_remnode(forbidden, forbidden, &remote));
  EXPECT_THAT(trace(), ElementsAreArray(records));
  EXPECT_EQ(state, stateOf(remote));
  EXPECT_EQ(nullptr, remote.fid_qnode);
  EXPECT_EQ(0x802u, remote.fid_attr);
  // Both are alternate nodes: they share their private data, and an ordinary node of the name has its own.
  kfi_domain& again = node("/data_alt");
  table.write("");
  EXPECT_EQ(6, plugin.init_altnode(forbidden, forbidden, &again));
  EXPECT_THAT(subObjectsOf(again), ElementsAre(DEVICE));
  kfi_domain& ordinary = node("/data_alt");
  EXPECT_EQ(0, plugin.init_node(&ordinary, nullptr, 0, nullptr));
  EXPECT_THAT(subObjectsOf(ordinary), IsEmpty());
}

TEST_F(UnusedArguments, OfReaccessAreAllButTheAlternateObjectAndTheIntent) {
  qmfi_objid* const existing = object(makeDirectory("alt"));
  for (const int count : COUNTS) {
    EXPECT_EQ(0, plugin.reaccess_altnode(forbidden, existing, forbidden, forbidden, forbidden, forbidden, count, 1));
  }
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(UnusedArguments, OfReaccessWithIntentTwoIsTheAlternateObjectToo) {
  // Without its name nothing can be looked for in the file system.
  EXPECT_EQ(0, plugin.reaccess_altnode(forbidden, forbidden, forbidden, forbidden, forbidden, forbidden, 1, 2));
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

// Access.

using UnusedAccessArguments = Access;

TEST_F(UnusedAccessArguments, OfEnableAreTheFlagsAndTheLevel) {
  kfi_domain& enabled = addDisabled("/a", "/dev/a");
  for (const long flags : {0x1L, 0x10L, 0x40L, -1L, LONG_MIN}) {
    for (const int level : {1, 2, -1, INT_MIN, INT_MAX}) {
      enabled.fid_attr = disabledBit | otherBits;
      forget();
      EXPECT_EQ(0, plugin.enable_access(list(), flags, level, 0)) << flags << " " << level;
      EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /a", "/sbin/fsck -y -t qmfs /dev/a",
                                                   "/bin/mount -t qmfs -o rw /dev/a /a"));
      EXPECT_EQ(otherBits, enabled.fid_attr);
    }
  }
}

TEST_F(UnusedAccessArguments, OfEnableWithBitZeroIsTheList) {
  const ForbiddenMemory forbidden;
  EXPECT_EQ(0, plugin.enable_access(forbidden, 0, 0, 1));
  expectNothingDone();
}

}  // namespace
