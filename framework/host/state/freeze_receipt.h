// What is known of the freeze that a snapshot was taken in.
#ifndef FREEZE_RECEIPT_H
#define FREEZE_RECEIPT_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace qmfi_host {

// What is known of a thaw.
enum class ThawAnswer {
  unknown,   // it came so late that the freeze may have been ended before by something else
  noFailure  // the provider, which tells what it cannot thaw, told nothing
};

// One file system. Moments are counted from the beginning of the window.
struct FileSystemReceipt {
  using Moment = std::chrono::microseconds;

  Moment freezeAsked{0};           // before its provider was asked to freeze it
  Moment frozen{0};                // when the provider had answered
  std::optional<Moment> proven{};  // when it refused a second freeze; nothing unless it did
  Moment thawAsked{0};             // before its provider was asked to thaw it
  Moment thawed{0};                // when the provider had answered
  ThawAnswer thaw = ThawAnswer::unknown;
};

// The longest time that a write to a file system can have waited.
std::chrono::microseconds longestStall(const FileSystemReceipt& fileSystem);

// The window from before the first freeze to after the last thaw.
struct FreezeReceipt {
  using Time = std::chrono::sys_time<std::chrono::microseconds>;
  using Moment = FileSystemReceipt::Moment;

  Time begin{};          // by the clock on the wall, which may be set meanwhile
  Time end{};            // by the same
  Moment sinceStart{0};  // of the beginning, by CLOCK_MONOTONIC: since the start of the machine
  Moment splitBegan{0};
  Moment splitEnded{0};
  Moment over{0};                                // after the last thaw
  Moment mayEnd{0};                              // when a time-out may have ended the first of the freezes
  std::vector<FileSystemReceipt> fileSystems{};  // in the order of the snapshot's
};

// How much a receipt proves.
enum class ProofLevel {
  none,
  group  // all file systems were frozen at one time, and stayed so until all volumes had been split
};

// The level as users call it.
std::string levelName(ProofLevel level);

// The level of a name that the user has given. Throws UsageError.
ProofLevel levelOfName(const std::string& name);

// What a receipt proves. Group where every file system refused a second freeze after the last of them had been frozen
// and before the split, the split was over before the first thaw and before any time-out, and every thaw ended what its
// provider had frozen.
ProofLevel levelOf(const FreezeReceipt& receipt);

}  // namespace qmfi_host

#endif
