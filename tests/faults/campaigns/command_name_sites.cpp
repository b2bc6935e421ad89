// Names that become words of commands. The command lines are the contract's, blank for blank.
#include <cstdlib>

#include "host_calls.h"
#include "name_sites.h"
#include "support/provider_model.h"

namespace faults {

namespace {

using Table = NameSite::Table;

// The device that a restored state has; empty when there is none.
struct Restored {
  explicit Restored(const Names& names) {
    const auto state = provider_model::restoredState(stateToRestore(names), "");
    options = state.options;
    if (!state.subObjects.empty()) device = state.subObjects.front();
  }
  std::string options;
  std::string device;
};

std::string alternateOf(const Names& names) {
  return names.alternate.empty() ? names.mountPoint + "_altTIME" : names.alternate;
}

std::vector<std::string> snapshotMount(const Names& names) {
  const std::string alternate = alternateOf(names);
  return {"/bin/mkdir -p  " + alternate, "/bin/mount -t qmfs  -o ro " + names.device + " " + alternate};
}

void buildAlternate(NameCaller& caller, const Names& names) {
  Host& host = caller.host;
  kfi_domain& node = caller.node(names.mountPoint);
  node.fid_name = node.fid_objid->vid_name;
  kfi_subobj_entry entries[] = {{host.text("another"), host.text("/another")},
                                {host.text(names.mountPoint), host.text(names.alternate)},
                                {nullptr, nullptr}};
  buildAlternateTree(host, node, entries, caller.identifier(names.device));
}

void expectBuildAlternate(ExpectedCalls& calls, const Names& names) {
  const std::string alternate = alternateOf(names);
  if (!isDevice(names.device) || !isOneWord(alternate)) return calls.refuses("build_alttree");
  calls.runsAll("build_alttree", snapshotMount(names), alternate + ";");
}

void import(NameCaller& caller, const Names& names) {
  Host& host = caller.host;
  kfi_domain& node = caller.node("node");
  kfi_subobj_entry entries[] = {{host.text(names.mountPoint), host.text(names.alternate)}, {nullptr, nullptr}};
  importAlternateTree(host, node, entries, caller.identifier(names.device));
}

void expectImport(ExpectedCalls& calls, const Names& names) {
  const std::string alternate = alternateOf(names);
  if (!isDevice(names.device) || !isOneWord(alternate)) return calls.refuses("import_tree");
  calls.runsAll("import_tree", snapshotMount(names), alternate + ";");
}

void expectImportMounted(ExpectedCalls& calls, const Names& names) {
  if (names.alternate.empty() || names.device.empty() || names.options.empty()) return expectImport(calls, names);
  if (!isOneWord(names.alternate)) return calls.refuses("import_tree");
  calls.runsAll("import_tree", {"/bin/mkdir -p  " + names.alternate}, names.alternate + ";");
}

void deport(NameCaller& caller, const Names& names) {
  deportTree(caller.host, nullptr, caller.node(names.mountPoint));
}

void expectDeport(ExpectedCalls& calls, const Names& names) {
  if (!isInTable(names)) return calls.returns("deport_tree", 0);
  if (!isOneWord(names.mountPoint)) return calls.refuses("deport_tree");
  calls.runsAll("deport_tree",
                {"/opt/KRIB/bin/qmumount -o force  " + names.mountPoint, "/bin/rmdir  " + names.mountPoint});
}

void online(NameCaller& caller, const Names& names) {
  constexpr int bringOnline = 1;
  kfi_domain& node = caller.restoredNode(names);
  caller.host.make("online", [&] { return caller.host.call.online(nullptr, &node, bringOnline, 0); });
}

void expectOnline(ExpectedCalls& calls, const Names& names) {
  const Restored restored(names);
  calls.returns("process_providerstate", 0);
  if (!isDevice(restored.device) || !isOneWord(names.mountPoint) || !areOptions(restored.options)) {
    return calls.refuses("online");
  }
  calls.runsAll("online", {"/bin/mkdir -p  " + names.mountPoint, "/bin/mount -t qmfs  -o " + restored.options + " " +
                                                                     restored.device + " " + names.mountPoint});
}

void offline(NameCaller& caller, const Names& names) {
  constexpr int takeOffline = 2;
  constexpr int remove = 1;
  kfi_domain& node = caller.node(names.mountPoint);
  caller.host.make("online", [&] { return caller.host.call.online(nullptr, &node, takeOffline, remove); });
}

void expectTakenOffline(ExpectedCalls& calls, const std::string& call, const Names& names) {
  const bool exists = existsOnDisk(names.mountPoint);
  if ((isInTable(names) || exists) && !isOneWord(names.mountPoint)) return calls.refuses(call);
  std::vector<std::string> commands;
  if (isInTable(names)) commands.push_back("/opt/KRIB/bin/qmumount -o force  " + names.mountPoint);
  if (exists) commands.push_back("/bin/rmdir  " + names.mountPoint);
  calls.runsAll(call, commands);
}

void expectOffline(ExpectedCalls& calls, const Names& names) {
  expectTakenOffline(calls, "online", names);
}

void dispose(NameCaller& caller, const Names& names) {
  constexpr int remove = 1;
  kfi_domain& node = caller.node(names.mountPoint);
  caller.host.make("dispose", [&] { return caller.host.call.dispose(nullptr, &node, nullptr, remove); });
}

void expectDispose(ExpectedCalls& calls, const Names& names) {
  expectTakenOffline(calls, "dispose", names);
}

void disableAccess(NameCaller& caller, const Names& names) {
  for (const long flags : {0x0L, 0x10L}) {
    kfi_domain& node = caller.node(names.mountPoint);
    kfi_node_subobj_list list{&node, nullptr, nullptr};
    caller.host.make("disable_access", [&] { return caller.host.call.disable_access(&list, flags); });
    caller.host.output(std::to_string(node.fid_attr));
  }
}

void expectDisableAccess(ExpectedCalls& calls, const Names& names) {
  for (const char* umount : {"/bin/umount  ", "/opt/KRIB/bin/qmumount -o force  "}) {
    if (!isInTable(names)) {
      calls.returns("disable_access", 0, "64;");
    } else if (!isOneWord(names.mountPoint)) {
      calls.returns("disable_access", 3, "0;");
    } else {
      calls.runsAll("disable_access", {umount + names.mountPoint}, "64;");
    }
  }
}

void enableAccess(NameCaller& caller, const Names& names) {
  kfi_domain& node = caller.restoredNode(names);
  node.fid_attr = 0x40;
  kfi_subobj_list device{caller.identifier(names.device), nullptr};
  kfi_node_subobj_list list{&node, &device, nullptr};
  caller.host.make("enable_access", [&] { return caller.host.call.enable_access(&list, 0, 0, 0); });
}

void expectEnableAccess(ExpectedCalls& calls, const Names& names) {
  calls.returns("process_providerstate", 0);
  const std::string options = Restored(names).options;
  if (!isDevice(names.device) || !isOneWord(names.mountPoint) || !areOptions(options)) {
    return calls.refuses("enable_access");
  }
  calls.runsAll("enable_access", {"/bin/mkdir -p  " + names.mountPoint, "/sbin/fsck -y -t qmfs  " + names.device,
                                  "/bin/mount -t qmfs  -o " + options + " " + names.device + " " + names.mountPoint});
}

void switchCache(NameCaller& caller, const Names& names) {
  kfi_domain& node = caller.restoredNode(names);
  caller.host.make("cache_disable", [&] { return caller.host.call.cache_disable(&node); });
  caller.host.makeVoid("cache_enable", [&] { caller.host.call.cache_enable(&node); });
}

void expectSwitchCache(ExpectedCalls& calls, const Names& names) {
  const Restored restored(names);
  const std::string words = " " + restored.device + " " + names.mountPoint;
  calls.returns("process_providerstate", 0);
  if (!isDevice(restored.device) || !isOneWord(names.mountPoint)) {
    calls.refuses("cache_disable");
    // It has no status to say so.
    return calls.returns("cache_enable", 0);
  }
  calls.runsAll("cache_disable", {"/bin/mount -t qmfs -o remount,delaylog" + words});
  calls.runsAll("cache_enable", {"/bin/mount -t qmfs -o remount,log,mincache=closesync" + words});
}

void isParent(NameCaller& caller, const Names& names) {
  askWhetherParent(caller.host, names.device);
}

void expectIsParent(ExpectedCalls& calls, const Names& names) {
  const std::string device = trimmed(names.device);
  if (!device.starts_with("/dev/")) return calls.returns("is_parent_pgn", 0, "0;");
  if (!isOneWord(device)) return calls.returns("is_parent_pgn", 0, "0;");
  calls.runsAll("is_parent_pgn", {"/opt/KRIBqmfs/sbin/fstyp " + device}, "1;");
}

void format(NameCaller& caller, const Names& names) {
  formatDevice(caller.host, names.device, nullptr);
}

// The name in the other form, when it has the first form's beginning somewhere: its own first characters go.
std::string converted(const std::string& device, const std::string& from, const std::string& to) {
  return device.find(from) != std::string::npos ? to + device.substr(from.size()) : device;
}

void expectFormat(ExpectedCalls& calls, const Names& names) {
  if (!isDevice(names.device)) return calls.refuses("format");
  calls.runsAll("format", {"/sbin/mkfs -t qmfs  " + converted(names.device, "/dev/qm/d", "/dev/qm/rd"),
                           "/bin/mkdir -p  /tmp_TIME", "/bin/mount -t qmfs  -o rw " + names.device + " /tmp_TIME"});
}

void onlineResource(NameCaller& caller, const Names& names) {
  Host& host = caller.host;
  bringResourceOnline(host, names.device, host.text(names.mountPoint), host.text("qmfs"),
                      host.text("mountOptions=" + names.options));
}

void expectResource(ExpectedCalls& calls, const std::string& givenDevice, const std::string& mountPoint,
                    const std::string& options) {
  const std::string device = converted(givenDevice, "/dev/qm/rd", "/dev/qm/d");
  const std::string optionWords = options.empty() ? "" : "-o " + options + " ";
  calls.runsAll("online_resource",
                {"/bin/mkdir -p  " + mountPoint, "/bin/mount -t qmfs  " + optionWords + device + " " + mountPoint},
                mountPoint + ";");
}

void expectOnlineResource(ExpectedCalls& calls, const Names& names) {
  const std::string options = names.options.substr(0, names.options.find(';'));
  if (!isDevice(names.device) || !isOneWord(names.mountPoint) || !areOptions(options)) {
    return calls.refuses("online_resource");
  }
  expectResource(calls, names.device, names.mountPoint, options);
}

void onlineUnnamedResource(NameCaller& caller, const Names& names) {
  Host& host = caller.host;
  bringResourceOnline(host, names.device, nullptr, host.text("qmfs"), host.text("otherOption=1"));
}

void expectOnlineUnnamedResource(ExpectedCalls& calls, const Names& names) {
  const std::size_t slash = names.device.rfind('/');
  const std::string mountPoint = slash != std::string::npos ? names.device.substr(slash) : "/" + names.device;
  if (!isDevice(names.device) || mountPoint == "/") return calls.refuses("online_resource");
  expectResource(calls, names.device, mountPoint, " -o mincache=closesync ");
}

}  // namespace

std::vector<NameSite> commandNameSites() {
  const auto mountPoint = &Names::mountPoint;
  const auto device = &Names::device;
  const auto options = &Names::options;
  const auto alternate = &Names::alternate;
  return {
      {"alternate tree", {mountPoint, device, alternate}, Table::empty, buildAlternate, expectBuildAlternate},
      {"import", {mountPoint, device, alternate}, Table::empty, import, expectImport},
      {"import of what is mounted", {alternate, device}, Table::alternate, import, expectImportMounted},
      {"deport", {mountPoint}, Table::mountPoint, deport, expectDeport},
      {"online", {mountPoint, device, options}, Table::empty, online, expectOnline},
      {"offline", {mountPoint}, Table::mountPoint, offline, expectOffline},
      {"dispose", {mountPoint}, Table::mountPoint, dispose, expectDispose},
      {"access disabled", {mountPoint}, Table::mountPoint, disableAccess, expectDisableAccess},
      {"access enabled", {mountPoint, device, options}, Table::empty, enableAccess, expectEnableAccess},
      {"cache", {mountPoint, device}, Table::empty, switchCache, expectSwitchCache},
      {"parent", {device}, Table::empty, isParent, expectIsParent},
      {"format", {device}, Table::empty, format, expectFormat},
      {"resource", {mountPoint, device, options}, Table::empty, onlineResource, expectOnlineResource},
      {"unnamed resource", {device}, Table::empty, onlineUnnamedResource, expectOnlineUnnamedResource},
  };
}

}  // namespace faults
