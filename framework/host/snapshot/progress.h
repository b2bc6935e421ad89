// What is told of work on snapshots and file systems while it goes on.
#ifndef PROGRESS_H
#define PROGRESS_H

#include <chrono>
#include <optional>
#include <string>

namespace qmfi_host {

// What is done, and in brackets what it is done to.
enum class Step {
  claim,    // the providers are asked whose a file system is (its mount point)
  prepare,  // a splitter makes all that its splits need (the splitter)
  hook,     // a hook gets ready (its path)
  freeze,   // what is in memory is written out, then everything is frozen, split and thawed (the snapshot)
  hookEnd,  // a hook is told what came of the freeze, and ends (its path)
  attach,   // a device is made of a copy (the device)
  mount,    // a copy is mounted (where)
  unmount,  // a copy, or a file system that is taken out of use, is unmounted (where it is mounted)
  detach,   // the device of a copy is taken away (the device)
  remove,   // a copy is removed (its device)
  undo,     // what was made of a snapshot is removed after a failure (the snapshot)
  run,      // the user's program works on a snapshot (the program)
  wait,     // programs that an interrupted host left are waited for (the snapshot)
  format,   // a new file system is made (on which device)
  online,   // a file system is checked where need be, and mounted (its device or its mount point)
  restore   // files are copied from a snapshot (which file system, directory or file, by its original path)
};

// Listens to what the host does. It is told nothing from before the first freeze until after the last thaw, and by a
// recovery nothing before its thaws: to tell is to write, and what is written to may be frozen, or stand still.
class Progress {
 public:
  virtual ~Progress() = default;

  // A step begins. object: as its step says.
  virtual void step(Step step, const std::string& object) const = 0;

  // What a file system or device is worked on with. object: its mount point or path. splitter: empty where nothing is
  // split.
  virtual void choice(const std::string& object, const std::string& provider, const std::string& splitter) const = 0;

  // Everything is thawed that was frozen for a snapshot. frozen: for how long that was. signal: the name of one that
  // has come meanwhile and ends the work; nothing when none has.
  virtual void thawed(std::chrono::microseconds frozen, const std::optional<std::string>& signal) const = 0;

  // What has failed is tried again after a pause. attempt: its number, from 2 to attempts.
  virtual void retry(int attempt, int attempts, std::chrono::milliseconds pause) const = 0;
};

// Tells nobody.
class NoProgress : public Progress {
 public:
  void step(Step step, const std::string& object) const override;
  void choice(const std::string& object, const std::string& provider, const std::string& splitter) const override;
  void thawed(std::chrono::microseconds frozen, const std::optional<std::string>& signal) const override;
  void retry(int attempt, int attempts, std::chrono::milliseconds pause) const override;
};

// One that lives as long as the program.
const Progress& noProgress();

}  // namespace qmfi_host

#endif
