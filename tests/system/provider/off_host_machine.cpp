// What runs on each of two machines that share a storage. A machine is a testbed; they meet in the storage's directory,
// where the first one leaves the snapshot and the node's state. The status is 0, or 100 and the number of the step that
// failed. Usage: off_host_machine export | import
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "loaded_plugin.h"
#include "machine_state.h"
#include "snapshot_file.h"
#include "support/mount_lines.h"
#include "support/text_file.h"

namespace provider_test {
namespace {

const std::string stateFile = "/qmfs-pool/state";
const std::string mountPoint = "/mnt/data";
const std::string alternatePath = "/mnt/data_alt";
const std::string snapshotDevice = "/dev/qm/dsk/dg1/snapshot";

// Ends the steps of a machine with the number of the first one that went wrong.
class Steps {
 public:
  bool check(const char* what, bool holds) {
    ++m_number;
    if (!holds) std::fprintf(stderr, "step %d: %s\n", m_number, what);
    return holds;
  }
  int number() const { return m_number; }

 private:
  int m_number = 0;
};

// Snapshots the mounted volume, says a line when everything is there, and keeps the volume mounted until its input
// ends.
bool exportSnapshot(Steps& steps) {
  LoadedPlugin plugin;
  kfi_domain& node = plugin.initialisedNode(mountPoint);
  std::ofstream(mountPoint + "/file") << "before";
  if (!steps.check("snapshot", cloneFrozen(plugin, node, "data", "snapshot") == 0)) return false;
  std::ofstream(mountPoint + "/file") << "after";
  const std::string state = plugin.fetchState(node);
  if (!steps.check("state", !state.empty())) return false;
  std::ofstream(stateFile) << state;
  std::puts("ready");
  std::fflush(stdout);
  char end;
  return steps.check("end of input", read(STDIN_FILENO, &end, 1) == 0);
}

// Makes the node from the exported state and imports it, twice. The second import finds the first one's mount.
bool import(Steps& steps, LoadedPlugin& plugin, kfi_domain& node) {
  if (!steps.check("state", plugin.storeState(node, textOf(stateFile)) == 0)) return false;
  kfi_subobj_entry entries[] = {{readOnly(mountPoint.c_str()), readOnly(alternatePath.c_str())}, {}};
  node.fid_subobjs = entries;
  qmfi_objid* snapshots[] = {plugin.object(snapshotDevice)};
  const std::string mkdir = "/bin/mkdir -p  " + alternatePath;
  const std::string mount = "/bin/mount -t qmfs  -o ro " + snapshotDevice + " " + alternatePath;
  for (const auto& commands : {std::vector<std::string>{mkdir, mount}, {mkdir}}) {
    qmfi_objid* alternate = nullptr;
    const int status = plugin.call().import_tree(&node, nullptr, snapshots, 1, &alternate);
    if (!steps.check("import", status == 0 && alternate != nullptr && alternate->vid_name == alternatePath) ||
        !steps.check("commands of the import", plugin.commands() == commands) ||
        !steps.check("one mount", testbed_test::mountLines(alternatePath).size() == 1)) {
      return false;
    }
  }
  node.fid_subobjs = nullptr;
  return true;
}

bool importSnapshot(Steps& steps) {
  const demo::MachineState before = demo::machineState();
  {
    LoadedPlugin plugin;
    kfi_domain& node = plugin.node(mountPoint);
    if (!import(steps, plugin, node)) return false;
    if (!steps.check("data", textOf(alternatePath + "/file") == "before")) return false;
    const std::string remembered = "<ALTOBJ>" + alternatePath + "</ALTOBJ>\n";
    if (!steps.check("alternate name", plugin.fetchState(node).ends_with(remembered))) return false;
    kfi_domain& alternate = plugin.node(alternatePath);
    const ForeignFunctions& call = plugin.call();
    if (!steps.check("alternate node", call.init_altnode(&node, nullptr, &alternate) == 0)) return false;
    if (!steps.check("deport", call.deport_tree(&node, &alternate, nullptr) == 0)) return false;
  }
  const std::string left = demo::lastingDifference(before);
  return steps.check(("nothing is left: " + left).c_str(), left.empty());
}

}  // namespace
}  // namespace provider_test

int main(int count, char** words) {
  const std::string role = count == 2 ? words[1] : "";
  if (role != "export" && role != "import") {
    std::fputs("Usage: off_host_machine export | import\n", stderr);
    return 2;
  }
  provider_test::Steps steps;
  const bool done = role == "export" ? provider_test::exportSnapshot(steps) : provider_test::importSnapshot(steps);
  return done ? 0 : 100 + steps.number();
}
