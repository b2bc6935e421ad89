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
    EXPECT_EQ(plugin.build_alttree(&domain, forbidden, forbidden, snapObjects, count, &alternate), 0) << count;
    EXPECT_EQ(alternate, object("/alt"));
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
    EXPECT_EQ(plugin.import_tree(&domain, forbidden, snapObjects, count, &alternate), 0) << count;
    EXPECT_EQ(alternate, object("/alt"));
    EXPECT_THAT(programs.commands(),
                ElementsAre("/bin/mkdir -p /alt", "/bin/mount -t qmfs -o ro " + SNAPSHOT + " /alt"));
  }
}

TEST_F(UnusedArguments, OfImportThatReusesAMountAreTheSnapshotObjectsToo) {
  kfi_domain& domain = restoredNode("/data", DEVICE, "rw", "/alt");
  table.add(SNAPSHOT, "/alt", "qmfs", "ro");
  EXPECT_EQ(plugin.import_tree(&domain, forbidden, forbidden, 1, &alternate), 0);
  EXPECT_EQ(alternate, object("/alt"));
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
}

TEST_F(UnusedArguments, OfFormatAreTheCountTheExtraTextsAndThePaths) {
  std::string name = DEVICE;
  char* devices[] = {name.data()};
  for (const int count : COUNTS) {
    forget();
    EXPECT_EQ(plugin.format(devices, count, forbidden, nullptr, forbidden, 1, forbidden, forbidden), 0) << count;
    EXPECT_EQ(programs.commands().front(), "/sbin/mkfs -t qmfs /dev/qm/rdsk/dg1/vol1");
  }
}

TEST_F(UnusedArguments, OfFormatWithNothingToDoAreAllButTheTypeAndTheFlags) {
  EXPECT_EQ(plugin.format(forbidden, 1, forbidden, nullptr, forbidden, ~1, forbidden, forbidden), 0);
  EXPECT_EQ(plugin.format(forbidden, 1, forbidden, "xfs"_text, forbidden, 1, forbidden, forbidden), 3);
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
        plugin.online_resource(devices, count, "/data"_text, nullptr, nullptr, forbidden, count, &paths, &pathCount), 0)
        << count;
    ASSERT_EQ(pathCount, 1);
    EXPECT_STREQ(paths[0], "/data");
    EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /data", "/bin/mount -t qmfs " + DEVICE + " /data"));
    framework.qmfi_free_buf(paths[0], std::strlen(paths[0]) + 1);
    std::free(paths);
  }
}

TEST_F(UnusedArguments, OfIsParentIsTheNumber) {
  programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs"));
  for (const int number : COUNTS) {
    int isParent = -5;
    EXPECT_EQ(plugin.is_parent_pgn("/dev/x"_text, &isParent, number), 0);
    EXPECT_EQ(isParent, 1) << number;
  }
}

// Nodes.

