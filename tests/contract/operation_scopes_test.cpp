// The functions that an operation says it has entered and left, in order: itself and the helpers that it calls.
#include <cerrno>
#include <functional>

#include "operations_fixture.h"

namespace {

using ::testing::ElementsAreArray;

const std::string DEVICE = "/dev/qm/dsk/dg1/vol1";
const std::string SNAPSHOT = "/dev/qm/dsk/dg1/snap1";

class OperationScopes : public OperationsTest {
 protected:
  struct Case {
    std::function<int()> call;
    int status;
    std::vector<std::string> functions;
  };

  // The scopes of operations; those of entry points stand in another file.
  std::vector<TraceScope> operationScopes() const {
    std::vector<TraceScope> found;
    for (const TraceScope& scope : scopes()) {
      if (!scope.place.ends_with(", cfiapiexport.h")) found.push_back(scope);
    }
    return found;
  }

  void expectScopes(const std::vector<Case>& cases) {
    for (const Case& one : cases) {
      forget();
      EXPECT_EQ(one.call(), one.status) << one.functions.front();
      std::vector<std::string> entered;
      // Those that are not left yet; each must be left before the one around it.
      std::vector<std::string> open;
      for (const TraceScope& scope : operationScopes()) {
        if (scope.entered) {
          entered.push_back(scope.function);
          open.push_back(scope.function);
          continue;
        }
        ASSERT_FALSE(open.empty());
        EXPECT_EQ(scope.function, open.back());
        open.pop_back();
      }
      EXPECT_THAT(entered, ElementsAreArray(one.functions));
      EXPECT_THAT(open, ::testing::IsEmpty()) << one.functions.front();
    }
  }

  int formatDevice() {
    std::string device = DEVICE;
    char* devices[] = {device.data()};
    return plugin.format(devices, 1, nullptr, nullptr, nullptr, 1, nullptr, nullptr);
  }

