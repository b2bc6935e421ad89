// A node's state packed into a blob and restored from it.
#include <cstring>
#include <string>

#include "in_process.h"
#include "qmfs_private_data.h"
#include "silent_log.h"
#include "yardsticks/plain_node_state.h"

namespace {

using namespace qmfi_pdk_4_4;

constexpr const char* device = "/dev/qm/dsk/group/volume";
constexpr const char* altObject = "/srv/data_alt20261121060708";
// What a blob has beside its options.
constexpr std::size_t restOfBlob = 112;
// A restored sub-object is added to the others, so that a node that is restored for ever would grow for ever.
constexpr int mostSubObjects = 1000;

qmfi_objid* identifier(const char* name) {
  return qmfi_get_objid(name, static_cast<std::uint32_t>(std::strlen(name)), 3);
}

std::string optionsFor(std::size_t blobBytes) {
  std::string options = "rw";
  while (options.size() + restOfBlob < blobBytes) options += ",o";
  return options;
}

CFiPrivateDataSPtr makeNode(const CFiTraceLogSPtr& log) {
  CFiPrivateDataSPtr node(new CQmFSPrivateData(identifier("/srv/data"), false));
  node->registerTraceLog(log);
  return node;
}

CFiPrivateDataSPtr makeFilledNode(const CFiTraceLogSPtr& log, const std::string& options) {
  CFiPrivateDataSPtr node = makeNode(log);
  auto& state = static_cast<CQmFSPrivateData&>(*node);
  state.addSubObject(identifier(device));
  state.setMntOpts(options.c_str());
  state.setAltObj(altObject);
  return node;
}

void freeBlob(kfi_blob& blob) {
  qmfi_free_buf(blob.kb_buffer, blob.kb_length);
}

void comparePacking(const CFiTraceLogSPtr& log, const std::string& size, const std::string& options) {
  const auto ours = [=](benchmark::State& state) {
    const CFiPrivateDataSPtr node = makeFilledNode(log, options);
    for (auto round : state) {
      kfi_blob blob{};
      if (node->getNodeState(&blob) != 0) return state.SkipWithError("not packed");
      freeBlob(blob);
    }
  };
  const auto plain = [=](benchmark::State& state) {
    const bench::NodeState node{options, {identifier(device)}, altObject};
    for (auto round : state) {
      kfi_blob blob{};
      if (!bench::packNodeState(node, blob)) return state.SkipWithError("not packed");
      freeBlob(blob);
    }
  };
  bench::compare("11", "node state packed, " + size, ours, {{"one reserved string", plain, 1.15}}, {.noise = true});
}

void compareRestoring(const CFiTraceLogSPtr& log, const std::string& size, const std::string& options) {
  const auto ours = [=](benchmark::State& state) {
    kfi_blob blob{};
    makeFilledNode(log, options)->getNodeState(&blob);
    CFiPrivateDataSPtr node = makeNode(log);
    for (auto round : state) {
      if (node->getSubObjectListLength() == mostSubObjects) node = makeNode(log);
      node->setNodeState(&blob);
    }
    freeBlob(blob);
  };
  const auto plain = [=](benchmark::State& state) {
    kfi_blob blob{};
    bench::packNodeState({options, {identifier(device)}, altObject}, blob);
    bench::NodeState node;
    for (auto round : state) {
      if (node.subObjects.size() == mostSubObjects) node = {};
      if (!bench::restoreNodeState(blob, node)) return state.SkipWithError("not restored");
    }
    freeBlob(blob);
  };
  bench::compare("11", "node state restored, " + size, ours, {{"one pass over views", plain, 1.3}});
}

}  // namespace

int main(int count, char** words) {
  const CFiTraceLogSPtr log = bench::silentLog();
  for (const auto& [size, bytes] : {std::pair{"0.1 KB", std::size_t{100}}, std::pair{"4 KB", std::size_t{4096}}}) {
    comparePacking(log, size, optionsFor(bytes));
    compareRestoring(log, size, optionsFor(bytes));
  }
  return bench::runComparisons(count, words);
}
