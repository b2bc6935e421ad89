// Entry points whose arguments are wrong in one place each.
#include <climits>

#include "entry_point_call.h"
#include "plugin_fixture.h"

namespace {

class WrongArguments : public StartedPlugin {
 protected:
  void SetUp() override {
    StartedPlugin::SetUp();
    table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
    mounted = &initialisedNode("/mnt/a");
    bare = &node("/mnt/b");
    ASSERT_EQ(plugin.init_node(bare, nullptr, 0, nullptr), 0);
    strange = &node("/mnt/c");
    ours = &node("/mnt/d");
    ours->fid_provider = "qmfsfi"_text;
    forget();
  }

  void expectAll(const std::vector<Call>& calls) {
    for (const auto& call : calls) {
      const std::string shown = call.entryPoint + ": " + call.rule;
      EXPECT_EQ(call.make(), call.status) << shown;
      expectNothingDone(shown);
      EXPECT_EQ(outObject, untouchedObject) << shown;
      EXPECT_EQ(outObjects, untouchedObjects) << shown;
      EXPECT_EQ(outNumber, -5) << shown;
      forget();
    }
  }

  kfi_domain* mounted = nullptr;  // initialised, with a device
  kfi_domain* bare = nullptr;     // initialised, without a device
  kfi_domain* strange = nullptr;  // never initialised
  kfi_domain* ours = nullptr;     // of this provider, never initialised
  kfi_domain unnamed{};
  qmfi_objid textless{nullptr, 0, 1};

