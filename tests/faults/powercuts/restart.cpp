// Starting with what a power cut has left on the disks.
#include "restart.h"

#include <filesystem>
#include <list>
#include <set>

#include "demo_error.h"
#include "disks.h"
#include "ledger.h"
#include "machine_state.h"
#include "mounted_file.h"
#include "support/program_run.h"
#include "support/snapshot_list.h"
#include "support/text_file.h"

namespace faults {

namespace fs = std::filesystem;
using testbed_test::Outcome;
using testbed_test::Snapshot;

namespace {

using Complaints = std::vector<std::string>;

Outcome qmfi(std::vector<std::string> words) {
  words.insert(words.begin(), {"/usr/bin/qmfi", "--provider-dir", "/usr/lib/qmfi/linuxfs"});
  return testbed_test::run(words);
}

void require(const std::vector<std::string>& words, Complaints& complaints) {
  const Outcome outcome = qmfi(words);
  if (outcome.status != 0) complaints.push_back("\"" + words.back() + "\" failed: " + outcome.output);
}

std::vector<Snapshot> knownSnapshots() {
  return testbed_test::snapshotsIn(qmfi({"snapshot", "list", "--json"}).output);
}

// Everything mounted, as by the machine's start.
class RestartedMachine {
 public:
  explicit RestartedMachine(const std::string& folder)
      : m_state(folder + "/state", "ext4", "/var/lib/qmfi"), m_storage(folder + "/storage", "xfs", "/storage") {
    fs::remove_all("/run/qmfi");
    for (const Volume& volume : volumes) {
      m_volumes.emplace_back("/storage/" + volume.name, volume.type, "/mnt/" + volume.name,
                             "/dev/qm/dsk/dg1/" + volume.name);
    }
  }

 private:
  MountedFile m_state;
  MountedFile m_storage;
  std::list<MountedFile> m_volumes;
};

// The numbers in three trees, which must be of one moment.
demo::Numbers numbersIn(const std::vector<std::string>& trees, Complaints& complaints) {
  demo::Numbers numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    try {
      numbers.at(i) = demo::readNumber(trees.at(i));
    } catch (const demo::DemoError& error) {
      complaints.emplace_back(error.what());
    }
    if (textOf(constantFile(trees.at(i))) != constantText()) complaints.push_back(trees.at(i) + " has changed");
  }
  if (!demo::isOneMoment(numbers)) complaints.push_back(trees.front() + " and the others are not of one moment");
  return numbers;
}

void checkCopies(const Snapshot& snapshot, const demo::Numbers& originals, Complaints& complaints) {
  std::vector<std::string> trees;
  for (const auto& node : snapshot.nodes) trees.push_back(node.alternate);
  if (trees.size() != originals.size()) {
    complaints.emplace_back("the snapshot is not whole");
    return;
  }
  const demo::Numbers numbers = numbersIn(trees, complaints);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (numbers.at(i) > originals.at(i)) complaints.push_back(trees.at(i) + " is newer than the original");
  }
}

void checkSnapshots(Presence presence, const demo::Numbers& originals, Complaints& complaints) {
  require({"recover"}, complaints);
  const std::vector<Snapshot> known = knownSnapshots();
  if (known.empty() && presence == Presence::required) complaints.emplace_back("the snapshot is lost");
  if (!known.empty() && presence == Presence::none) complaints.emplace_back("the snapshot is back");
  for (const Snapshot& snapshot : known) {
    if (snapshot.state != "unmounted") complaints.push_back("the snapshot is \"" + snapshot.state + "\"");
    require({"snapshot", "mount", snapshot.id}, complaints);
    checkCopies(snapshot, originals, complaints);
    require({"snapshot", "delete", snapshot.id}, complaints);
  }
  if (!knownSnapshots().empty()) complaints.emplace_back("the snapshot is still known");
}

void checkStorage(Complaints& complaints) {
  std::set<std::string> files;
  for (const auto& entry : fs::directory_iterator("/storage")) files.insert(entry.path().filename());
  for (const Volume& volume : volumes) {
    if (files.erase(volume.name) == 0) complaints.push_back(volume.name + " is lost");
  }
  for (const std::string& file : files) complaints.push_back(file + " is left on the storage");
}

void checkMachine(const std::string& folder, Presence presence, Complaints& complaints) {
  const RestartedMachine machine(folder);
  std::vector<std::string> trees;
  for (const Volume& volume : volumes) trees.push_back("/mnt/" + volume.name);
  const demo::Numbers originals = numbersIn(trees, complaints);
  checkSnapshots(presence, originals, complaints);
  checkStorage(complaints);
}

}  // namespace

Presence presenceAfter(const std::string& mark) {
  if (mark == "create" || mark == "delete") return Presence::either;
  return mark.empty() || mark == "delete-done" ? Presence::none : Presence::required;
}

std::vector<std::string> complaintsAfterRestart(const std::string& folder, Presence presence) {
  const demo::MachineState before = demo::machineState();
  Complaints complaints;
  try {
    checkMachine(folder, presence, complaints);
  } catch (const std::exception& error) {
    complaints.emplace_back(error.what());
  }
  const std::string left = demo::lastingDifference(before);
  if (!left.empty()) complaints.push_back("the machine is not as before:\n" + left);
  return complaints;
}

}  // namespace faults
