// Copying files of a snapshot back: to where they were, or into a directory of their own.
#ifndef FILE_RESTORATION_H
#define FILE_RESTORATION_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "failure/deferred_signals.h"
#include "snapshot/restored_part.h"
#include "snapshot/rsync_program.h"
#include "state/state_store.h"

namespace qmfi_host {

// Where restored files go, and how.
struct RestoreWay {
  std::optional<std::string> directory{};  // where they go, with their original paths; nothing for where they were
  bool force = false;                      // also what is in use, or into a directory that is not empty
  bool compares = false;                   // contents are compared also where size and time are the same
  bool onlyTells = false;                  // nothing is changed
};

// The directory of a name that a user gives, without links. Throws HostError unless it is new in a directory that is
// there, or empty (or way.force), root alone decides what the name leads to, and no snapshot has a part of it.
std::string requireRestoreDirectory(const StateStore& store, const std::string& name, bool force);

// Throws HostError unless the file system that a part was taken from is mounted where it was, as a whole and writable,
// and nothing else is mounted where the part would be restored.
void requireRestorableInPlace(const Snapshot& snapshot, const RestoredPart& part);

// Throws HostError unless a mounted snapshot has the part.
void requireInCopy(const Snapshot& snapshot, const RestoredPart& part);

// Where a part goes: its original path, or that below the directory.
std::string targetOf(const RestoredPart& part, const RestoreWay& way);

// Copies one part of a mounted snapshot and writes it out to the disk; in place what the snapshot does not have goes.
// A failure in the middle leaves what has been copied, and the same call goes on from there. tell: is told each change,
// with its whole path, where nothing is changed. Returns false when a signal has come that ended it. Throws HostError.
bool restorePart(const RestoredPart& part, const RestoreWay& way, const DeferredSignals& signals,
                 const std::function<void(const FileChange&)>& tell);

}  // namespace qmfi_host

#endif