TEST_F(UnusedArguments, OfOnlineIsTheFirstDomain) {
  EXPECT_EQ(plugin.online(forbidden, &restoredNode("/data", DEVICE), 1, remove), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /data", "/bin/mount -t qmfs -o rw " + DEVICE + " /data"));
  kfi_domain& mounted = mountedNode("/data", DEVICE);
  EXPECT_EQ(plugin.online(forbidden, &mounted, takeOfflineMode, 0), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /data"));
  EXPECT_EQ(plugin.online(forbidden, forbidden, 3, remove), 0);
}

TEST_F(UnusedArguments, OfDisposeAreTheFirstDomainAndTheSplitNode) {
  kfi_domain& mounted = mountedNode("/nowhere/data", DEVICE);
  EXPECT_EQ(plugin.dispose(forbidden, &mounted, forbidden, remove), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /nowhere/data"));
  EXPECT_EQ(plugin.dispose(forbidden, forbidden, forbidden, 0), 0);
}

TEST_F(UnusedArguments, OfDeportAreTheNodesWhenNoAccessIsToBeTakenDown) {
  kfi_accessnode nothing{};
  EXPECT_EQ(plugin.deport_tree(forbidden, forbidden, &nothing), 0);
  expectNothingDone();
}

TEST_F(UnusedArguments, OfDeportOfAnAlternateNodeIsThePrimaryOne) {
  table.add(DEVICE, "/data_alt");
  EXPECT_EQ(plugin.deport_tree(forbidden, &node("/data_alt"), nullptr), 0);
  EXPECT_EQ(programs.commands().size(), 2u);
}

TEST_F(UnusedArguments, OfNodeInitialisationIsTheIdentifier) {
  table.add(DEVICE, "/data");
  kfi_domain* configuration = &configurationDomain();
  kfi_domain& initialised = node("/data");
  EXPECT_EQ(plugin.init_node(&initialised, &configuration, 1, forbidden), 0);
  EXPECT_THAT(subObjectsOf(initialised), ElementsAre(DEVICE));
}

TEST_F(UnusedArguments, OfNodeInitialisationWithoutDomainsAreTheDomainsToo) {
  kfi_domain& initialised = node("/data");
  EXPECT_EQ(plugin.init_node(&initialised, forbidden, 0, forbidden), 0);
  ASSERT_NE(initialised.fid_qnode, nullptr);
  EXPECT_EQ(initialised.fid_qnode->kqn_config, nullptr);
}

TEST_F(UnusedArguments, OfAlternateNodeInitialisationAreTheFirstTwoDomainsAndWhetherItIsRemote) {
  table.add(DEVICE, "/data_alt", "qmfs", "ro");
  kfi_domain& local = node("/data_alt");
  EXPECT_EQ(plugin.init_altnode(forbidden, forbidden, &local), 0);
  const TraceRecords records = trace();
  const std::string state = stateOf(local);
  EXPECT_EQ(local.fid_qnode, nullptr);
  plugin.deinit_node(&local);
  forget();

  kfi_domain& remote = node("/data_alt");
  EXPECT_EQ(plugin.init_remnode(forbidden, forbidden, &remote), 0);
  EXPECT_THAT(trace(), ElementsAreArray(records));
  EXPECT_EQ(stateOf(remote), state);
  EXPECT_EQ(remote.fid_qnode, nullptr);
  EXPECT_EQ(remote.fid_attr, 0x802u);
  // Both are alternate nodes: they share their private data, and an ordinary node of the name has its own.
  kfi_domain& again = node("/data_alt");
  table.write("");
  EXPECT_EQ(plugin.init_altnode(forbidden, forbidden, &again), 6);
  EXPECT_THAT(subObjectsOf(again), ElementsAre(DEVICE));
  kfi_domain& ordinary = node("/data_alt");
  EXPECT_EQ(plugin.init_node(&ordinary, nullptr, 0, nullptr), 0);
  EXPECT_THAT(subObjectsOf(ordinary), IsEmpty());
}

TEST_F(UnusedArguments, OfReaccessAreAllButTheAlternateObjectAndTheIntent) {
  qmfi_objid* const existing = object(makeDirectory("alt"));
  for (const int count : COUNTS) {
    EXPECT_EQ(plugin.reaccess_altnode(forbidden, existing, forbidden, forbidden, forbidden, forbidden, count, 1), 0);
  }
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(UnusedArguments, OfReaccessWithIntentTwoIsTheAlternateObjectToo) {
  // Without its name nothing can be looked for in the file system.
  EXPECT_EQ(plugin.reaccess_altnode(forbidden, forbidden, forbidden, forbidden, forbidden, forbidden, 1, 2), 0);
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
      EXPECT_EQ(plugin.enable_access(list(), flags, level, 0), 0) << flags << " " << level;
      EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /a", "/sbin/fsck -y -t qmfs /dev/a",
                                                   "/bin/mount -t qmfs -o rw /dev/a /a"));
      EXPECT_EQ(enabled.fid_attr, otherBits);
    }
  }
}

TEST_F(UnusedAccessArguments, OfEnableWithBitZeroIsTheList) {
  const ForbiddenMemory forbidden;
  EXPECT_EQ(plugin.enable_access(forbidden, 0, 0, 1), 0);
  expectNothingDone();
}

}  // namespace
