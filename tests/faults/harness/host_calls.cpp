// Making the calls.
#include "host_calls.h"

#include <cstdlib>

namespace faults {

namespace {

template <typename Call>
qmfi_objid* mountSnapshot(Host& host, const char* name, kfi_domain& node, kfi_subobj_entry* entries, const Call& call) {
  qmfi_objid* made = nullptr;
  node.fid_subobjs = entries;
  host.make(name, [&] { return call(&made); });
  node.fid_subobjs = nullptr;
  if (made != nullptr) host.output(made->vid_name);
  return made;
}

}  // namespace

qmfi_objid* buildAlternateTree(Host& host, kfi_domain& node, kfi_subobj_entry* entries, qmfi_objid* snapshot) {
  return mountSnapshot(host, "build_alttree", node, entries, [&](qmfi_objid** made) {
    return host.call.build_alttree(&node, host.text("file system"), nullptr, &snapshot, 1, made);
  });
}

qmfi_objid* importAlternateTree(Host& host, kfi_domain& node, kfi_subobj_entry* entries, qmfi_objid* snapshot) {
  return mountSnapshot(host, "import_tree", node, entries,
                       [&](qmfi_objid** made) { return host.call.import_tree(&node, nullptr, &snapshot, 1, made); });
}

int deportTree(Host& host, kfi_domain* primary, kfi_domain& alternate) {
  return host.make("deport_tree", [&] { return host.call.deport_tree(primary, &alternate, nullptr); });
}

void storeState(Host& host, kfi_domain& node, const std::string& state) {
  constexpr int store = 0;
  kfi_blob blob{state.size() + 1, host.text(state), 1};
  host.make("process_providerstate", [&] { return host.call.process_providerstate(&node, &blob, store); });
}

std::string fetchState(Host& host, kfi_domain& node) {
  constexpr int fetch = 1;
  kfi_blob blob{};
  host.make("process_providerstate", [&] { return host.call.process_providerstate(&node, &blob, fetch); });
  if (blob.kb_buffer == nullptr) return {};
  std::string state = blob.kb_buffer;
  host.output(state);
  host.call.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
  return state;
}

void listSubObjects(Host& host, kfi_domain& node) {
  qmfi_objid** objects = nullptr;
  int count = 0;
  host.make("subobj_list", [&] { return host.call.subobj_list(&node, &objects, &count); });
  for (int i = 0; i < count; ++i) host.output(objects[i]->vid_name);
  host.call.qmfi_free_buf(objects, static_cast<std::size_t>(count) * sizeof(void*));
}

void askWhetherParent(Host& host, const std::string& device) {
  int answer = 7;
  host.make("is_parent_pgn", [&] { return host.call.is_parent_pgn(host.text(device), &answer, 0); });
  host.output(std::to_string(answer));
}

void formatDevice(Host& host, const std::string& device, char* type) {
  char* devices[] = {host.text(device)};
  host.make("format", [&] { return host.call.format(devices, 1, nullptr, type, nullptr, 1, nullptr, nullptr); });
}

void bringResourceOnline(Host& host, const std::string& device, char* mountPoint, char* type, char* options) {
  char* devices[] = {host.text(device)};
  char** paths = nullptr;
  int count = 0;
  host.make("online_resource", [&] {
    return host.call.online_resource(devices, 1, mountPoint, type, options, nullptr, 0, &paths, &count);
  });
  for (int i = 0; i < count; ++i) {
    host.output(paths[i]);
    host.call.qmfi_free_buf(paths[i], std::string(paths[i]).size() + 1);
  }
  std::free(paths);
}

}  // namespace faults
