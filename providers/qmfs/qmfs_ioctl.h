/*
 * The freeze requests of the file system's kernel driver, and nothing else: a build against another kernel interface
 * replaces this header.
 */
#ifndef QMFS_IOCTL_H
#define QMFS_IOCTL_H

#include <stddef.h>
#include <stdint.h>

/* Freezes the file system of a descriptor for at most the given number of seconds, passed as the argument itself. */
#define QM_FREEZE 0x514D4601U
/* Ends a freeze; the argument is 0. Fails with ETIMEDOUT when the freeze had already ended by its time-out. */
#define QM_THAW 0x514D4602U
/* Freezes the file systems of all descriptors of a record, or none; issued on the first descriptor. */
#define QM_FREEZE_ALL 0x514D4603U

/* What QM_FREEZE_ALL is given; it stays the caller's. */
struct qmfs_freeze_all {
  int32_t count;              /* 0: number of descriptors */
  int32_t timeout;            /* 4: seconds */
  const int32_t* descriptors; /* 8 */
};

#ifdef __cplusplus
static_assert(offsetof(qmfs_freeze_all, timeout) == 4 && offsetof(qmfs_freeze_all, descriptors) == 8);
static_assert(sizeof(qmfs_freeze_all) == 16);
#endif

#endif
