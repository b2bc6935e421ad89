// The calls of one of many threads that run programs, and those that the provider leaves to its base.
#include <cstdlib>

#include "base_calls.h"
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

// Notes what a call of the base gives.
auto noteOf(Worker& worker) {
  return [&worker](const char* name, const auto& call) { worker.expect(name, notSupported, call()); };
}

void nodesOfTheBase(Worker& worker) {
  callNodesOfTheBase(worker.call, &worker.node, noteOf(worker));
}

void enumerationsOfTheBase(Worker& worker) {
  callEnumerationsOfTheBase(worker.call, noteOf(worker));
}

void resourcesOfTheBase(Worker& worker) {
  callResourcesOfTheBase(worker.call, worker.name.data(), noteOf(worker));
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
