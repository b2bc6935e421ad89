// The entry points that hand their arguments on, each with a call of it and what that makes of its operation.
#ifndef TESTS_UNIT_KIT_FORWARDINGS_H
#define TESTS_UNIT_KIT_FORWARDINGS_H

#include "support/loaded_plugin.h"

#include <cstdint>
#include <ostream>

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

enum Delay { DELAYED, AT_ONCE };

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
    FUNCTION(claim, AT_ONCE, "claim(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(supports_fitype, AT_ONCE, "supportsFiType(#1, #2)", at(1), at(2)),
    FUNCTION(deport_tree, DELAYED, "deportTree(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(import_tree, DELAYED, "importTreeNode(#1, #2, #3, 4, #5)", at(1), at(2), at(3), 4, at(5)),
    FUNCTION(init_node, DELAYED, "initNode(#1, #2, 3, #4)", at(1), at(2), 3, at(4)),
    FUNCTION(config, DELAYED, "config(#1, 2, #3, #4)", at(1), 2, at(3), at(4)),
    FUNCTION(init_altnode, DELAYED, "initAltNode(#1, #2, #3, false)", at(1), at(2), at(3)),
    FUNCTION(init_remnode, DELAYED, "initAltNode(#1, #2, #3, true)", at(1), at(2), at(3)),
    FUNCTION(reaccess_tmpobj, AT_ONCE, "reAccessTmpObj(#1, #2, #3, #4, #5, 6)", at(1), at(2), at(3), at(4), at(5), 6),
    FUNCTION(reaccess_altnode, DELAYED, "reAccessAltNode(#1, #2, #3, #4, #5, #6, 7, 8)", at(1), at(2), at(3), at(4),
             at(5), at(6), 7, 8),
    PROCEDURE(deinit_node, AT_ONCE, "deInitNode(#1)", at(1)),
    FUNCTION(dispose, DELAYED, "dispose(#1, #2, #3, 4)", at(1), at(2), at(3), 4),
    FUNCTION(online, DELAYED, "online(#1, #2, 3, 4)", at(1), at(2), 3, 4),
    FUNCTION(subobj_list, DELAYED, "subobjList(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(errmsg, AT_ONCE, "errMsg(1, #2)", 1, at(2)),
    FUNCTION(build_alttree, DELAYED, "buildAltTree(#1, #2, #3, #4, 5, #6)", at(1), at(2), at(3), at(4), 5, at(6)),
    FUNCTION(quiesce, DELAYED, "quiesce([#1], 1, #4)", at(1), nullptr, 0, at(4)),
    PROCEDURE(unquiesce, AT_ONCE, "unquiesce([#1], 1)", at(1), nullptr, 0),
    FUNCTION(make, DELAYED, "make(#2, [#1], 1, #5, #6)", at(1), at(2), nullptr, 0, at(5), at(6)),
    FUNCTION(prepare, DELAYED, "prepare(#2, [#1], 1, 5)", at(1), at(2), nullptr, 0, 5),
    FUNCTION(select, DELAYED, "select(#2, [#1], 1)", at(1), at(2), nullptr, 0),
    FUNCTION(isready, DELAYED, "isReady(#2, [#1], 1)", at(1), at(2), nullptr, 0),
    FUNCTION(cache_disable, DELAYED, "cacheDisable(#1, 0)", at(1)),
    PROCEDURE(cache_enable, AT_ONCE, "cacheEnable(#1, 0)", at(1)),
    FUNCTION(interpose, DELAYED, "interpose(#1, #2, #3, #4)", at(1), at(2), at(3), at(4)),
    FUNCTION(getattr, DELAYED, "getAttr(#1, #2, #3, #4)", at(1), at(2), at(3), at(4)),
    FUNCTION(enumerate_nodes, AT_ONCE, "enumerateNodes(#1, #2, 3, #4)", at(1), at(2), 3, at(4)),
    FUNCTION(enumerate_associations, DELAYED, "enumerateAssociations(#1)", at(1)),
    FUNCTION(enumerate_group_nodes, DELAYED, "enumerateGroupNodes(#1)", at(1)),
    FUNCTION(enumerate_fims, AT_ONCE, "enumerateFims(#1)", at(1)),
    FUNCTION(isvalid_node_association, DELAYED, "isValidNodeAssociation(#1, #2)", at(1), at(2)),
    FUNCTION(get_associated_nodes, DELAYED, "getAssociatedNodes(#1, #2)", at(1), at(2)),
    FUNCTION(check_node_existence, DELAYED, "checkNodeExistence(#1, #2)", at(1), at(2)),
    FUNCTION(process_providerstate, DELAYED, "processProviderState(#1, #2, 3)", at(1), at(2), 3),
    FUNCTION(enable_access, DELAYED, "enableAccess(#1, 2, 3, 4)", at(1), 2, 3, 4),
    FUNCTION(disable_access, DELAYED, "disableAccess(#1, 2)", at(1), 2),
    FUNCTION(restore, DELAYED, "restore(#1, #2, 3, #4, #5, #6, #7, 8, #9)", at(1), at(2), 3, at(4), at(5), at(6), at(7),
             8, at(9)),
    FUNCTION(resync, DELAYED, "resync(#1, #2, 3, #4, #5, 6, #7)", at(1), at(2), 3, at(4), at(5), 6, at(7)),
    FUNCTION(get_status, DELAYED, "getStatus(#1, #2, 3, #4, 5, #6)", at(1), at(2), 3, at(4), 5, at(6)),
    FUNCTION(pre_prepare, DELAYED, "prePrepare(#1)", at(1)),
    FUNCTION(query_valid_secondaries, DELAYED, "queryValidSecondaries(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(res_status, DELAYED, "resourceStatus(#1, 2, #3, #4)", at(1), 2, at(3), at(4)),
    FUNCTION(revisit_pgn_nodes, AT_ONCE, "revisitPluginNodes(#1)", at(1)),
    FUNCTION(verify_qscombos, DELAYED, "verifyQSCombos([#1], 1)", at(1), nullptr, 0),
    FUNCTION(set_import_options, DELAYED, "setImportOptions([#1], 1, #4, 5, #6)", at(1), nullptr, 0, at(4), 5, at(6)),
    FUNCTION(start_build_alttree, DELAYED, "startBuildAltTree(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(translate_resource_names, DELAYED, "translateResourceNames(#1, 0, #3)", at(1), 0, at(3)),
    FUNCTION(enumerate_enclosures, AT_ONCE, "enumerateEnclosures(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(import_resource, DELAYED, "importResource(#1, #2, #3, #4, 5, #6, #7)", at(1), at(2), at(3), at(4), 5,
             at(6), at(7)),
    FUNCTION(format, DELAYED, "format(#1, 2, #3, #4, #5, 6, #7, #8)", at(1), 2, at(3), at(4), at(5), 6, at(7), at(8)),
    FUNCTION(enumerate_host_nodes, AT_ONCE, "enumerateHostNodes(#1, #2, #3)", at(1), at(2), at(3)),
    FUNCTION(online_resource, DELAYED, "onlineResource(#1, 2, #3, #4, #5, #6, 7, #8, #9)", at(1), 2, at(3), at(4),
             at(5), at(6), 7, at(8), at(9)),
    FUNCTION(deport_resource, DELAYED, "deportResource(#1, #2, #3, #4, 5)", at(1), at(2), at(3), at(4), 5),
    FUNCTION(is_parent_pgn, DELAYED, "isParentPgn(#1, #2, 3)", at(1), at(2), 3),
    FUNCTION(unformat, DELAYED, "unformat(#1, 2, 3)", at(1), 2, 3),
    FUNCTION(pre_deport_resource, DELAYED, "preDeportResource(#1, 2, #3)", at(1), 2, at(3)),
    FUNCTION(refresh_tree, DELAYED, "refreshTree(#1, 2, 3, #4, 5, #6, #7, 8)", at(1), 2, 3, at(4), 5, at(6), at(7), 8),
    FUNCTION(get_backupset, DELAYED, "getBackupset(#1, 2, #3, 4, #5)", at(1), 2, at(3), 4, at(5)),
    FUNCTION(get_app_status, DELAYED, "getAppStatus(#1, 2, #3)", at(1), 2, at(3)),
    FUNCTION(set_op_status, DELAYED, "setOpStatus(#1, 2)", at(1), 2),
    FUNCTION(set_comp_status, DELAYED, "setCompStatus(#1, 2, #3, 4)", at(1), 2, at(3), 4),
    FUNCTION(set_restorepaths, DELAYED, "setRestorepaths(#1, #2, 3)", at(1), at(2), 3),
    FUNCTION(createSnapReplicaNode, DELAYED, "createSnapReplicaNode(#1, #2)", at(1), at(2)),
    FUNCTION(update_snapshot_id, DELAYED, "updateSnapshotId(#1, #2, #3, 4)", at(1), at(2), at(3), 4),
    FUNCTION(getSnapshotSetId, DELAYED, "getSnapshotSetId(#1, #2)", at(1), at(2)),
    FUNCTION(get_snapdiff, DELAYED, "getSnapdiff(#1, #2, #3, #4)", at(1), at(2), at(3), at(4)),
    FUNCTION(post_deport, DELAYED, "postDeport(#1, #2)", at(1), at(2)),
};

#undef FUNCTION
#undef PROCEDURE

#endif
