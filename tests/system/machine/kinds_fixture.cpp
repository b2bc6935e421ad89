// Running programs in the machine and looking at it.
#include "kinds_fixture.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "machine_state.h"
#include "support/program_run.h"

namespace machine_test {

using testbed_test::Outcome;

std::string mustRun(const std::vector<std::string>& words) {
  const Outcome outcome = testbed_test::run(words);
  EXPECT_EQ(outcome.status, 0) << testing::PrintToString(words) << "\n" << outcome.output;
  return outcome.output;
}

MountedVolume::MountedVolume(const Volume& volume, std::string directory, const std::string& options)
    : m_directory(std::move(directory)) {
  mustRun({"/bin/mount", "-t", volume.type, "-o", volume.isFile() ? options + ",loop" : options, volume.place,
           m_directory});
}

MountedVolume::~MountedVolume() {
  mustRun({"/bin/umount", m_directory});
}

MountedLayout::MountedLayout(const Layout& layout) : m_volumes(layout.volumes) {
  for (std::size_t i = 0; i < demo::fileSystems; ++i) {
    m_mounted.emplace_back(m_volumes.at(i), demo::ledgerMountPoints.at(i));
  }
}

// Linux 6.12 counts one freeze too many of a volume that was suspended while its file system was frozen, and does not
// mount it again as long as it is active.
MountedLayout::~MountedLayout() {
  m_mounted.clear();
  for (const char* active : {"n", "y"}) {
    std::vector<std::string> words = {"/sbin/lvchange", "--activate", active};
    for (const Volume& volume : m_volumes) {
      if (!volume.isFile()) words.push_back(volume.place);
    }
    mustRun(words);
  }
}

TakenSnapshot::TakenSnapshot(const std::vector<std::string>& mountPoints) {
  // The machine is slow.
  std::vector<std::string> words = {"/usr/bin/qmfi", "snapshot", "create", "--json", "--freeze-timeout", "60"};
  words.insert(words.end(), mountPoints.begin(), mountPoints.end());
  const auto taken = nlohmann::json::parse(mustRun(words));
  m_id = taken.at("id");
  for (const auto& node : taken.at("nodes")) {
    m_trees.push_back(node.at("alternate"));
    m_splitters.push_back(node.at("splitter"));
  }
}

void TakenSnapshot::let(const std::string& command) const {
  mustRun({"/usr/bin/qmfi", "snapshot", command, m_id});
}

std::string machineState() {
  std::string state = mustRun({"/sbin/lvs", "--noheadings", "--options", "lv_full_name,lv_attr", "data"});
  state += mustRun({"/sbin/losetup", "--list", "--noheadings", "--output", "BACK-FILE"});
  state += mustRun({"/bin/ls", "-A", "/storage", "/dev", "/dev/data", "/dev/mapper"});
  state += mustRun({"/usr/bin/qmfi", "snapshot", "list"});
  for (const std::string& line : demo::machineState()) state += line + "\n";
  return state;
}

}  // namespace machine_test
