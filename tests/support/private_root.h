// Keeps programs that change their machine from doing so outside the testbed.
#ifndef PRIVATE_ROOT_H
#define PRIVATE_ROOT_H

// Ends the program with status 2 and says why, unless it runs in the testbed's private root: whatever it overwrites,
// freezes or takes away must not be the machine's.
void requirePrivateRoot();

#endif
