// Which snapshots of many are kept.
#ifndef RETENTION_H
#define RETENTION_H

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "state/snapshot.h"

namespace qmfi_host {

// How many are kept by each rule; a rule without a number keeps none. Of each period the newest is kept, for the last
// periods that have one.
struct KeepRules {
  std::optional<int> last{};  // the newest ones
  std::optional<int> hourly{};
  std::optional<int> daily{};
  std::optional<int> weekly{};  // of ISO 8601: a week begins with Monday
  std::optional<int> monthly{};
};

// Why each snapshot is kept, a text for each rule that keeps it: "last", "daily 2026-11-22". Without one no rule keeps
// it. taken: when they were taken, in any order. Periods are those of the local time: the hour that the end of summer
// time repeats is another one than the hour before it.
std::vector<std::vector<std::string>> reasonsToKeep(std::span<const Snapshot::Time> taken, const KeepRules& rules);

}  // namespace qmfi_host

#endif
