// The operations that the provider leaves to its base, with arguments that say nothing. make: is given the name of
// each, and what makes the call and returns its status.
#ifndef BASE_CALLS_H
#define BASE_CALLS_H

#include "support/foreign_plugin.h"

namespace faults {

template <typename Make>
void callNodesOfTheBase(const ForeignFunctions& call, kfi_domain* node, const Make& make) {
  int number = 0;
  char* text = nullptr;
  qmfi_objid** objects = nullptr;
  make("reaccess_tmpobj", [&] { return call.reaccess_tmpobj(node, nullptr, nullptr, nullptr, nullptr, 0); });
  make("interpose", [&] { return call.interpose(node, nullptr, &objects, &number); });
  make("getattr", [&] { return call.getattr(node, nullptr, nullptr, nullptr); });
  make("pre_prepare", [&] { return call.pre_prepare(node); });
  make("start_build_alttree", [&] { return call.start_build_alttree(node, nullptr, nullptr); });
  make("refresh_tree", [&] { return call.refresh_tree(node, 0, 0, nullptr, 0, &number, nullptr, 0); });
  make("get_backupset", [&] { return call.get_backupset(node, 0, nullptr, 0, nullptr); });
  make("get_app_status", [&] { return call.get_app_status(node, 0, nullptr); });
  make("set_op_status", [&] { return call.set_op_status(node, 0); });
  make("set_comp_status", [&] { return call.set_comp_status(node, 0, nullptr, 0); });
  make("set_restorepaths", [&] { return call.set_restorepaths(node, nullptr, 0); });
  make("createSnapReplicaNode", [&] { return call.createSnapReplicaNode(node, nullptr); });
  make("update_snapshot_id", [&] { return call.update_snapshot_id(node, nullptr, nullptr, 0); });
  make("getSnapshotSetId", [&] { return call.getSnapshotSetId(node, &text); });
  make("get_snapdiff", [&] { return call.get_snapdiff(node, nullptr, nullptr, nullptr); });
  make("post_deport", [&] { return call.post_deport(node, nullptr); });
}

template <typename Make>
void callEnumerationsOfTheBase(const ForeignFunctions& call, const Make& make) {
  int number = 0;
  kfi_node_list* nodes = nullptr;
  make("enumerate_nodes", [&] { return call.enumerate_nodes(&nodes, &number, 0, nullptr); });
  make("enumerate_associations", [&] { return call.enumerate_associations(nullptr); });
  make("enumerate_group_nodes", [&] { return call.enumerate_group_nodes(nullptr); });
  make("enumerate_fims", [&] { return call.enumerate_fims(nullptr); });
  make("enumerate_enclosures", [&] { return call.enumerate_enclosures(nullptr, &number, nullptr); });
  make("enumerate_host_nodes", [&] { return call.enumerate_host_nodes(nullptr, &number, nullptr); });
  make("isvalid_node_association", [&] { return call.isvalid_node_association(nullptr, &number); });
  make("get_associated_nodes", [&] { return call.get_associated_nodes(nullptr, nullptr); });
  make("revisit_pgn_nodes", [&] { return call.revisit_pgn_nodes(nullptr); });
}

template <typename Make>
void callResourcesOfTheBase(const ForeignFunctions& call, char* name, const Make& make) {
  long large = 0;
  qmfi_objid** objects = nullptr;
  make("restore", [&] { return call.restore(nullptr, nullptr, 0, name, nullptr, nullptr, &large, 0, &large); });
  make("resync", [&] { return call.resync(nullptr, nullptr, 0, name, nullptr, 0, &large); });
  make("get_status", [&] { return call.get_status(nullptr, nullptr, 0, name, 0, &large); });
  make("query_valid_secondaries", [&] { return call.query_valid_secondaries(name, &objects, &large); });
  make("res_status", [&] { return call.res_status(nullptr, 0, &large, nullptr); });
  make("translate_resource_names", [&] { return call.translate_resource_names(&name, 0, &name); });
  make("import_resource", [&] { return call.import_resource(&name, nullptr, nullptr, nullptr, 0, &name, nullptr); });
  make("deport_resource", [&] { return call.deport_resource(name, nullptr, nullptr, nullptr, 0); });
  make("unformat", [&] { return call.unformat(&name, 1, 0); });
  make("pre_deport_resource", [&] { return call.pre_deport_resource(name, 0, nullptr); });
}

}  // namespace faults

#endif
