// Names of snapshots that tell when they were taken.
#ifndef DATED_NAME_H
#define DATED_NAME_H

#include <ctime>
#include <string>

namespace qmfi_host {

// A name with the local time in the place of %Y, %m, %d, %H, %M and %S, and of %F for %Y-%m-%d; any other "%" stays.
std::string datedName(const std::string& name, std::time_t now);

}  // namespace qmfi_host

#endif
