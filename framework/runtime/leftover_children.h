// Children that were killed and had not ended when their time was up.
#ifndef LEFTOVER_CHILDREN_H
#define LEFTOVER_CHILDREN_H

#include <list>

#include "kept_program.h"

namespace qmfi_runtime {

// Takes over children that have been killed but hang in the kernel. They are reaped by a later call of reapLeftovers.
// Both functions may be called from any thread.
void reapLater(std::list<KeptProgram>& children) noexcept;
void reapLeftovers() noexcept;

}  // namespace qmfi_runtime

#endif