  int fetchState(kfi_domain& node) {
    kfi_blob blob{};
    const int status = plugin.process_providerstate(&node, &blob, 1);
    framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
    return status;
  }
};

TEST_F(OperationScopes, OfQuestions) {
  table.add(DEVICE, "/data");
  programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs"));
  kfi_domain& mounted = node("/data");
  qmfi_objid** groups = nullptr;
  kfi_provider_list* providers = nullptr;
  int number = 0;
  expectScopes({
      {[&] { return plugin.claim(object("/data"), &groups, &number); }, 1, {"claim"}},
      {[&] { return plugin.check_node_existence(&mounted, &number); }, 0, {"checkNodeExistence"}},
      {[&] { return plugin.is_parent_pgn("/dev/x"_text, &number, 0); },
       0,
       {"isParentPgn", "getFSType", "getFSTypeLocation"}},
      {[&] { return plugin.supports_fitype(&mounted, "qmfs"_text); }, 0, {"supportsFiType"}},
      {[&] { return plugin.get_provider_info(&providers); }, 0, {"getProviderInfo"}},
      {[&] { return plugin.reaccess_altnode(nullptr, object("/"), nullptr, nullptr, nullptr, nullptr, 0, 0); },
       0,
       {"reAccessAltNode"}},
  });
  framework.qmfi_free_providerlist(providers);
}

TEST_F(OperationScopes, OfNodes) {
  table.add(DEVICE, "/data");
  table.add(SNAPSHOT, "/data_alt");
  kfi_domain* configuration = &configurationDomain();
  kfi_domain& primary = node("/data");
  kfi_domain& alternate = node("/data_alt");
  std::string state = "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n";
  kfi_blob blob{state.size() + 1, state.data(), 1};
  expectScopes({
      {[&] { return plugin.init_node(&primary, &configuration, 1, nullptr); }, 0, {"initNode", "setMntOpts"}},
      {[&] { return plugin.init_altnode(nullptr, nullptr, &alternate); }, 0, {"initAltNode", "setMntOpts"}},
      {[&] { return fetchState(primary); }, 0, {"processProviderState", "getNodeState"}},
      {[&] { return plugin.process_providerstate(&primary, &blob, 0); }, 0, {"processProviderState", "setNodeState"}},
      {[&] { return plugin.cache_disable(&primary); }, 0, {"cacheDisable"}},
      {[&] { return plugin.cache_enable(&primary), 0; }, 0, {"cacheEnable"}},
  });
}

TEST_F(OperationScopes, OfFreezing) {
  stopPlugin();
  configure("[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=7\nQUIESCENCE_SERIAL_QUIESCENCE=1\n");
  ASSERT_EQ(startPlugin(), 0);
  const std::string path = makeDirectory("data");
  table.add(DEVICE, path);
  kfi_quiescenode* nodes[] = {initialisedNode(path).fid_qnode, initialisedNode(path).fid_qnode};
  const auto quiesce = [&] { return plugin.quiesce(nullptr, nodes, 2, nullptr); };
  // What is traced between the two is written when the second is through.
  const auto quiesceAndThaw = [&] {
    const int status = quiesce();
    plugin.unquiesce(nullptr, nodes, 2);
    return status;
  };
  expectScopes({
      {quiesceAndThaw, 0, {"quiesce", "qmFreezeAll", "unquiesce"}},
      {[&] {
         importedCalls().failDriver(QM_FREEZE_ALL, 1, ENOTTY);
         return quiesceAndThaw();
       },
       0,
       {"quiesce", "qmFreezeAll", "qmFreeze", "unquiesce"}},
      {[&] {
         importedCalls().failDriver(QM_FREEZE_ALL, 1, ENOTTY);
         importedCalls().failDriver(QM_FREEZE, 2, EIO);
         return quiesce();
       },
       6,
       {"quiesce", "qmFreezeAll", "qmFreeze", "thawFileSystemList", "closeFDList"}},
  });
}

TEST_F(OperationScopes, OfTheAlternateTree) {
  kfi_domain& primary = node("/data");
  primary.fid_provider = "qmfsfi"_text;
  primary.fid_name = primary.fid_objid->vid_name;
  kfi_domain& imported = node("/imported");
  kfi_subobj_entry entries[] = {{"/imported"_text, nullptr}, {nullptr, nullptr}};
  imported.fid_subobjs = entries;
  qmfi_objid* snapshot = object(SNAPSHOT);
  qmfi_objid* made = nullptr;
  table.add(SNAPSHOT, "/data_alt");
  kfi_domain& mounted = node("/data_alt");
  expectScopes({
      {[&] { return plugin.build_alttree(&primary, "fiid"_text, nullptr, &snapshot, 1, &made); },
       0,
       {"buildAltTree", "getTime"}},
      {[&] { return plugin.import_tree(&imported, nullptr, &snapshot, 1, &made); }, 0, {"importTreeNode", "getTime"}},
      {[&] { return plugin.deport_tree(nullptr, &mounted, nullptr); },
       0,
       {"deportTree", "QmFSUmount", "getUmountLocation", "executeCommand", "removeMntPoint"}},
  });
  imported.fid_subobjs = nullptr;
}

TEST_F(OperationScopes, OfOnlineAndAccess) {
  constexpr int bringOnlineMode = 1;
  constexpr int takeOffline = 2;
  constexpr int remove = 1;
  constexpr std::uint32_t disabledBit = 0x40;
  const std::string path = makeDirectory("data");
  kfi_domain& offline = restoredNode("/data", DEVICE);
  kfi_domain& mounted = mountedNode(path, SNAPSHOT);
  kfi_subobj_list devices{object(DEVICE), nullptr};
  kfi_node_subobj_list offlineList{&offline, &devices, nullptr};
  kfi_node_subobj_list mountedList{&mounted, nullptr, nullptr};
  expectScopes({
      {[&] { return plugin.online(nullptr, &offline, bringOnlineMode, 0); }, 0, {"online", "createMntPoint"}},
      {[&] { return plugin.online(nullptr, &mounted, takeOffline, 0); },
       0,
       {"online", "QmFSUmount", "getUmountLocation", "executeCommand"}},
      {[&] { return plugin.dispose(nullptr, &mounted, nullptr, remove); },
       0,
       {"dispose", "online", "QmFSUmount", "getUmountLocation", "executeCommand", "removeMntPoint"}},
      {[&] {
         offline.fid_attr = disabledBit;
         return plugin.enable_access(&offlineList, 0, 0, 0);
       },
       0,
       {"enableAccess", "fsck"}},
      {[&] {
         programs.answerNext("/bin/umount", Answer().complains("busy").exits(1));
         return plugin.disable_access(&mountedList, 0);
       },
       0,
       {"disableAccess", "QmFSUmount", "executeCommand", "getMountStatus", "umountRetry"}},
  });
}

TEST_F(OperationScopes, OfResources) {
  expectScopes({
      {[&] { return formatDevice(); },
       0,
       {"format", "convertBlockToRawDevice", "mkfs", "getTime", "createMntPoint", "mount", "QmFSUmount"}},
      {[&] { return bringOnline(DEVICE, nullptr); },
       0,
       {"onlineResource", "generateName", "convertRawToBlockDevice", "executeCommand", "createPathAndAllocBuffer"}},
      {[&] {
         programs.answer("/bin/mount", Answer().exits(32));
         return bringOnline(DEVICE, "/data"_text);
       },
       6,
       {"onlineResource", "convertRawToBlockDevice", "executeCommand", "getMountStatus", "fsck", "executeCommand",
        "getMountStatus", "dumpMountInformation"}},
  });
}

}  // namespace
