// The work whose instructions are counted under callgrind: each dump of its totals is named after what was done before.
#include <valgrind/callgrind.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "cficontextsingleton.h"
#include "cfipluginname.h"
#include "cfitracelog.h"
#include "qmfs_mount_table.h"
#include "qmfs_private_data.h"
#include "silent_log.h"

extern "C" int qmfsfi_fi_pgn_pre_prepare(kfi_domain* domain);

namespace {

using namespace qmfi_pdk_4_4;

constexpr int rounds = 1000;
constexpr int tableEntries = 1000;

// The first round makes what later ones find made, and is not counted.
template <typename Work>
void count(const char* name, int times, const Work& work) {
  work();
  CALLGRIND_START_INSTRUMENTATION;
  CALLGRIND_ZERO_STATS;
  for (int round = 0; round < times; ++round) work();
  CALLGRIND_DUMP_STATS_AT(name);
  CALLGRIND_STOP_INSTRUMENTATION;
}

void countLookUp(const std::string& path) {
  std::ofstream table(path);
  for (int entry = 1; entry <= tableEntries; ++entry) {
    table << "/dev/qm/dsk/group/volume-" << entry << " /srv/data/volume-" << entry << " qmfs rw,relatime,log 0 0\n";
  }
  table.close();
  const std::string last = "/srv/data/volume-" + std::to_string(tableEntries);
  count("look-up", 1, [&] {
    char* device = nullptr;
    char* options = nullptr;
    searchMountTable(path.c_str(), MountTableKey::mountPoint, last.c_str(), "qmfs", &device, &options);
    std::free(device);
    std::free(options);
  });
}

void countBlob(const CFiTraceLogSPtr& log) {
  const char* const device = "/dev/qm/dsk/group/volume";
  qmfi_objid* const identifier = qmfi_get_objid(device, static_cast<std::uint32_t>(std::strlen(device)), 3);
  const CFiPrivateDataSPtr node(new CQmFSPrivateData(identifier, false));
  node->registerTraceLog(log);
  node->addSubObject(identifier);
  static_cast<CQmFSPrivateData&>(*node).setMntOpts("rw,relatime,log,ioerror=mwdisable");
  static_cast<CQmFSPrivateData&>(*node).setAltObj("/srv/data_alt20261121060708");
  count("blob", rounds, [&] {
    kfi_blob blob{};
    node->getNodeState(&blob);
    node->setNodeState(&blob);
    qmfi_free_buf(blob.kb_buffer, blob.kb_length);
  });
}

}  // namespace

// Argument: a directory to work in.
int main(int words, char** arguments) {
  if (words != 2) return 2;
  const CFiTraceLogSPtr log = bench::silentLog();
  // The plug-in's own, which its start would open.
  bench::silence(*CFiContextSingleton<CFiTraceLog, FI_PLUGIN_NAME>::instance(false));
  count("entry point", rounds, [] { qmfsfi_fi_pgn_pre_prepare(nullptr); });
  count("trace scope", rounds, [&] {
    const CFiTraceLogFunction scope(log, "buildAltTree", 104, "providers/qmfs/qmfs_plugin_alttree.cpp");
    asm volatile("" ::: "memory");
  });
  countLookUp(std::string(arguments[1]) + "/table");
  countBlob(log);
  return 0;
}
