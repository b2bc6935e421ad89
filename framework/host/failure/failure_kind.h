// The kinds of failures that programs tell apart.
#ifndef FAILURE_KIND_H
#define FAILURE_KIND_H

#include <optional>
#include <span>
#include <string>

#include "failure/exit_status.h"

namespace qmfi_host {

// First one for each exit status, for what has no kind of its own, then those that say more.
enum class Failure {
  failed,
  wrongUsage,
  partlyDone,
  notFound,
  busy,
  timedOut,
  freezeUncertain,
  noPermission,
  locked,
  weakerThanRequired,
  noSuchSnapshot,
  notClaimed,
  notDisabled,
  untrusted,
  settingsWrong,
  providerFailed,
  providerUnusable,
  providerAmbiguous,
  frozenByOther,
  storageFull,
  nameTaken,
  snapshotDamaged,
  snapshotInterrupted,
  partOfSnapshot,
  forceNeeded,
  wrongContent,
  readOnly,
  cannotBeSplit,
  interrupted,
  outputFailed,
};

// What is told of a kind. The texts live as long as the program; meaning and advice are English, for translated().
struct FailureKind {
  Failure failure;
  const char* id;  // what programs know it by; stays what it is
  ExitStatus exitStatus;
  const char* meaning;
  const char* advice;  // what to do; null where there is nothing in general
};

// All kinds, in the order of the enumeration.
std::span<const FailureKind> failureKinds();

// What is told of one.
const FailureKind& kindOf(Failure failure);

// The kind of what is known by its exit status only.
Failure failureOfStatus(ExitStatus status);

}  // namespace qmfi_host

#endif
