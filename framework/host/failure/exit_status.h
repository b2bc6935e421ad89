// What qmfi exits with.
#ifndef EXIT_STATUS_H
#define EXIT_STATUS_H

#include <cstddef>
#include <optional>

namespace qmfi_host {

// The statuses that scripts tell failures apart by; docs/qmfi.md lists them. Numbers stay what they are.
enum class ExitStatus : int {
  done = 0,
  failed = 1,               // for none of the reasons below
  wrongUsage = 2,           // the words of the command line make no sense
  partlyDone = 3,           // some of several objects
  notFound = 4,             // what is named does not exist, or no provider claims it
  busy = 5,                 // somebody uses it
  timedOut = 6,             // the freeze lasted too long; everything is thawed
  freezeUncertain = 7,      // something may still be frozen
  noPermission = 8,         // to qmfi, or what others than root can change
  locked = 9,               // another qmfi works on it
  weakerThanRequired = 10,  // less is proven of the snapshot than was asked for
  // Of a command that runs a program of the user's, and ends with the program's status otherwise.
  ownFailure = 125,
  programUnusable = 126,
  programMissing = 127,
};

// The outcome of a command that does the same with several objects.
class SeveralOutcomes {
 public:
  // What became of the next object.
  void add(ExitStatus status);

  // Done where all are done, also where there were none. Something frozen outweighs everything. Otherwise partly done
  // where some are, the failures' status where all of them have the same, and failed.
  ExitStatus status() const;

 private:
  std::size_t m_done = 0;
  std::optional<ExitStatus> m_failure{};
};

}  // namespace qmfi_host

#endif
