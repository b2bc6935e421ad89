// A forked child that does nothing but exit.
#ifndef SUPPORT_EXITING_CHILD_H
#define SUPPORT_EXITING_CHILD_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

// The status of a child that exits at once, as waitpid stores it. One that hangs is ended by SIGALRM.
inline int statusOfExitingChild() {
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    std::exit(0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

#endif
