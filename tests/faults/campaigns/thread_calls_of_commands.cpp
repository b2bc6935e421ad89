// The calls of one of many threads that run programs, and those that the provider leaves to its base.
#include <cstdlib>

#include "thread_calls.h"

namespace faults {

namespace {

constexpr int notSupported = 2;

void buildAlternate(Worker& worker) {
  std::string place = worker.mountPoint + "_alternate";
  kfi_subobj_entry entries[] = {{worker.mountPoint.data(), place.data()}, {nullptr, nullptr}};
  qmfi_objid* snapshot = worker.provider.object("/dev/snapshot");
  qmfi_objid* made = nullptr;
  std::string type = "qmfs";
  worker.node.fid_subobjs = entries;
  const int status = worker.call.build_alttree(&worker.node, type.data(), nullptr, &snapshot, 1, &made);
  worker.node.fid_subobjs = nullptr;
  worker.expect("build_alttree", 0, status);
}

void import(Worker& worker) {
  std::string place = worker.mountPoint + "_alternate";
  kfi_subobj_entry entries[] = {{worker.mountPoint.data(), place.data()}, {nullptr, nullptr}};
  qmfi_objid* snapshot = worker.provider.object("/dev/snapshot");
  qmfi_objid* made = nullptr;
  worker.alternate.fid_subobjs = entries;
  worker.expect("import_tree", 0, worker.call.import_tree(&worker.alternate, nullptr, &snapshot, 1, &made));
  worker.alternate.fid_subobjs = nullptr;
}

void deport(Worker& worker) {
  worker.expect("deport_tree", 0, worker.call.deport_tree(nullptr, &worker.node, nullptr));
}

void bringOnline(Worker& worker) {
  constexpr int bringOnline = 1;
  worker.expect("online", 0, worker.call.online(nullptr, &worker.restored, bringOnline, 0));
}

void access(Worker& worker) {
  constexpr std::uint32_t disabled = 0x40;
  kfi_domain node = worker.named(worker.mountPoint);
  kfi_subobj_list device{worker.provider.object("/dev/spare"), nullptr};
  kfi_node_subobj_list list{&node, &device, nullptr};
  worker.expect("disable_access", 0, worker.call.disable_access(&list, 0));
  worker.expect("disable_access", disabled, static_cast<int>(node.fid_attr));
  worker.expect("enable_access", 0, worker.call.enable_access(&list, 0, 0, 0));
}

void cache(Worker& worker) {
  worker.expect("cache_disable", 0, worker.call.cache_disable(&worker.node));
  worker.call.cache_enable(&worker.node);
  worker.expect("cache_enable", 0, 0);
}

void isParent(Worker& worker) {
  int answer = 0;
  std::string device = worker.shared.device;
  worker.expect("is_parent_pgn", 0, worker.call.is_parent_pgn(device.data(), &answer, 0));
  worker.expect("is_parent_pgn", 1, answer);
}

void formatAndBringOnline(Worker& worker) {
  std::string device = "/dev/spare";
  char* devices[] = {device.data()};
  worker.expect("format", 0, worker.call.format(devices, 1, nullptr, nullptr, nullptr, 1, nullptr, nullptr));
  worker.bringOnline(device, worker.mountPoint + "_resource");
}

void nodesOfTheBase(Worker& worker) {
  auto& call = worker.call;
  kfi_domain* const node = &worker.node;
  int number = 0;
  char* text = nullptr;
  qmfi_objid** objects = nullptr;
  const auto expect = [&](const char* name, int status) { worker.expect(name, notSupported, status); };
  expect("reaccess_tmpobj", call.reaccess_tmpobj(node, nullptr, nullptr, nullptr, nullptr, 0));
  expect("interpose", call.interpose(node, nullptr, &objects, &number));
  expect("getattr", call.getattr(node, nullptr, nullptr, nullptr));
  expect("pre_prepare", call.pre_prepare(node));
  expect("start_build_alttree", call.start_build_alttree(node, nullptr, nullptr));
  expect("refresh_tree", call.refresh_tree(node, 0, 0, nullptr, 0, &number, nullptr, 0));
  expect("get_backupset", call.get_backupset(node, 0, nullptr, 0, nullptr));
  expect("get_app_status", call.get_app_status(node, 0, nullptr));
  expect("set_op_status", call.set_op_status(node, 0));
  expect("set_comp_status", call.set_comp_status(node, 0, nullptr, 0));
  expect("set_restorepaths", call.set_restorepaths(node, nullptr, 0));
  expect("createSnapReplicaNode", call.createSnapReplicaNode(node, nullptr));
  expect("update_snapshot_id", call.update_snapshot_id(node, nullptr, nullptr, 0));
  expect("getSnapshotSetId", call.getSnapshotSetId(node, &text));
  expect("get_snapdiff", call.get_snapdiff(node, nullptr, nullptr, nullptr));
  expect("post_deport", call.post_deport(node, nullptr));
}

void enumerationsOfTheBase(Worker& worker) {
  auto& call = worker.call;
  int number = 0;
  kfi_node_list* nodes = nullptr;
  const auto expect = [&](const char* name, int status) { worker.expect(name, notSupported, status); };
  expect("enumerate_nodes", call.enumerate_nodes(&nodes, &number, 0, nullptr));
  expect("enumerate_associations", call.enumerate_associations(nullptr));
  expect("enumerate_group_nodes", call.enumerate_group_nodes(nullptr));
  expect("enumerate_fims", call.enumerate_fims(nullptr));
  expect("enumerate_enclosures", call.enumerate_enclosures(nullptr, &number, nullptr));
  expect("enumerate_host_nodes", call.enumerate_host_nodes(nullptr, &number, nullptr));
  expect("isvalid_node_association", call.isvalid_node_association(nullptr, &number));
  expect("get_associated_nodes", call.get_associated_nodes(nullptr, nullptr));
  expect("revisit_pgn_nodes", call.revisit_pgn_nodes(nullptr));
}

void resourcesOfTheBase(Worker& worker) {
  auto& call = worker.call;
  long large = 0;
  char* text = worker.name.data();
  qmfi_objid** objects = nullptr;
  const auto expect = [&](const char* name, int status) { worker.expect(name, notSupported, status); };
  expect("restore", call.restore(nullptr, nullptr, 0, text, nullptr, nullptr, &large, 0, &large));
  expect("resync", call.resync(nullptr, nullptr, 0, text, nullptr, 0, &large));
  expect("get_status", call.get_status(nullptr, nullptr, 0, text, 0, &large));
  expect("query_valid_secondaries", call.query_valid_secondaries(text, &objects, &large));
  expect("res_status", call.res_status(nullptr, 0, &large, nullptr));
  expect("translate_resource_names", call.translate_resource_names(&text, 0, &text));
  expect("import_resource", call.import_resource(&text, nullptr, nullptr, nullptr, 0, &text, nullptr));
  expect("deport_resource", call.deport_resource(text, nullptr, nullptr, nullptr, 0));
  expect("unformat", call.unformat(&text, 1, 0));
  expect("pre_deport_resource", call.pre_deport_resource(text, 0, nullptr));
}

}  // namespace

const std::vector<ThreadCall>& commandThreadCalls() {
  static const std::vector<ThreadCall> calls = {
      buildAlternate, import, deport, bringOnline, access, cache, isParent, formatAndBringOnline,
  };
  return calls;
}

const std::vector<ThreadCall>& baseThreadCalls() {
  static const std::vector<ThreadCall> calls = {nodesOfTheBase, enumerationsOfTheBase, resourcesOfTheBase};
  return calls;
}

}  // namespace faults
