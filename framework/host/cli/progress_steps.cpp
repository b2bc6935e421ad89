// The table of steps.
#include "cli/progress_steps.h"

#include <array>

namespace qmfi_host {

namespace {

constexpr std::array steps = {
    StepName{Step::claim, "claim", "asking the providers about %"},
    StepName{Step::prepare, "prepare", "preparing the split by %"},
    StepName{Step::hook, "hook", "waiting until the hook % is ready"},
    StepName{Step::freeze, "freeze", "writing out what is in memory, then freezing for the snapshot %"},
    StepName{Step::hookEnd, "hook-end", "waiting until the hook % has ended"},
    StepName{Step::attach, "attach", "attaching the copy %"},
    StepName{Step::mount, "mount", "mounting %"},
    StepName{Step::unmount, "unmount", "unmounting % (its provider may try again for a minute while it is in use)"},
    StepName{Step::detach, "detach", "detaching the copy %"},
    StepName{Step::remove, "remove", "removing the copy %"},
    StepName{Step::undo, "undo", "removing what was made of the snapshot %"},
    StepName{Step::run, "run", "running %"},
    StepName{Step::wait, "wait", "waiting for programs that still work on the snapshot % (some seconds at most)"},
    StepName{Step::format, "format", "formatting % (may take minutes)"},
    StepName{Step::online, "online", "mounting %, after a check if need be (which may take hours)"},
    StepName{Step::restore, "restore", "restoring % (may take hours)"},
};

}  // namespace

std::span<const StepName> stepNames() {
  return steps;
}

const StepName& nameOf(Step step) {
  return steps.at(static_cast<std::size_t>(step));
}

}  // namespace qmfi_host
