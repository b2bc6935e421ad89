// The entry points that hand their arguments on, each with a call of it and what that makes of its operation.
#ifndef TESTS_UNIT_KIT_FORWARDINGS_H
#define TESTS_UNIT_KIT_FORWARDINGS_H

#include <cstdint>
#include <ostream>

#include "support/loaded_plugin.h"

inline constexpr int anyStatus = 41;

// An address that nothing follows, as a pointer of any type.
class Address {
 public:
  explicit Address(std::uintptr_t address) : m_address(address) {}
  template <typename T>
  operator T*() const {
    return reinterpret_cast<T*>(m_address);
  }

 private:
  std::uintptr_t m_address;
};

inline Address at(std::uintptr_t address) {
  return Address(address);
}

enum Delay { delayed, atOnce };

struct Forwarding {
  const char* name;
  Delay delay;
  const char* operation;
  bool answers;
  int (*call)(const EntryPoints&);
};

inline void PrintTo(const Forwarding& forwarding, std::ostream* out) {
  *out << forwarding.name;
}

#define FUNCTION(name, delay, operation, ...)                                                        \
  Forwarding {                                                                                       \
#name, delay, operation, true, [](const EntryPoints& e) { return e.fi_pgn_##name(__VA_ARGS__); } \
  }
#define PROCEDURE(name, delay, operation, ...)               \
  Forwarding {                                               \
#name, delay, operation, false, [](const EntryPoints& e) { \
      e.fi_pgn_##name(__VA_ARGS__);                    \
      return 0;                                        \
    } \
  }

