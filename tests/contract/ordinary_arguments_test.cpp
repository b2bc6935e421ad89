// Every entry point with ordinary arguments, in one plug-in from its start to its stop.
#include <cstdlib>
#include <set>

#include "entry_point_call.h"
#include "host_state.h"
#include "plugin_fixture.h"

namespace {

using ::testing::IsEmpty;

std::set<std::string> entryPointNames() {
  return {
#define NAME(name, result, parameters) #name,
      FOREIGN_ENTRY_POINTS(NAME)
#undef NAME
  };
}

class OrdinaryArguments : public LoadedPlugin {
 protected:
  void SetUp() override {
    LoadedPlugin::SetUp();
    table.add("/dev/qm/dsk/dg1/vol1", mountPoint);
    programs.answer("/bin/umount", Answer().unmounts());
    programs.answer("/opt/KRIB/bin/qmumount", Answer().unmounts());
    programs.answer("/opt/KRIBqmfs/sbin/fstyp", Answer().prints("qmfs"));
  }

  std::vector<Call> nodeCalls();
  std::vector<Call> alternateTreeCalls();
  std::vector<Call> accessCalls();
  std::vector<Call> errorsAndLists();
  std::vector<Call> sessions();
  // What the provider leaves to the framework, which does not support it either.
  std::vector<Call> notSupportedForNodes();
  std::vector<Call> notSupportedOtherwise();
  // All of them, from init to fini.
  std::vector<Call> allCalls();

  int makeNode(kfi_domain*& made, const std::string& name) {
    made = &node(name);
    kfi_domain* configuration = &configurationDomain();
    return plugin.init_node(made, &configuration, 1, nullptr);
  }

