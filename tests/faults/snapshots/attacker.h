// An unprivileged user who owns a directory above a mount point.
#ifndef ATTACKER_H
#define ATTACKER_H

#include <sys/types.h>

#include <string>

#include "system/descriptor.h"

namespace faults {

// Those about the mount point leave it where it is but put something else where its path leads.
enum class Trick {
  linkToVictim,
  linkToVictimsParent,
  linkToRoot,
  linkToOtherFileSystem,
  linkToSnapshot,
  linkInACircle,
  linkToNothing,
  linkWithLineFeeds,
  ownDirectory,
  emptyDirectory,
  nothing,
  file,
  fifo,
  mountPointIsFifo,
  mountPointIsFile,
  holdsFilesOpen,
  plantsFiles,
  breaksIn,
  count,
};

const char* nameOf(Trick trick);

// A process of that user's, with no rights of root's. It reports what it could do that it must not be able to.
class Attacker {
 public:
  // otherMountPoint: of a file system of root's.
  explicit Attacker(std::string otherMountPoint);
  Attacker(const Attacker&) = delete;
  Attacker& operator=(const Attacker&) = delete;
  ~Attacker();

  // Each returns when it is done; the report is empty when all is well.
  std::string play(Trick trick);
  std::string putBack();

  // From now on it plays one trick after another whenever it notices that somebody opens or reads a directory that it
  // can watch. The seed chooses them.
  void beginRace(unsigned seed);
  std::string endRace();

 private:
  std::string ask(const std::string& request);

  pid_t m_process = -1;
  qmfi_system::Descriptor m_socket;
};

}  // namespace faults

#endif
