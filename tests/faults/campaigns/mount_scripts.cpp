// Scripts: import, online, dispose, access, logging mode, resources, and unmounts that fail.
#include "host_calls.h"
#include "scripts.h"

namespace faults {

namespace {

constexpr int bringOnline = 1;
constexpr int takeOffline = 2;
constexpr int removeMountPoint = 1;
constexpr long forcedUnmount = 0x10;

const char* const umount = "/bin/umount";
const char* const forcedUmount = "/opt/KRIB/bin/qmumount";

void nothing(Machine&) {}

void import(Host& host, kfi_domain& node, const std::string& alternate) {
  kfi_subobj_entry entries[] = {{node.fid_objid->vid_name, host.text(alternate)}, {nullptr, nullptr}};
  importAlternateTree(host, node, entries, host.provider.object("/dev/qm/dsk/dg/snapshot_of_a_volume"));
}

int online(Host& host, kfi_domain& node, int mode, int disposition) {
  return host.make("online", [&] { return host.call.online(nullptr, &node, mode, disposition); });
}

void importAndDispose(Host& host) {
  if (!host.start()) return;
  const std::string alternate = host.machine.path("imported_file_system");
  host.mayStay.paths.push_back(alternate);
  kfi_domain& node = host.initialisedNode(host.machine.fileSystem(0));
  import(host, node, alternate);
  import(host, node, alternate);
  kfi_domain& imported = host.node(alternate);
  const int status =
      host.make("dispose", [&] { return host.call.dispose(nullptr, &imported, nullptr, removeMountPoint); });
  if (status == 0) host.mayStay.paths.clear();
}

void offlineAndOnline(Host& host) {
  if (!host.start()) return;
  const std::string mountPoint = host.machine.fileSystem(0);
  host.mayStay.paths.push_back(mountPoint);
  kfi_domain& node = host.initialisedNode(mountPoint);
  online(host, node, bringOnline, 0);
  online(host, node, takeOffline, removeMountPoint);
  online(host, node, bringOnline, 0);
}

// A list over two nodes, each with its device.
struct AccessList {
  AccessList(Host& host, kfi_domain& first, kfi_domain& second) {
    kfi_domain* const nodes[] = {&first, &second};
    for (int i = 0; i < 2; ++i) {
      devices[i] = {host.provider.object(host.machine.device(i)), nullptr};
      elements[i] = {nodes[i], &devices[i], i == 0 ? &elements[1] : nullptr};
    }
  }
  kfi_subobj_list devices[2];
  kfi_node_subobj_list elements[2];
};

void accessDisabledAndEnabled(Host& host) {
  if (!host.start()) return;
  kfi_domain& first = host.initialisedNode(host.machine.fileSystem(0));
  kfi_domain& second = host.node(host.machine.fileSystem(1));
  AccessList list(host, first, second);
  for (int number : {0, 1}) host.mayStay.paths.push_back(host.machine.fileSystem(number));
  host.make("disable_access", [&] { return host.call.disable_access(list.elements, forcedUnmount); });
  host.output(std::to_string(first.fid_attr) + " " + std::to_string(second.fid_attr));
  host.make("enable_access", [&] { return host.call.enable_access(list.elements, 0, 0, 0); });
  host.output(std::to_string(first.fid_attr) + " " + std::to_string(second.fid_attr));
}

void loggingModes(Host& host) {
  if (!host.start()) return;
  kfi_domain& node = host.initialisedNode(host.machine.fileSystem(0));
  host.machine.programs.answer("/bin/mount", Answer());
  host.make("cache_disable", [&] { return host.call.cache_disable(&node); });
  host.makeVoid("cache_enable", [&] { host.call.cache_enable(&node); });
  host.machine.programs.answer("/bin/mount", Answer().complains("mount: not possible").exits(32));
  host.make("cache_disable", [&] { return host.call.cache_disable(&node); });
}

void existence(Host& host) {
  if (!host.start()) return;
  kfi_domain& node = host.initialisedNode(host.machine.fileSystem(0));
  int answer = 7;
  host.make("check_node_existence", [&] { return host.call.check_node_existence(&node, &answer); });
  host.output(std::to_string(answer));
  askWhetherParent(host, "/dev/qm/dsk/dg/volume_in_question");
}

void bringResourceOnline(Host& host, const std::string& mountPoint, const char* options) {
  bringResourceOnline(host, "/dev/qm/dsk/dg/some_spare_volume", host.text(mountPoint), host.text("qmfs"),
                      host.text(options));
}

void resources(Host& host) {
  if (!host.start()) return;
  const std::string mountPoint = host.machine.path("resource_mount_point");
  host.mayStay.paths = {mountPoint};
  host.mayStay.temporaryMountPoints = true;
  formatDevice(host, "/dev/qm/dsk/dg/some_spare_volume", host.text("qmfs"));
  bringResourceOnline(host, mountPoint, "mountOptions=rw,delaylog;somethingElse=1");
  bringResourceOnline(host, mountPoint, "");
}

// A mount that fails twice, with a check of the file system between and a dump at the end.
void failingResource(Host& host) {
  if (!host.start()) return;
  const std::string mountPoint = host.machine.path("resource_mount_point");
  host.mayStay.paths = {mountPoint};
  host.machine.programs.answer("/bin/mount", Answer().complains("mount: structure needs cleaning").exits(32));
  bringResourceOnline(host, mountPoint, "");
}

void failingUnmounts(Host& host) {
  if (!host.start()) return;
  kfi_domain& alternate = host.node(host.machine.fileSystem(1));
  auto& programs = host.machine.programs;
  const auto busy = Answer().complains("umount: target is busy").exits(32);
  // Busy to the end.
  programs.answer(forcedUmount, busy);
  deportTree(host, nullptr, alternate);
  // It does not know the force option, and the plain one fails too, which is dumped.
  programs.answer(forcedUmount, Answer().complains("usage: qmumount directory").exits(2));
  programs.answer(umount, Answer().complains("umount: not permitted").exits(1));
  deportTree(host, nullptr, alternate);
  // It knows the option and nothing else helps.
  programs.answer(forcedUmount, Answer().complains("usage: qmumount -o force directory").exits(2));
  deportTree(host, nullptr, alternate);
  // Failed by its status, but nothing is mounted any more.
  programs.answer(forcedUmount, Answer().unmounts().exits(1));
  host.mayStay.paths.push_back(host.machine.fileSystem(1));
  deportTree(host, nullptr, alternate);
}

}  // namespace

std::vector<Script> mountScripts() {
  return {
      {"import and dispose", nothing, importAndDispose},
      {"offline and online", nothing, offlineAndOnline},
      {"access disabled and enabled", nothing, accessDisabledAndEnabled},
      {"logging modes", nothing, loggingModes},
      {"existence", nothing, existence},
      {"resources", nothing, resources},
      {"failing resource", nothing, failingResource},
      {"failing unmounts", nothing, failingUnmounts},
  };
}

}  // namespace faults
