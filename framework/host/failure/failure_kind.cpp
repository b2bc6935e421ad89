// The table of failures.
#include "failure/failure_kind.h"

#include <algorithm>
#include <array>

namespace qmfi_host {

namespace {

constexpr std::array kinds = {
    FailureKind{Failure::failed, "failed", ExitStatus::failed, "it failed for a reason without a kind of its own",
                nullptr},
    FailureKind{Failure::wrongUsage, "wrong_usage", ExitStatus::wrongUsage,
                "the words of the command line make no sense", "\"--help\" behind the command shows what it takes"},
    FailureKind{Failure::partlyDone, "partly_done", ExitStatus::partlyDone,
                "of several objects some could not be worked on", "standard output tells what became of each"},
    FailureKind{Failure::notFound, "not_found", ExitStatus::notFound, "what is named does not exist",
                "check the name, and whether it is there"},
    FailureKind{Failure::busy, "busy", ExitStatus::busy, "somebody else uses it",
                "end what uses it, or wait for it, and try again"},
    FailureKind{Failure::timedOut, "timed_out", ExitStatus::timedOut,
                "the freeze lasted longer than its time-out; everything is thawed, and there is no snapshot",
                "try again when there is less to write, or give a longer --freeze-timeout"},
    FailureKind{Failure::freezeUncertain, "freeze_uncertain", ExitStatus::freezeUncertain,
                "something may still be frozen", "\"qmfi thaw\" the file systems that are named"},
    FailureKind{Failure::noPermission, "no_permission", ExitStatus::noPermission, "qmfi may not do it",
                "run qmfi as root"},
    FailureKind{Failure::locked, "locked", ExitStatus::locked, "another qmfi works on it, and --lock-wait has passed",
                "wait for the other qmfi, or give a longer --lock-wait"},
    FailureKind{Failure::weakerThanRequired, "weaker_than_required", ExitStatus::weakerThanRequired,
                "less is proven of the snapshot than --require asks for; there is no snapshot",
                "try again, with a longer --freeze-timeout where the freeze took long"},
    FailureKind{Failure::noSuchSnapshot, "no_such_snapshot", ExitStatus::notFound, "no snapshot has that id or name",
                "\"qmfi snapshot list\" shows all"},
    FailureKind{Failure::notClaimed, "not_claimed", ExitStatus::notFound,
                "no provider takes it for a file system of its type",
                "\"findmnt\" shows what is mounted where, \"qmfi provider show\" the types of the providers"},
    FailureKind{Failure::notDisabled, "not_disabled", ExitStatus::notFound,
                "the file system has not been taken out of use", "\"qmfi access list\" shows all that are"},
    FailureKind{Failure::untrusted, "untrusted", ExitStatus::noPermission,
                "others than root could change what qmfi would have to believe",
                "use a place that belongs to root and that nobody else can write to"},
    FailureKind{Failure::settingsWrong, "settings_wrong", ExitStatus::failed,
                "a settings file cannot be read, or says what cannot be meant",
                "\"qmfi config check\" names everything that is wrong"},
    FailureKind{Failure::providerFailed, "provider_failed", ExitStatus::failed, "a call of the provider failed",
                "see the messages of the provider, and its log"},
    FailureKind{Failure::providerUnusable, "provider_unusable", ExitStatus::failed,
                "the provider is not installed, or cannot be used",
                "install it anew, or choose another one by --provider"},
    FailureKind{Failure::providerAmbiguous, "provider_ambiguous", ExitStatus::failed,
                "several providers take it for their own", "choose one by --provider"},
    FailureKind{Failure::frozenByOther, "frozen_by_other", ExitStatus::failed,
                "somebody else has frozen the file system",
                "wait until it is thawed, or end that freeze by \"qmfi thaw\""},
    FailureKind{Failure::storageFull, "storage_full", ExitStatus::failed, "there is not enough room",
                "make room: remove files, or snapshots that are not needed"},
    FailureKind{Failure::nameTaken, "name_taken", ExitStatus::failed, "something else has the name",
                "choose another name by --name"},
    FailureKind{Failure::snapshotDamaged, "snapshot_damaged", ExitStatus::failed,
                "what the database holds of the snapshot makes no sense",
                "\"qmfi snapshot delete\" of its id removes what can be found of it"},
    FailureKind{Failure::snapshotInterrupted, "snapshot_interrupted", ExitStatus::failed,
                "a command that worked on the snapshot did not come to its end", "\"qmfi recover\" cleans it up"},
    FailureKind{Failure::partOfSnapshot, "part_of_snapshot", ExitStatus::failed,
                "it belongs to a snapshot, which stays as it is",
                "name the original, or take the snapshot away by \"qmfi snapshot delete\""},
    FailureKind{Failure::forceNeeded, "force_needed", ExitStatus::failed,
                "something would be lost or covered, and nobody has agreed to it",
                "look at what is there; --force goes on all the same"},
    FailureKind{Failure::wrongContent, "wrong_content", ExitStatus::failed,
                "the device holds something else than the provider works on", "check which device is meant"},
    FailureKind{Failure::readOnly, "read_only", ExitStatus::failed, "the file system is mounted read-only",
                "mount it writable if that is meant"},
    FailureKind{Failure::cannotBeSplit, "cannot_be_split", ExitStatus::failed,
                "no splitter can copy the volume as it is", "docs/splitters.md says what each needs"},
    FailureKind{Failure::interrupted, "interrupted", ExitStatus::failed, "a signal asked qmfi to end",
                "run the command again"},
    FailureKind{Failure::outputFailed, "output_failed", ExitStatus::failed, "the output could not be written",
                "check what standard output leads to"},
};

static_assert(std::size(kinds) == static_cast<std::size_t>(Failure::outputFailed) + 1);

}  // namespace

std::span<const FailureKind> failureKinds() {
  return kinds;
}

const FailureKind& kindOf(Failure failure) {
  return kinds.at(static_cast<std::size_t>(failure));
}

Failure failureOfStatus(ExitStatus status) {
  const auto* const found =
      std::find_if(kinds.begin(), kinds.end(), [&](const FailureKind& kind) { return kind.exitStatus == status; });
  return found == kinds.end() ? Failure::failed : found->failure;
}

}  // namespace qmfi_host
