// The table of failures.
#include "failure/failure_kind.h"

#include <algorithm>
#include <array>

#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr std::array kinds = {
    FailureKind{Failure::failed, "failed", ExitStatus::failed,
                translatable("it failed for a reason without a kind of its own"), nullptr},
    FailureKind{Failure::wrongUsage, "wrong_usage", ExitStatus::wrongUsage,
                translatable("the words of the command line make no sense"),
                translatable("\"--help\" behind the command shows what it takes")},
    FailureKind{Failure::partlyDone, "partly_done", ExitStatus::partlyDone,
                translatable("of several objects some could not be worked on"),
                translatable("standard output tells what became of each")},
    FailureKind{Failure::notFound, "not_found", ExitStatus::notFound, translatable("what is named does not exist"),
                translatable("check the name, and whether it is there")},
    FailureKind{Failure::busy, "busy", ExitStatus::busy, translatable("somebody else uses it"),
                translatable("end what uses it, or wait for it, and try again")},
    FailureKind{
        Failure::timedOut, "timed_out", ExitStatus::timedOut,
        translatable("the freeze lasted longer than its time-out; everything is thawed, and there is no snapshot"),
        translatable("try again when there is less to write, or give a longer --freeze-timeout")},
    FailureKind{Failure::freezeUncertain, "freeze_uncertain", ExitStatus::freezeUncertain,
                translatable("something may still be frozen"),
                translatable("\"qmfi thaw\" the file systems that are named")},
    FailureKind{Failure::noPermission, "no_permission", ExitStatus::noPermission, translatable("qmfi may not do it"),
                translatable("run qmfi as root")},
    FailureKind{Failure::locked, "locked", ExitStatus::locked,
                translatable("another qmfi works on it, and --lock-wait has passed"),
                translatable("wait for the other qmfi, or give a longer --lock-wait")},
    FailureKind{Failure::weakerThanRequired, "weaker_than_required", ExitStatus::weakerThanRequired,
                translatable("less is proven of the snapshot than --require asks for; there is no snapshot"),
                translatable("try again, with a longer --freeze-timeout where the freeze took long")},
    FailureKind{Failure::noSuchSnapshot, "no_such_snapshot", ExitStatus::notFound,
                translatable("no snapshot has that id or name"), translatable("\"qmfi snapshot list\" shows all")},
    FailureKind{
        Failure::notClaimed, "not_claimed", ExitStatus::notFound,
        translatable("no provider takes it for a file system of its type"),
        translatable("\"findmnt\" shows what is mounted where, \"qmfi provider show\" the types of the providers")},
    FailureKind{Failure::notDisabled, "not_disabled", ExitStatus::notFound,
                translatable("the file system has not been taken out of use"),
                translatable("\"qmfi access list\" shows all that are")},
    FailureKind{Failure::untrusted, "untrusted", ExitStatus::noPermission,
                translatable("others than root could change what qmfi would have to believe"),
                translatable("use a place that belongs to root and that nobody else can write to")},
    FailureKind{Failure::settingsWrong, "settings_wrong", ExitStatus::failed,
                translatable("a settings file cannot be read, or says what cannot be meant"),
                translatable("\"qmfi config check\" names everything that is wrong")},
    FailureKind{Failure::providerFailed, "provider_failed", ExitStatus::failed,
                translatable("a call of the provider failed"),
                translatable("see the messages of the provider, and its log")},
    FailureKind{Failure::providerUnusable, "provider_unusable", ExitStatus::failed,
                translatable("the provider is not installed, or cannot be used"),
                translatable("install it anew, or choose another one by --provider")},
    FailureKind{Failure::providerAmbiguous, "provider_ambiguous", ExitStatus::failed,
                translatable("several providers take it for their own"), translatable("choose one by --provider")},
    FailureKind{Failure::frozenByOther, "frozen_by_other", ExitStatus::failed,
                translatable("somebody else has frozen the file system"),
                translatable("wait until it is thawed, or end that freeze by \"qmfi thaw\"")},
    FailureKind{Failure::storageFull, "storage_full", ExitStatus::failed, translatable("there is not enough room"),
                translatable("make room: remove files, or snapshots that are not needed")},
    FailureKind{Failure::nameTaken, "name_taken", ExitStatus::failed, translatable("something else has the name"),
                translatable("choose another name by --name")},
    FailureKind{Failure::snapshotDamaged, "snapshot_damaged", ExitStatus::failed,
                translatable("what the database holds of the snapshot makes no sense"),
                translatable("\"qmfi snapshot delete\" of its id removes what can be found of it")},
    FailureKind{Failure::snapshotInterrupted, "snapshot_interrupted", ExitStatus::failed,
                translatable("a command that worked on the snapshot did not come to its end"),
                translatable("\"qmfi recover\" cleans it up")},
    FailureKind{Failure::partOfSnapshot, "part_of_snapshot", ExitStatus::failed,
                translatable("it belongs to a snapshot, which stays as it is"),
                translatable("name the original, or take the snapshot away by \"qmfi snapshot delete\"")},
    FailureKind{Failure::forceNeeded, "force_needed", ExitStatus::failed,
                translatable("something would be lost or covered, and nobody has agreed to it"),
                translatable("look at what is there; --force goes on all the same")},
    FailureKind{Failure::wrongContent, "wrong_content", ExitStatus::failed,
                translatable("the device holds something else than the provider works on"),
                translatable("check which device is meant")},
    FailureKind{Failure::readOnly, "read_only", ExitStatus::failed,
                translatable("the file system is mounted read-only"),
                translatable("mount it writable if that is meant")},
    FailureKind{Failure::cannotBeSplit, "cannot_be_split", ExitStatus::failed,
                translatable("no splitter can copy the volume as it is"),
                translatable("docs/splitters.md says what each needs")},
    FailureKind{Failure::interrupted, "interrupted", ExitStatus::failed, translatable("a signal asked qmfi to end"),
                translatable("run the command again")},
    FailureKind{Failure::outputFailed, "output_failed", ExitStatus::failed,
                translatable("the output could not be written"), translatable("check what standard output leads to")},
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