  const std::string mountPoint = "/tmp";
  kfi_domain* primary = nullptr;
  kfi_domain* alternate = nullptr;
  kfi_confspec parameter{"qmfsFreezeTimeout"_text, "5"_text, nullptr};
  qmfi_objid* snapshot = nullptr;
  qmfi_objid* outObject = nullptr;
  qmfi_objid** outObjects = nullptr;
  int outNumber = 0;
  long outLong = 0;
  kfi_subobj_entry entries[2] = {{"/tmp"_text, "/tmp_alt"_text}, {nullptr, nullptr}};
  kfi_subobj_list devices{nullptr, nullptr};
  kfi_node_subobj_list access{nullptr, nullptr, nullptr};
  kfi_splitnode splitNode{"/tmp"_text, nullptr};
  char* resources[1] = {"/dev/qm/dsk/dg1/vol2"_text};
  char** outPaths = nullptr;
  char* outText = nullptr;
  kfi_msg_info* errors = nullptr;
  char* const text = "text"_text;
  char* names[2] = {text, nullptr};
};

std::vector<Call> OrdinaryArguments::nodeCalls() {
  return {
      {"claim", "a mounted file system is claimed", 1,
       [this] { return plugin.claim(object(mountPoint), &outObjects, &outNumber); }},
      {"init_node", "a mounted node is initialised", 0, [this] { return makeNode(primary, mountPoint); }},
      {"supports_fitype", "the answer is 0", 0, [this] { return plugin.supports_fitype(primary, "qmfs"_text); }},
      {"config", "a declared parameter is stored", 0,
       [this] {
         EXPECT_EQ(plugin.init_node(&configurationDomain(), nullptr, 0, nullptr), 0);
         return plugin.config(&configurationDomain(), 0, nullptr, &parameter);
       }},
      {"check_node_existence", "the node is mounted", 0,
       [this] { return plugin.check_node_existence(primary, &outNumber); }},
      {"subobj_list", "the device is handed out", 0,
       [this] {
         const int status = plugin.subobj_list(primary, &outObjects, &outNumber);
         framework.qmfi_free_buf(outObjects, sizeof(void*));
         return status;
       }},
      {"quiesce", "one node is frozen", 0, [this] { return plugin.quiesce(primary->fid_qnode, nullptr, 0, nullptr); }},
      {"unquiesce", "and thawed", 0,
       [this] {
         plugin.unquiesce(primary->fid_qnode, nullptr, 0);
         return 0;
       }},
      {"cache_disable", "a remount succeeds", 0, [this] { return plugin.cache_disable(primary); }},
      {"cache_enable", "and another", 0,
       [this] {
         plugin.cache_enable(primary);
         return 0;
       }},
  };
}

std::vector<Call> OrdinaryArguments::alternateTreeCalls() {
  return {
      {"build_alttree", "a snapshot is mounted", 0,
       [this] {
         primary->fid_provider = "qmfsfi"_text;
         primary->fid_subobjs = entries;
         snapshot = object("/dev/qm/dsk/dg1/snap1");
         programs.answerNext("/bin/mount", Answer().mounts("/dev/qm/dsk/dg1/snap1 /tmp_alt qmfs ro 0 0"));
         return plugin.build_alttree(primary, "fiid"_text, nullptr, &snapshot, 1, &outObject);
       }},
      {"init_altnode", "the alternate node is initialised", 0,
       [this] {
         alternate = &node("/tmp_alt");
         return plugin.init_altnode(nullptr, primary, alternate);
       }},
      {"init_remnode", "and once more as a remote one", 0,
       [this] { return plugin.init_remnode(nullptr, primary, alternate); }},
      {"import_tree", "a mount is used again", 0,
       [this] { return plugin.import_tree(primary, nullptr, &snapshot, 1, &outObject); }},
      {"reaccess_altnode", "the path is there", 0,
       [this] {
         return plugin.reaccess_altnode(primary, object("/tmp"), nullptr, nullptr, &outObject, &outObject, 0, 1);
       }},
      {"process_providerstate", "the state is fetched", 0,
       [this] {
         kfi_blob blob{};
         const int status = plugin.process_providerstate(primary, &blob, 1);
         framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
         return status;
       }},
      {"deport_tree", "the alternate tree is taken down", 0,
       [this] { return plugin.deport_tree(primary, alternate, nullptr); }},
  };
}

std::vector<Call> OrdinaryArguments::accessCalls() {
  return {
      {"disable_access", "the node is unmounted", 0,
       [this] {
         devices.kso_objid = object("/dev/qm/dsk/dg1/vol1");
         access = {primary, &devices, nullptr};
         return plugin.disable_access(&access, 0);
       }},
      {"enable_access", "and mounted", 0, [this] { return plugin.enable_access(&access, 0, 0, 0); }},
      {"online", "the node is mounted", 0, [this] { return plugin.online(nullptr, primary, 1, 0); }},
      {"dispose", "nothing is mounted any more, and the directory stays as it is busy", 0,
       [this] { return plugin.dispose(nullptr, primary, nullptr, 1); }},
      {"is_parent_pgn", "the device holds the type", 0,
       [this] { return plugin.is_parent_pgn("/dev/qm/dsk/dg1/vol1"_text, &outNumber, 0); }},
      {"format", "a file system is made and proved mountable", 0,
       [this] { return plugin.format(resources, 1, nullptr, "qmfs"_text, nullptr, 1, nullptr, nullptr); }},
      {"online_resource", "a resource is mounted", 0,
       [this] {
         const int status =
             plugin.online_resource(resources, 1, nullptr, "qmfs"_text, nullptr, nullptr, 0, &outPaths, &outNumber);
         if (outPaths != nullptr) framework.qmfi_free_buf(outPaths[0], 6);
         std::free(outPaths);
         return status;
       }},
      {"deinit_node", "the node's private data go", 0,
       [this] {
         plugin.deinit_node(primary);
         return plugin.subobj_list(primary, &outObjects, &outNumber) - 3;
       }},
  };
}

std::vector<Call> OrdinaryArguments::errorsAndLists() {
  return {
      {"get_last_error", "what was pushed is handed out", 0, [this] { return plugin.get_last_error(&errors); }},
      {"get_locale_message", "as a text", 0,
       [this] {
         kfi_msg_info record{"MSG"_text, "[]"_text, "file"_text, 1, 2, nullptr, nullptr};
         return plugin.get_locale_message(&outNumber, &record, "de", &outText);
       }},
      {"del_locale_message", "which is freed", 0, [this] { return plugin.del_locale_message(&outText); }},
      {"del_last_error", "and forgotten", 0, [this] { return plugin.del_last_error(&errors); }},
      {"errmsg", "a status has a sentence", 0,
       [this] {
         const char* sentence = nullptr;
         return plugin.errmsg(6, &sentence);
       }},
      {"get_provider_info", "the provider is described", 0,
       [this] {
         kfi_provider_list* list = nullptr;
         const int status = plugin.get_provider_info(&list);
         framework.qmfi_free_providerlist(list);
         return status;
       }},
      {"objctl", "the operation's answer is its result, and the text is returned", 0,
       [this] {
         const int status = plugin.objctl(
             "name"_text, "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> </OBJCTL_ARG_LIST>"_text, &outText,
             &outNumber);
         EXPECT_STREQ(outText, "<OBJCTL_ARG_LIST> </OBJCTL_ARG_LIST> ");
         EXPECT_EQ(outNumber, 2);
         std::free(outText);
         return status;
       }},
  };
}

std::vector<Call> OrdinaryArguments::sessions() {
  return {
      {"preselect", "the session learns of the node", 0,
       [this] {
         splitNode.ksn_domain = &node("/tmp");
         return plugin.preselect(&splitNode, "session"_text, nullptr, 0);
       }},
      {"select", "the session form is not supported", 2,
       [this] { return plugin.select(&splitNode, "session"_text, nullptr, 0); }},
      {"prepare", "the session form is not supported", 2,
       [this] { return plugin.prepare(&splitNode, "session"_text, nullptr, 0, 0); }},
      {"make", "the session form is not supported", 2,
       [this] { return plugin.make(&splitNode, "session"_text, nullptr, 0, &outObjects, &outNumber); }},
      {"update_snapshot_handle", "the session form is not supported", 2,
       [this] { return plugin.update_snapshot_handle("session"_text, this); }},
  };
}

// A call that the framework does not support either.
Call unsupported(const char* name, std::function<int()> make) {
  return {name, "not supported", 2, std::move(make)};
}

std::vector<Call> OrdinaryArguments::notSupportedForNodes() {
  kfi_domain* const domain = &node("/tmp");
  qmfi_objid** const objects = &snapshot;
  return {
      unsupported("reaccess_tmpobj",
                  [=, this] { return plugin.reaccess_tmpobj(domain, object("/tmp"), text, domain, text, 1); }),
      unsupported("isready", [this] { return plugin.isready(&splitNode, text, nullptr, 0); }),
      unsupported("interpose", [=, this] { return plugin.interpose(domain, objects, &outObjects, &outNumber); }),
      unsupported("getattr", [=, this] { return plugin.getattr(domain, domain, &splitNode, nullptr); }),
      unsupported(
          "restore",
          [=, this] { return plugin.restore(objects, objects, 1, text, text, &outPaths, &outLong, 0, &outLong); }),
      unsupported("resync", [=, this] { return plugin.resync(objects, objects, 1, text, text, 0, &outLong); }),
      unsupported("get_status", [=, this] { return plugin.get_status(objects, objects, 1, text, 0, &outLong); }),
      unsupported("pre_prepare", [=, this] { return plugin.pre_prepare(domain); }),
      unsupported("verify_qscombos", [this] { return plugin.verify_qscombos(&splitNode, nullptr, 0); }),
      unsupported("set_import_options",
                  [this] { return plugin.set_import_options(&splitNode, nullptr, 0, nullptr, 0, nullptr); }),
      unsupported("start_build_alttree", [=, this] { return plugin.start_build_alttree(domain, objects, nullptr); }),
      unsupported("refresh_tree",
                  [=, this] { return plugin.refresh_tree(domain, 0, 0, nullptr, 0, &outNumber, nullptr, 0); }),
      unsupported("get_backupset", [=, this] { return plugin.get_backupset(domain, 0, names, 1, nullptr); }),
      unsupported("get_app_status", [=, this] { return plugin.get_app_status(domain, 0, nullptr); }),
      unsupported("set_op_status", [=, this] { return plugin.set_op_status(domain, 0); }),
      unsupported("set_comp_status", [=, this] { return plugin.set_comp_status(domain, 0, text, 0); }),
      unsupported("set_restorepaths", [=, this] { return plugin.set_restorepaths(domain, text, 0); }),
      unsupported("createSnapReplicaNode", [=, this] { return plugin.createSnapReplicaNode(domain, nullptr); }),
      unsupported("update_snapshot_id", [=, this] { return plugin.update_snapshot_id(domain, domain, nullptr, 0); }),
      unsupported("getSnapshotSetId", [=, this] { return plugin.getSnapshotSetId(domain, &outText); }),
      unsupported("get_snapdiff", [=, this] { return plugin.get_snapdiff(domain, nullptr, nullptr, nullptr); }),
      unsupported("post_deport", [=, this] { return plugin.post_deport(domain, domain); }),
  };
}

// The out arguments' types are the framework's own, so a pointer of each type is all that can be given.
template <typename Record>
Record** placeFor() {
  static Record* place = nullptr;
  return &place;
}

std::vector<Call> OrdinaryArguments::notSupportedOtherwise() {
  return {
      unsupported("enumerate_nodes",
                  [this] { return plugin.enumerate_nodes(placeFor<kfi_node_list>(), &outNumber, 1, text); }),
      unsupported("enumerate_associations",
                  [this] { return plugin.enumerate_associations(placeFor<kfi_assoc_list>()); }),
      unsupported("enumerate_group_nodes",
                  [this] { return plugin.enumerate_group_nodes(placeFor<kfi_group_node_list>()); }),
      unsupported("enumerate_fims", [this] { return plugin.enumerate_fims(placeFor<kfi_fim_list>()); }),
      unsupported("isvalid_node_association", [this] { return plugin.isvalid_node_association(nullptr, &outNumber); }),
      unsupported("get_associated_nodes",
                  [this] { return plugin.get_associated_nodes(nullptr, placeFor<kfi_node_list>()); }),
      unsupported("query_valid_secondaries",
                  [this] { return plugin.query_valid_secondaries(text, &outObjects, &outLong); }),
      unsupported("res_status", [this] { return plugin.res_status(object("/tmp"), 0, &outLong, &errors); }),
      unsupported("revisit_pgn_nodes", [this] { return plugin.revisit_pgn_nodes(nullptr); }),
      unsupported("translate_resource_names", [this] { return plugin.translate_resource_names(names, 0, names); }),
      unsupported(
          "enumerate_enclosures",
          [this] { return plugin.enumerate_enclosures(placeFor<kfi_enclosure_node_list>(), &outNumber, text); }),
      unsupported("import_resource",
                  [this] { return plugin.import_resource(names, text, text, text, 1, names, text); }),
      unsupported("enumerate_host_nodes",
                  [this] { return plugin.enumerate_host_nodes(placeFor<kfi_host_node_list>(), &outNumber, text); }),
      unsupported("deport_resource", [this] { return plugin.deport_resource(text, text, text, text, 0); }),
      unsupported("unformat", [this] { return plugin.unformat(names, 1, 0); }),
      unsupported("pre_deport_resource", [this] { return plugin.pre_deport_resource(text, 0, text); }),
  };
}

std::vector<Call> OrdinaryArguments::allCalls() {
  std::vector<Call> calls = {{"init", "the plug-in starts", 0, [this] { return startPlugin(); }}};
  for (const auto& part : {nodeCalls(), alternateTreeCalls(), accessCalls(), errorsAndLists(), sessions(),
                           notSupportedForNodes(), notSupportedOtherwise()}) {
    calls.insert(calls.end(), part.begin(), part.end());
  }
  calls.push_back({"fini", "the plug-in stops", 0, [this] {
                     stopPlugin();
                     return 0;
                   }});
  return calls;
}

TEST_F(OrdinaryArguments, AreAnsweredAsDecidedByEveryEntryPoint) {
  std::set<std::string> called;
  for (const auto& call : allCalls()) {
    EXPECT_EQ(call.make(), call.status) << call.entryPoint << ": " << call.rule;
    called.insert(call.entryPoint);
  }
  EXPECT_EQ(called, entryPointNames());
  EXPECT_THAT(callbacks, IsEmpty());
}

TEST_F(OrdinaryArguments, LeaveTheHostsOwnStateAsItIs) {
  const UnusualHostState unusual;
  const auto before = hostState();
  for (const auto& call : allCalls()) {
    EXPECT_EQ(call.make(), call.status) << call.entryPoint << ": " << call.rule;
    EXPECT_EQ(hostState(), before) << call.entryPoint << ": " << call.rule;
  }
}

}  // namespace