inline const Forwarding FORWARDINGS[] = {
    FUNCTION(claim, atOnce, "claim(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(supports_fitype, atOnce, "supportsFiType(#1, #2)", at(1), at(2)),
    FUNCTION(deport_tree, delayed, "deportTree(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(import_tree, delayed, "importTreeNode(#1, #2, #3, 4, #5)", at(1), at(2), at(3), 4, at(5)),
    FUNCTION(init_node, delayed, "initNode(#1, #2, 3, #4)", at(1), at(2), 3, at(4)),
    FUNCTION(config, delayed, "config(#1, 2, #3, #4)", at(1), 2, at(3), at(4)),
    FUNCTION(init_altnode, delayed, "initAltNode(#1, #2, #3, false)", at(1), at(2), at(3)),
    FUNCTION(init_remnode, delayed, "initAltNode(#1, #2, #3, true)", at(1), at(2), at(3)),
    FUNCTION(reaccess_tmpobj, atOnce, "reAccessTmpObj(#1, #2, #3, #4, #5, 6)", at(1), at(2), at(3), at(4), at(5), 6),
    FUNCTION(reaccess_altnode, delayed, "reAccessAltNode(#1, #2, #3, #4, #5, #6, 7, 8)", at(1), at(2), at(3), at(4),
             at(5), at(6), 7, 8),
    PROCEDURE(deinit_node, atOnce, "deInitNode(#1)", at(1)),
    FUNCTION(dispose, delayed, "dispose(#1, #2, #3, 4)", at(1), at(2), at(3), 4),
    FUNCTION(online, delayed, "online(#1, #2, 3, 4)", at(1), at(2), 3, 4),
    FUNCTION(subobj_list, delayed, "subobjList(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(errmsg, atOnce, "errMsg(1, #2)", 1, at(2)),
    FUNCTION(build_alttree, delayed, "buildAltTree(#1, #2, #3, #4, 5, #6)", at(1), at(2), at(3), at(4), 5, at(6)),
    FUNCTION(quiesce, delayed, "quiesce([#1], 1, #4)", at(1), nullptr, 0, at(4)),
    PROCEDURE(unquiesce, atOnce, "unquiesce([#1], 1)", at(1), nullptr, 0),
    FUNCTION(make, delayed, "make(#2, [#1], 1, #5, #6)", at(1), at(2), nullptr, 0, at(5), at(6)),
    FUNCTION(prepare, delayed, "prepare(#2, [#1], 1, 5)", at(1), at(2), nullptr, 0, 5),
    FUNCTION(select, delayed, "select(#2, [#1], 1)", at(1), at(2), nullptr, 0),
    FUNCTION(isready, delayed, "isReady(#2, [#1], 1)", at(1), at(2), nullptr, 0),
    FUNCTION(cache_disable, delayed, "cacheDisable(#1, 0)", at(1)),
    PROCEDURE(cache_enable, atOnce, "cacheEnable(#1, 0)", at(1)),
    FUNCTION(interpose, delayed, "interpose(#1, #2, #3, #4)", at(1), at(2), at(3), at(4)),
    FUNCTION(getattr, delayed, "getAttr(#1, #2, #3, #4)", at(1), at(2), at(3), at(4)),
    FUNCTION(enumerate_nodes, atOnce, "enumerateNodes(#1, #2, 3, #4)", at(1), at(2), 3, at(4)),
    FUNCTION(enumerate_associations, delayed, "enumerateAssociations(#1)", at(1)),
    FUNCTION(enumerate_group_nodes, delayed, "enumerateGroupNodes(#1)", at(1)),
    FUNCTION(enumerate_fims, atOnce, "enumerateFims(#1)", at(1)),
    FUNCTION(isvalid_node_association, delayed, "isValidNodeAssociation(#1, #2)", at(1), at(2)),
    FUNCTION(get_associated_nodes, delayed, "getAssociatedNodes(#1, #2)", at(1), at(2)),
    FUNCTION(check_node_existence, delayed, "checkNodeExistence(#1, #2)", at(1), at(2)),
    FUNCTION(process_providerstate, delayed, "processProviderState(#1, #2, 3)", at(1), at(2), 3),
    FUNCTION(enable_access, delayed, "enableAccess(#1, 2, 3, 4)", at(1), 2, 3, 4),
    FUNCTION(disable_access, delayed, "disableAccess(#1, 2)", at(1), 2),
    FUNCTION(restore, delayed, "restore(#1, #2, 3, #4, #5, #6, #7, 8, #9)", at(1), at(2), 3, at(4), at(5), at(6), at(7),
             8, at(9)),
    FUNCTION(resync, delayed, "resync(#1, #2, 3, #4, #5, 6, #7)", at(1), at(2), 3, at(4), at(5), 6, at(7)),
    FUNCTION(get_status, delayed, "getStatus(#1, #2, 3, #4, 5, #6)", at(1), at(2), 3, at(4), 5, at(6)),
    FUNCTION(pre_prepare, delayed, "prePrepare(#1)", at(1)),
    FUNCTION(query_valid_secondaries, delayed, "queryValidSecondaries(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(res_status, delayed, "resourceStatus(#1, 2, #3, #4)", at(1), 2, at(3), at(4)),
    FUNCTION(revisit_pgn_nodes, atOnce, "revisitPluginNodes(#1)", at(1)),
    FUNCTION(verify_qscombos, delayed, "verifyQSCombos([#1], 1)", at(1), nullptr, 0),
    FUNCTION(set_import_options, delayed, "setImportOptions([#1], 1, #4, 5, #6)", at(1), nullptr, 0, at(4), 5, at(6)),
    FUNCTION(start_build_alttree, delayed, "startBuildAltTree(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(translate_resource_names, delayed, "translateResourceNames(#1, 0, #3)", at(1), 0, at(3)),
    FUNCTION(enumerate_enclosures, atOnce, "enumerateEnclosures(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(import_resource, delayed, "importResource(#1, #2, #3, #4, 5, #6, #7)", at(1), at(2), at(3), at(4), 5,
             at(6), at(7)),
    FUNCTION(format, delayed, "format(#1, 2, #3, #4, #5, 6, #7, #8)", at(1), 2, at(3), at(4), at(5), 6, at(7), at(8)),
    FUNCTION(enumerate_host_nodes, atOnce, "enumerateHostNodes(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(online_resource, delayed, "onlineResource(#1, 2, #3, #4, #5, #6, 7, #8, #9)", at(1), 2, at(3), at(4),
             at(5), at(6), 7, at(8), at(9)),
    FUNCTION(deport_resource, delayed, "deportResource(#1, #2, #3, #4, 5)", at(1), at(2), at(3), at(4), 5),
    FUNCTION(is_parent_pgn, delayed, "isParentPgn(#1, #2, 3)", at(1), at(2), 3),
    FUNCTION(unformat, delayed, "unformat(#1, 2, 3)", at(1), 2, 3),
    FUNCTION(pre_deport_resource, delayed, "preDeportResource(#1, 2, #3)", at(1), 2, at(3)),
    FUNCTION(refresh_tree, delayed, "refreshTree(#1, 2, 3, #4, 5, #6, #7, 8)", at(1), 2, 3, at(4), 5, at(6), at(7), 8),
    FUNCTION(get_backupset, delayed, "getBackupset(#1, 2, #3, 4, #5)", at(1), 2, at(3), 4, at(5)),
    FUNCTION(get_app_status, delayed, "getAppStatus(#1, 2, #3)", at(1), 2, at(3)),
    FUNCTION(set_op_status, delayed, "setOpStatus(#1, 2)", at(1), 2),
    FUNCTION(set_comp_status, delayed, "setCompStatus(#1, 2, #3, 4)", at(1), 2, at(3), 4),
    FUNCTION(set_restorepaths, delayed, "setRestorepaths(#1, #2, 3)", at(1), at(2), 3),
    FUNCTION(createSnapReplicaNode, delayed, "createSnapReplicaNode(#1, #2)", at(1), at(2)),
    FUNCTION(update_snapshot_id, delayed, "updateSnapshotId(#1, #2, #3, 4)", at(1), at(2), at(3), 4),
    FUNCTION(getSnapshotSetId, delayed, "getSnapshotSetId(#1, #2)", at(1), at(2)),
    FUNCTION(get_snapdiff, delayed, "getSnapdiff(#1, #2, #3, #4)", at(1), at(2), at(3), at(4)),
    FUNCTION(post_deport, delayed, "postDeport(#1, #2)", at(1), at(2)),
};

#undef FUNCTION
#undef PROCEDURE

#endif