  // Out arguments and what they hold as long as they are untouched.
  qmfi_objid untouched{};
  qmfi_objid* const untouchedObject = &untouched;
  qmfi_objid* untouchedList[1] = {&untouched};
  qmfi_objid** const untouchedObjects = untouchedList;
  qmfi_objid* outObject = untouchedObject;
  qmfi_objid** outObjects = untouchedObjects;
  int outNumber = -5;
};

TEST_F(WrongArguments, OfNodeOperationsAreInvalid) {
  kfi_blob blob{};
  const char* sentence = nullptr;
  expectAll({
      {"init_node", "no domains for a count", 3, [&] { return plugin.init_node(strange, nullptr, 1, nullptr); }},
      {"init_node", "negative count", 3, [&] { return plugin.init_node(strange, &mounted, -1, nullptr); }},
      {"init_altnode", "no name", 3, [&] { return plugin.init_altnode(mounted, mounted, &unnamed); }},
      {"init_remnode", "no name", 3, [&] { return plugin.init_remnode(mounted, mounted, &unnamed); }},
      {"subobj_list", "no node", 3, [&] { return plugin.subobj_list(nullptr, &outObjects, &outNumber); }},
      {"subobj_list", "no list", 3, [&] { return plugin.subobj_list(mounted, nullptr, &outNumber); }},
      {"subobj_list", "no count", 3, [&] { return plugin.subobj_list(mounted, &outObjects, nullptr); }},
      {"subobj_list", "no private data", 3, [&] { return plugin.subobj_list(strange, &outObjects, &outNumber); }},
      {"check_node_existence", "no name", 3, [&] { return plugin.check_node_existence(&unnamed, &outNumber); }},
      {"process_providerstate", "no name", 3, [&] { return plugin.process_providerstate(&unnamed, &blob, 1); }},
      {"process_providerstate", "no blob", 3, [&] { return plugin.process_providerstate(mounted, nullptr, 1); }},
      {"process_providerstate", "no device", 3, [&] { return plugin.process_providerstate(bare, &blob, 1); }},
      {"cache_disable", "no name", 3, [&] { return plugin.cache_disable(&unnamed); }},
      {"cache_disable", "no private data", 3, [&] { return plugin.cache_disable(strange); }},
      {"cache_disable", "no device", 3, [&] { return plugin.cache_disable(bare); }},
      {"errmsg", "no place", 3, [&] { return plugin.errmsg(6, nullptr); }},
      {"errmsg", "unknown status", 0, [&] { return plugin.errmsg(INT_MIN, &sentence); }},
      {"is_parent_pgn", "no flag", 3, [&] { return plugin.is_parent_pgn("/dev/x"_text, nullptr, 0); }},
      {"is_parent_pgn", "no device", 3, [&] { return plugin.is_parent_pgn(nullptr, &outNumber, 0); }},
  });
  // Those without a result do nothing.
  for (kfi_domain* domain : {&unnamed, strange, bare}) plugin.cache_enable(domain);
  plugin.deinit_node(&unnamed);
  plugin.deinit_node(strange);
  expectNothingDone("no result");
}

TEST_F(WrongArguments, OfConfigurationAreInvalidAndStoreNothing) {
  kfi_confspec good{"qmfsFreezeTimeout"_text, "55"_text, nullptr};
  kfi_confspec undeclared{"other"_text, "1"_text, nullptr};
  kfi_confspec nameless{nullptr, "1"_text, nullptr};
  kfi_confspec valueless{"qmfsFreezeTimeout"_text, nullptr, nullptr};
  const auto configure = [this](kfi_domain* domain, int category, kfi_confspec* spec) {
    return [this, domain, category, spec] { return plugin.config(domain, category, nullptr, spec); };
  };
  kfi_confspec goodThenUndeclared{"qmfsFreezeTimeout"_text, "55"_text, &undeclared};
  kfi_domain* configuration = &configurationDomain();
  expectAll({
      {"config", "no node", 3, configure(nullptr, 0, &good)},
      {"config", "no specification", 3, configure(configuration, 0, nullptr)},
      {"config", "no private data", 3, configure(strange, 0, &good)},
      {"config", "category below", 3, configure(configuration, -1, &good)},
      {"config", "category above", 3, configure(configuration, 2, &good)},
      {"config", "parameter of another category", 3, configure(configuration, 1, &good)},
      {"config", "undeclared parameter", 3, configure(configuration, 0, &undeclared)},
      {"config", "undeclared parameter behind a good one", 3, configure(configuration, 0, &goodThenUndeclared)},
      {"config", "no name", 3, configure(configuration, 0, &nameless)},
      {"config", "no value", 3, configure(configuration, 0, &valueless)},
  });
  table.add("/dev/qm/dsk/dg1/root", "/");
  ASSERT_EQ(plugin.quiesce(initialisedNode("/").fid_qnode, nullptr, 0, nullptr), 0);
  EXPECT_EQ(importedCalls().driverRequests().at(0).timeout, 2) << "a value was stored";
  plugin.unquiesce(nullptr, nullptr, 0);
}

TEST_F(WrongArguments, OfTheAlternateTreeAreInvalid) {
  qmfi_objid* none[] = {nullptr};
  qmfi_objid* nameless[] = {&textless};
  qmfi_objid* device[] = {object("/dev/qm/dsk/dg1/snap")};
  qmfi_objid* blank[] = {object("/dev/qm/dsk/dg1/a b")};
  kfi_domain foreign = *ours;
  foreign.fid_provider = "other"_text;
  kfi_domain withoutProvider = *ours;
  withoutProvider.fid_provider = nullptr;
  kfi_domain withoutName{};
  withoutName.fid_provider = "qmfsfi"_text;
  const auto build = [this](kfi_domain* domain, qmfi_objid** snapshots, int count, qmfi_objid** out) {
    return [=, this] { return plugin.build_alttree(domain, "fiid"_text, nullptr, snapshots, count, out); };
  };
  const auto import = [this](kfi_domain* domain, qmfi_objid** snapshots, int count, qmfi_objid** out) {
    return [=, this] { return plugin.import_tree(domain, nullptr, snapshots, count, out); };
  };
  kfi_subobj_entry entries[] = {{"/mnt/d"_text, "/mnt/d_alt"_text}, {nullptr, nullptr}};
  kfi_domain importable = *ours;
  importable.fid_subobjs = entries;
  expectAll({
      {"build_alttree", "no fiid", 6,
       [&] { return plugin.build_alttree(ours, nullptr, nullptr, device, 1, &outObject); }},
      {"build_alttree", "no domain", 6, build(nullptr, device, 1, &outObject)},
      {"build_alttree", "no provider", 3, build(&withoutProvider, device, 1, &outObject)},
      {"build_alttree", "another provider, whatever else", 6, build(&foreign, nullptr, 0, nullptr)},
      {"build_alttree", "no name", 3, build(&withoutName, device, 1, &outObject)},
      {"build_alttree", "no snapshots", 3, build(ours, nullptr, 1, &outObject)},
      {"build_alttree", "null snapshot", 3, build(ours, none, 1, &outObject)},
      {"build_alttree", "snapshot without a name", 3, build(ours, nameless, 1, &outObject)},
      {"build_alttree", "snapshot with a blank", 3, build(ours, blank, 1, &outObject)},
      {"build_alttree", "no place", 3, build(ours, device, 1, nullptr)},
      {"import_tree", "no domain", 3, import(nullptr, device, 1, &outObject)},
      {"import_tree", "no sub-object and no private data", 3, import(ours, device, 1, &outObject)},
      {"import_tree", "no snapshots to mount", 3, import(&importable, nullptr, 1, &outObject)},
      {"import_tree", "null snapshot", 3, import(&importable, none, 1, &outObject)},
      {"import_tree", "snapshot without a name", 3, import(&importable, nameless, 1, &outObject)},
      {"import_tree", "snapshot with a blank", 3, import(&importable, blank, 1, &outObject)},
      {"import_tree", "no place", 3, import(&importable, device, 1, nullptr)},
      {"reaccess_altnode", "no object", 3,
       [&] { return plugin.reaccess_altnode(ours, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 1); }},
      {"reaccess_altnode", "no name", 3,
       [&] { return plugin.reaccess_altnode(ours, &textless, nullptr, nullptr, nullptr, nullptr, 0, 1); }},
      {"reaccess_altnode", "no object, intent 2", 0,
       [&] { return plugin.reaccess_altnode(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 2); }},
  });
  EXPECT_EQ(importable.fid_private, nullptr);
  EXPECT_EQ(ours->fid_private, nullptr);
}

TEST_F(WrongArguments, OfOnlineDisposeAndDeportAreInvalid) {
  kfi_accessnode nothing{{nullptr, nullptr}, 0};
  kfi_accessnode something{{nullptr, nullptr}, 1};
  expectAll({
      {"online", "no node", 3, [&] { return plugin.online(mounted, nullptr, 1, 0); }},
      {"online", "no name", 3, [&] { return plugin.online(mounted, &unnamed, 1, 0); }},
      {"online", "no private data", 3, [&] { return plugin.online(nullptr, strange, 1, 0); }},
      {"online", "no device", 3, [&] { return plugin.online(nullptr, bare, 1, 0); }},
      {"online", "no node to take offline", 3, [&] { return plugin.online(mounted, nullptr, 2, 1); }},
      {"online", "no name to take offline", 3, [&] { return plugin.online(mounted, &unnamed, 2, 1); }},
      {"online", "no known mode, whatever else", 0, [&] { return plugin.online(nullptr, nullptr, 3, 1); }},
      {"dispose", "no node", 3, [&] { return plugin.dispose(mounted, nullptr, nullptr, 1); }},
      {"dispose", "no name", 3, [&] { return plugin.dispose(mounted, &unnamed, nullptr, 1); }},
      {"dispose", "to be kept, whatever else", 0, [&] { return plugin.dispose(nullptr, nullptr, nullptr, 2); }},
      {"deport_tree", "no nodes", 0, [&] { return plugin.deport_tree(nullptr, nullptr, nullptr); }},
      {"deport_tree", "no nodes but access", 0, [&] { return plugin.deport_tree(nullptr, nullptr, &something); }},
      {"deport_tree", "no access, whatever else", 0, [&] { return plugin.deport_tree(nullptr, nullptr, &nothing); }},
      {"deport_tree", "primary without a name", 0, [&] { return plugin.deport_tree(&unnamed, nullptr, nullptr); }},
      {"deport_tree", "alternate without a name", 3, [&] { return plugin.deport_tree(mounted, &unnamed, nullptr); }},
      {"deport_tree", "no primary beside an alternate", 0,
       [&] { return plugin.deport_tree(nullptr, strange, nullptr); }},
  });
}

TEST_F(WrongArguments, OfAccessAreInvalid) {
  kfi_subobj_list nameless{&textless, nullptr};
  kfi_subobj_list without{nullptr, nullptr};
  kfi_domain marked = *strange;
  marked.fid_attr = 0x40;
  kfi_node_subobj_list withoutNode{nullptr, nullptr, nullptr};
  kfi_node_subobj_list withoutName{&unnamed, nullptr, nullptr};
  kfi_subobj_list device{object("/dev/qm/dsk/dg1/vol9"), nullptr};
  kfi_domain markedUnnamed{};
  markedUnnamed.fid_attr = 0x40;
  kfi_node_subobj_list markedWithoutName{&markedUnnamed, &device, nullptr};
  kfi_node_subobj_list noDevices{&marked, nullptr, nullptr};
  kfi_node_subobj_list noDevice{&marked, &without, nullptr};
  kfi_node_subobj_list namelessDevice{&marked, &nameless, nullptr};
  expectAll({
      {"disable_access", "no list", 6, [&] { return plugin.disable_access(nullptr, 0); }},
      {"disable_access", "no first node", 6, [&] { return plugin.disable_access(&withoutNode, 0); }},
      {"disable_access", "no name", 3, [&] { return plugin.disable_access(&withoutName, 0); }},
      {"disable_access", "no name, but access is disabled", 0,
       [&] { return plugin.disable_access(&markedWithoutName, 0); }},
      {"enable_access", "no list", 6, [&] { return plugin.enable_access(nullptr, 0, 0, 0); }},
      {"enable_access", "no first node", 6, [&] { return plugin.enable_access(&withoutNode, 0, 0, 0); }},
      {"enable_access", "no name", 3, [&] { return plugin.enable_access(&markedWithoutName, 0, 0, 0); }},
      {"enable_access", "no name, but no access disabled", 0,
       [&] { return plugin.enable_access(&withoutName, 0, 0, 0); }},
      {"enable_access", "no devices", 3, [&] { return plugin.enable_access(&noDevices, 0, 0, 0); }},
      {"enable_access", "no device", 3, [&] { return plugin.enable_access(&noDevice, 0, 0, 0); }},
      {"enable_access", "device without a name", 3, [&] { return plugin.enable_access(&namelessDevice, 0, 0, 0); }},
      {"enable_access", "bit 0, whatever else", 0, [&] { return plugin.enable_access(&withoutNode, 0, 0, 1); }},
  });
  EXPECT_EQ(marked.fid_attr, 0x40u);
}

TEST_F(WrongArguments, OfResourcesAreInvalid) {
  char* none[] = {nullptr};
  char* device[] = {"/dev/qm/dsk/dg1/vol9"_text};
  char* blank[] = {"/dev/qm/dsk/dg1/a b"_text};
  char* slash[] = {"/dev/qm/"_text};
  char** paths = nullptr;
  const auto format = [this](char** devices, int count, char* type, int flags) {
    return [=, this] { return plugin.format(devices, count, nullptr, type, nullptr, flags, nullptr, nullptr); };
  };
  const auto online = [this](char** devices, int count, char* mountPoint, char* type, char*** out, int* outCount) {
    return [=, this] {
      return plugin.online_resource(devices, count, mountPoint, type, nullptr, nullptr, 0, out, outCount);
    };
  };
  int pathCount = 0;
  expectAll({
      {"format", "another type, whatever else", 3, format(nullptr, 0, "xfs"_text, 0)},
      {"format", "nothing to do, whatever else", 0, format(nullptr, -1, nullptr, 2)},
      {"format", "no devices", 3, format(nullptr, 1, "qmfs"_text, 1)},
      {"format", "null device", 3, format(none, 1, nullptr, 1)},
      {"format", "device with a blank", 3, format(blank, 1, nullptr, 1)},
      {"online_resource", "no paths", 3, online(device, 1, nullptr, nullptr, nullptr, &outNumber)},
      {"online_resource", "no path count", 3, online(device, 1, nullptr, nullptr, &paths, nullptr)},
      {"online_resource", "another type", 3, online(device, 1, nullptr, "xfs"_text, &paths, &pathCount)},
      {"online_resource", "no devices", 3, online(nullptr, 1, nullptr, nullptr, &paths, &pathCount)},
      {"online_resource", "null device", 3, online(none, 1, nullptr, nullptr, &paths, &pathCount)},
      {"online_resource", "device with a blank", 3, online(blank, 1, nullptr, nullptr, &paths, &pathCount)},
      {"online_resource", "mount point with a blank", 3, online(device, 1, "/a b"_text, nullptr, &paths, &pathCount)},
      {"online_resource", "generated mount point is the root", 3,
       online(slash, 1, nullptr, nullptr, &paths, &pathCount)},
  });
  EXPECT_EQ(paths, nullptr);
}

TEST_F(WrongArguments, OfSessionsAreInvalidWhereTheyAreRead) {
  kfi_splitnode good{"/mnt/a"_text, mounted};
  kfi_splitnode withoutName{nullptr, mounted};
  kfi_splitnode withoutDomain{"/mnt/a"_text, nullptr};
  kfi_splitnode withoutKey{"/mnt/a"_text, &unnamed};
  kfi_splitnode* nodes[] = {&good, nullptr};
  // The framework does not support the session forms, so a call that comes so far is 2.
  struct Arguments {
    const char* rule;
    kfi_splitnode* single;
    char* session;
    kfi_splitnode** list;
    int count;
    int make, prepare, select, preselect;
  };
  const std::vector<Arguments> cases = {
      {"no session", &good, nullptr, nullptr, 0, 3, 3, 3, 3},
      {"no session and no node", nullptr, nullptr, nullptr, 0, 3, 3, 3, 3},
      {"no node at all", nullptr, "session"_text, nullptr, 0, 2, 2, 2, 0},
      {"count 0 of a list", &good, "session"_text, nodes, 0, 2, 2, 2, 0},
      {"negative count", nullptr, "session"_text, nodes, -1, 2, 2, 2, 0},
      {"no list for a count", &good, "session"_text, nullptr, 1, 3, 2, 3, 3},
      {"null in the list", nullptr, "session"_text, nodes, 2, 3, 2, 3, 3},
      {"node without a name", &withoutName, "session"_text, nullptr, 0, 2, 2, 3, 3},
      {"node without a domain", &withoutDomain, "session"_text, nullptr, 0, 3, 2, 3, 3},
      {"node without a key", &withoutKey, "session"_text, nullptr, 0, 3, 2, 3, 3},
  };
  std::vector<Call> calls;
  for (const Arguments& a : cases) {
    calls.push_back({"make", a.rule, a.make,
                     [this, a] { return plugin.make(a.single, a.session, a.list, a.count, &outObjects, &outNumber); }});
    calls.push_back(
        {"prepare", a.rule, a.prepare, [this, a] { return plugin.prepare(a.single, a.session, a.list, a.count, 0); }});
    calls.push_back(
        {"select", a.rule, a.select, [this, a] { return plugin.select(a.single, a.session, a.list, a.count); }});
    calls.push_back({"preselect", a.rule, a.preselect,
                     [this, a] { return plugin.preselect(a.single, a.session, a.list, a.count); }});
  }
  calls.push_back({"make", "no list to hand out", 3,
                   [&] { return plugin.make(&good, "session"_text, nullptr, 0, nullptr, &outNumber); }});
  calls.push_back({"make", "no count to hand out", 3,
                   [&] { return plugin.make(&good, "session"_text, nullptr, 0, &outObjects, nullptr); }});
  calls.push_back(
      {"update_snapshot_handle", "no session", 3, [&] { return plugin.update_snapshot_handle(nullptr, &good); }});
  expectAll(calls);
}

TEST_F(WrongArguments, OfListsAndControlAreInvalid) {
  char* names[] = {"name"_text};
  char* translated[] = {nullptr};
  char* output = nullptr;
  expectAll({
      {"translate_resource_names", "count 1", 3, [&] { return plugin.translate_resource_names(names, 1, translated); }},
      {"translate_resource_names", "negative count", 3,
       [&] { return plugin.translate_resource_names(names, -1, translated); }},
      {"translate_resource_names", "no names", 3,
       [&] { return plugin.translate_resource_names(nullptr, 0, translated); }},
      {"translate_resource_names", "no place", 3, [&] { return plugin.translate_resource_names(names, 0, nullptr); }},
      {"enumerate_nodes", "no list", 3, [&] { return plugin.enumerate_nodes(nullptr, &outNumber, 0, nullptr); }},
      {"get_provider_info", "no list", 3, [&] { return plugin.get_provider_info(nullptr); }},
      {"objctl", "no name", 3, [&] { return plugin.objctl(nullptr, nullptr, &output, &outNumber); }},
      {"objctl", "no output", 3, [&] { return plugin.objctl("name"_text, nullptr, nullptr, &outNumber); }},
      {"objctl", "no result", 3, [&] { return plugin.objctl("name"_text, nullptr, &output, nullptr); }},
  });
  EXPECT_EQ(output, nullptr);
}

}  // namespace
