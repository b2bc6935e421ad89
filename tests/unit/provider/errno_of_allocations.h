// Allocations that leave an error number of their own, as any that succeeds may.
#ifndef ERRNO_OF_ALLOCATIONS_H
#define ERRNO_OF_ALLOCATIONS_H

// While it is set, they do.
extern bool allocationsSetErrno;

#endif
