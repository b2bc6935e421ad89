// How steps are called.
#ifndef PROGRESS_STEPS_H
#define PROGRESS_STEPS_H

#include <span>

#include "snapshot/progress.h"

namespace qmfi_host {

// A step as people and programs are told of it.
struct StepName {
  Step step;
  const char* key;    // for programs; stays as it is
  const char* words;  // for people, with "{0}" in the place of the object; for translated()
};

// All steps, in the order of the enumeration; they live as long as the program.
std::span<const StepName> stepNames();

// The one of a step.
const StepName& nameOf(Step step);

}  // namespace qmfi_host

#endif
