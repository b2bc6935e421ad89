// The program that copies trees of files with all that belongs to them.
#ifndef RSYNC_PROGRAM_H
#define RSYNC_PROGRAM_H

#include <functional>
#include <string>
#include <vector>

#include "failure/deferred_signals.h"
#include "system/descriptor.h"

namespace qmfi_host {

// What rsync is to do. It works in the target directory, which it knows by no name.
struct RsyncTask {
  std::string from;       // an absolute directory: what is in it belongs into the target directory
  std::string what{};     // the path below it that alone is copied, with the directories on its way; empty for all
  std::string missing{};  // where below the target directory it belongs, as far as that is still to be made; only for a
                          // task that tells and does nothing
  bool deletes = false;   // what is not in `from` goes
  bool compares = false;  // contents are compared also where size and time are the same
  bool onlyTells = false;
};

// What happens to one file, or would.
struct FileChange {
  std::string how;   // rsync's own letters, as ">f.st......" or "*deleting"
  std::string path;  // below the target directory; a directory's ends with "/"
};

// How a run of rsync ended.
struct RsyncEnd {
  bool isInterrupted = false;           // a signal had come, and it was ended
  int status = 0;                       // as a shell reports it
  std::vector<std::string> messages{};  // what it said, a line each, the first of many; bytes of names as they are.
                                        // Without the summary of its status
};

// Throws HostError unless rsync is there, and root alone can change it.
void requireRsync();

// The words of its command line.
std::vector<std::string> rsyncWords(const RsyncTask& task);

// A name as it is, of one that rsync has printed.
std::string unescapedName(const std::string& printed);

// Runs it in a directory and waits for its end; it ends also when this process is killed. A signal that has come ends
// it within a second; the signal stays pending. tell: is told each change of a task that only tells. Leaves this
// process in the root directory. Throws HostError when it cannot be run.
RsyncEnd runRsync(const RsyncTask& task, const qmfi_system::Descriptor& target, const DeferredSignals& signals,
                  const std::function<void(const FileChange&)>& tell);

}  // namespace qmfi_host

#endif
