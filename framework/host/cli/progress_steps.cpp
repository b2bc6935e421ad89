// The table of steps.
#include "cli/progress_steps.h"

#include <array>

#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr std::array steps = {
    StepName{Step::claim, "claim", translatable("asking the providers about {0}")},
    StepName{Step::prepare, "prepare", translatable("preparing the split by {0}")},
    StepName{Step::hook, "hook", translatable("waiting until the hook {0} is ready")},
    StepName{Step::freeze, "freeze", translatable("writing out what is in memory, then freezing for the snapshot {0}")},
    StepName{Step::hookEnd, "hook-end", translatable("waiting until the hook {0} has ended")},
    StepName{Step::attach, "attach", translatable("attaching the copy {0}")},
    StepName{Step::mount, "mount", translatable("mounting {0}")},
    StepName{Step::unmount, "unmount",
             translatable("unmounting {0} (its provider may try again for a minute while it is in use)")},
    StepName{Step::detach, "detach", translatable("detaching the copy {0}")},
    StepName{Step::remove, "remove", translatable("removing the copy {0}")},
    StepName{Step::undo, "undo", translatable("removing what was made of the snapshot {0}")},
    StepName{Step::run, "run", translatable("running {0}")},
    StepName{Step::wait, "wait",
             translatable("waiting for programs that still work on the snapshot {0} (some seconds at most)")},
    StepName{Step::format, "format", translatable("formatting {0} (may take minutes)")},
    StepName{Step::online, "online", translatable("mounting {0}, after a check if need be (which may take hours)")},
    StepName{Step::restore, "restore", translatable("restoring {0} (may take hours)")},
};

}  // namespace

std::span<const StepName> stepNames() {
  return steps;
}

const StepName& nameOf(Step step) {
  return steps.at(static_cast<std::size_t>(step));
}

}  // namespace qmfi_host
