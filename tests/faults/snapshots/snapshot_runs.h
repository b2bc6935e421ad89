// The life of a snapshot through qmfi, with a judgement of every run.
#ifndef SNAPSHOT_RUNS_H
#define SNAPSHOT_RUNS_H

#include <string>
#include <vector>

#include "campaign.h"
#include "machine_check.h"
#include "support/supervision/tracer.h"

namespace faults {

// A command of qmfi in the life of a snapshot, or of the file systems themselves.
enum class Step { create, show, remove, list, unmount, mount, disable, enable };

const char* nameOf(Step step);

// How a run of qmfi may end.
enum class Ending {
  documented,
  any,  // the dynamic loader may fail or crash before qmfi's own first line
};

// Runs qmfi and counts as failures of the campaign's case: a run that does not end, ends by a signal or with an
// undocumented status, or fails without a message. The snapshot has one name; there is one at a time.
class SnapshotRuns {
 public:
  // areOrdinary: the file systems are not qmfs.
  SnapshotRuns(Campaign& campaign, std::vector<std::string> mountPoints, bool areOrdinary = false);

  void setMountPoints(std::vector<std::string> mountPoints) { m_mountPoints = std::move(mountPoints); }
  const std::vector<std::string>& mountPoints() const { return m_mountPoints; }
  int fileSystems() const { return static_cast<int>(m_mountPoints.size()); }

  // watcher may be null.
  Ended run(Step step, CallWatcher* watcher = nullptr, Ending ending = Ending::documented);
  Ended recover(CallWatcher* watcher = nullptr);
  // Another command.
  Ended run(const std::vector<std::string>& words, CallWatcher* watcher = nullptr) { return qmfi(words, watcher); }
  // As run and recover, but must succeed.
  void require(Step step);
  void require(const std::vector<std::string>& words);
  void requireRecovery();

  // The state of the snapshot: "ready", that of an interrupted command such as "freezing", or nothing without one.
  std::string state();

  // Where the copy of a file system is mounted while the snapshot is.
  static std::string alternateOf(const std::string& mountPoint);

  // Takes every file system into use again that "access list" tells of.
  void enableAll();

  // Whatever a failed or killed run left: it is recovered if need be, deleted, and then the machine is as before.
  void expectOrder();
  // Whatever a killed run left running ends, and nothing is frozen then, though nobody has recovered.
  void expectThawed();
  // Nothing runs any more, and the machine is as before.
  void expectNothingLeft();

 private:
  std::vector<std::string> wordsOf(Step step) const;
  Ended qmfi(std::vector<std::string> words, CallWatcher* watcher, Ending ending = Ending::documented);
  void requireSuccess(const std::string& what, const Ended& ended);
  void expectNothingRuns();
  void expectEnded(const Ended& ended);

  Campaign& m_campaign;
  Tracer m_tracer;
  std::vector<std::string> m_mountPoints;
  MachineCheck m_machine;
};

}  // namespace faults

#endif
