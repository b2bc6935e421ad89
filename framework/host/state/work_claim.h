// Claims on single things of the state, for work that others need not wait for.
#ifndef WORK_CLAIM_H
#define WORK_CLAIM_H

#include <filesystem>
#include <optional>
#include <string>

#include "state/lock_holder.h"
#include "system/descriptor.h"

namespace qmfi_host {

// How the claim on a snapshot is called, in every language.
std::string workOnSnapshot(const std::string& id);

// The right to work on a snapshot or a mount point while the lock of the state directory is let go. One process at a
// time has it, from its making to its end; freed by the kernel when that is killed. It is a byte of the database that
// is locked, far beyond its end: it needs no file that could be missing or be removed under its holder.
class WorkClaim {
 public:
  // Takes the claim; nothing while another one has it. The StateLock is held, and the database exists. what: the thing,
  // as users are told. command: what this process does with it. Throws HostError.
  static std::optional<WorkClaim> take(const std::filesystem::path& directory, const std::string& what,
                                       const std::string& command);
  WorkClaim(WorkClaim&&) = default;
  WorkClaim& operator=(WorkClaim&&) = delete;
  ~WorkClaim();

 private:
  WorkClaim(qmfi_system::Descriptor database, std::filesystem::path holderFile);

  qmfi_system::Descriptor m_database;  // it has the lock
  std::filesystem::path m_holderFile;
};

// Who works on a thing and for how long, as a clause; nothing when nobody does. Makes nothing.
std::optional<std::string> workerOn(const std::filesystem::path& directory, const std::string& what);

// Whether somebody works on anything.
bool isAnythingWorkedOn(const std::filesystem::path& directory);

// Waits until nobody works on a thing, or without one on anything. The StateLock is not held: who works needs it.
// Throws HostError at the end of the wait.
void waitForWorker(const std::filesystem::path& directory, const std::optional<std::string>& what,
                   const WaitingReport& report, WaitingEnd end = std::nullopt);

// Removes what killed processes left of their claims. The StateLock is held.
void removeLeftClaims(const std::filesystem::path& directory);

}  // namespace qmfi_host

#endif
