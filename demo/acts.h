// The acts of the demonstration. Each leaves the machine as it found it and throws DemoError when something is not as
// it must be.
#ifndef ACTS_H
#define ACTS_H

#include <ostream>

namespace demo {

// A snapshot while the writer writes, checked and deleted, told in full.
void playSnapshot(std::ostream& out);

// The same many times with one line each.
void playRounds(std::ostream& out, int rounds);

// Copies of the three file systems without a freeze, one after another: the checks must find that they do not belong to
// one moment.
void playControl(std::ostream& out);

// A device formatted, mounted, filled, taken out of use and back.
void playResource(std::ostream& out);

}  // namespace demo

#endif
