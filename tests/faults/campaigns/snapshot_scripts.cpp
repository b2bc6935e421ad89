// Scripts: a snapshot from claim to deport, and what can happen to it.
#include <cerrno>

#include "driver_model.h"
#include "host_calls.h"
#include "scripts.h"

namespace faults {

namespace {

void nothing(Machine&) {}

void allowSerialQuiesce(Machine& machine) {
  machine.configure("[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT = 7\nQUIESCENCE_SERIAL_QUIESCENCE = 1\n");
}

void claim(Host& host, const std::string& name) {
  qmfi_objid** groups = nullptr;
  int count = 0;
  qmfi_objid* const object = host.provider.object(name);
  const int status = host.make("claim", [&] { return host.call.claim(object, &groups, &count); });
  if (status == 1) host.output("group", groups[0]);
}

// Sets the freeze time-out as a host does.
void configureTimeout(Host& host) {
  kfi_domain& domain = host.configuration();
  kfi_confspec timeout{host.text("qmfsFreezeTimeout"), host.text("a time-out that is far too long to stay in place"),
                       nullptr};
  host.make("config", [&] { return host.call.config(&domain, 0, nullptr, &timeout); });
  timeout.kcs_value = host.text("5");
  host.make("config", [&] { return host.call.config(&domain, 0, nullptr, &timeout); });
}

// Freezes the nodes and thaws them again if that went well, as the contract asks.
void quiesceAndThaw(Host& host, std::vector<kfi_quiescenode*> nodes) {
  const auto count = static_cast<int>(nodes.size());
  const int status = host.make("quiesce", [&] { return host.call.quiesce(nullptr, nodes.data(), count, nullptr); });
  host.output("time-out " + std::to_string(driverModel().lastTimeout()));
  if (status == 0) host.makeVoid("unquiesce", [&] { host.call.unquiesce(nullptr, nodes.data(), count); });
}

// Mounts the snapshot of a node at an alternate mount point; null when that fails.
qmfi_objid* buildAlternate(Host& host, kfi_domain& node, const std::string& alternate) {
  kfi_subobj_entry entries[] = {{node.fid_objid->vid_name, host.text(alternate)}, {nullptr, nullptr}};
  host.mayStay.paths.push_back(alternate);
  return buildAlternateTree(host, node, entries, host.provider.object("/dev/qm/dsk/dg/snapshot_of_a_volume"));
}

void takeAlternateDown(Host& host, kfi_domain& primary, kfi_domain& alternate) {
  if (deportTree(host, &primary, alternate) == 0) host.mayStay.paths.clear();
}

void snapshot(Host& host) {
  if (!host.start()) return;
  const std::string mountPoint = host.machine.fileSystem(0);
  claim(host, mountPoint);
  kfi_domain& node = host.initialisedNode(mountPoint);
  kfi_domain& other = host.initialisedNode(host.machine.fileSystem(1));
  configureTimeout(host);
  listSubObjects(host, node);
  if (node.fid_qnode != nullptr && other.fid_qnode != nullptr) quiesceAndThaw(host, {node.fid_qnode, other.fid_qnode});
  qmfi_objid* const made = buildAlternate(host, node, mountPoint + "_alternate");
  const std::string state = fetchState(host, node);
  kfi_domain& restored = host.node(mountPoint + "_restored");
  storeState(host, restored, state);
  fetchState(host, restored);
  if (made == nullptr) return;
  kfi_domain& alternate = host.node(made->vid_name);
  host.make("init_altnode", [&] { return host.call.init_altnode(&node, nullptr, &alternate); });
  host.make("reaccess_altnode",
            [&] { return host.call.reaccess_altnode(&alternate, made, nullptr, nullptr, nullptr, nullptr, 0, 0); });
  takeAlternateDown(host, node, alternate);
}

// Nodes as quiesce wants them, without a record of their making in what follows.
std::vector<kfi_quiescenode*> quiesceNodes(Host& host) {
  std::vector<kfi_quiescenode*> nodes;
  for (int number = 0; number < 2; ++number) {
    kfi_domain& node = host.initialisedNode(host.machine.fileSystem(number));
    if (node.fid_qnode != nullptr) nodes.push_back(node.fid_qnode);
  }
  return nodes;
}

template <typename Trouble>
void troubledQuiesce(Host& host, Trouble&& trouble) {
  if (!host.start()) return;
  auto nodes = quiesceNodes(host);
  if (nodes.size() != 2 || nodes[0]->kqn_config == nullptr) return;
  trouble();
  quiesceAndThaw(host, nodes);
  // A host that was refused tries again; whatever went before, this must find everything thawed.
  driverModel().passTimeouts();
  driverModel().reset();
  quiesceAndThaw(host, nodes);
}

void serialQuiesce(Host& host) {
  troubledQuiesce(host, [] { driverModel().fail(DriverRequestKind::freezeAll, 1, ENOTTY); });
}

void refusedSerialQuiesce(Host& host) {
  troubledQuiesce(host, [] {
    driverModel().fail(DriverRequestKind::freezeAll, 1, ENOTTY);
    driverModel().fail(DriverRequestKind::freeze, 2, EIO);
  });
}

// The first of the two may stay frozen when the second cannot be frozen: the contract thaws one less.
void frozenBySomebodyElse(Host& host) {
  if (!host.start()) return;
  const auto nodes = quiesceNodes(host);
  const std::string& theirs = host.machine.fileSystem(1);
  if (nodes.size() != 2 || nodes[0]->kqn_config == nullptr) return;
  if (!driverModel().freezeFromOutside(theirs.c_str())) return;
  host.mayStay.frozen.push_back(host.machine.fileSystem(0));
  host.mayStay.keptFrozen.push_back(theirs);
  quiesceAndThaw(host, nodes);
}

void failingThaw(Host& host) {
  troubledQuiesce(host, [] { driverModel().fail(DriverRequestKind::thaw, 1, EIO); });
}

void refusedContext(Host& host) {
  troubledQuiesce(host, [] { driverModel().fail(DriverRequestKind::freezeAll, 0, EPERM); });
}

void missingMountPoint(Host& host) {
  if (!host.start()) return;
  auto nodes = quiesceNodes(host);
  if (nodes.size() != 2) return;
  const std::string gone = host.machine.fileSystem(1);
  host.mayStay.descriptors.push_back(host.machine.fileSystem(0));
  std::filesystem::rename(gone, gone + "_away");
  quiesceAndThaw(host, nodes);
  std::filesystem::rename(gone + "_away", gone);
}

void failingSnapshotMount(Host& host) {
  if (!host.start()) return;
  kfi_domain& node = host.initialisedNode(host.machine.fileSystem(0));
  host.machine.programs.answer("/bin/mount", Answer().complains("mount: wrong fs type").exits(32));
  buildAlternate(host, node, host.machine.path("alternate"));
  host.machine.programs.answer("/bin/mkdir", Answer().complains("mkdir: no space").exits(1));
  buildAlternate(host, node, host.machine.path("alternate"));
}

}  // namespace

std::vector<Script> snapshotScripts() {
  return {
      {"snapshot", nothing, snapshot},
      {"serial quiesce", allowSerialQuiesce, serialQuiesce},
      {"refused serial quiesce", allowSerialQuiesce, refusedSerialQuiesce},
      {"quiesce of what somebody else has frozen", allowSerialQuiesce, frozenBySomebodyElse},
      {"failing thaw", nothing, failingThaw},
      {"refused freeze", nothing, refusedContext},
      {"missing mount point", nothing, missingMountPoint},
      {"failing snapshot mount", nothing, failingSnapshotMount},
  };
}

std::vector<Script> allScripts() {
  std::vector<Script> scripts = snapshotScripts();
  for (const auto& more : {mountScripts(), frameScripts()}) scripts.insert(scripts.end(), more.begin(), more.end());
  return scripts;
}

}  // namespace faults
