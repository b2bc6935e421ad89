// Whether a file can have a name.
#ifndef POSSIBLE_NAME_H
#define POSSIBLE_NAME_H

#include <string>

namespace qmfi_host {

// Throws HostError for an absolute path that is too long for the system, or whose last name is too long for the file
// system of the directory that it would lie in.
void requirePossibleName(const std::string& path);

}  // namespace qmfi_host

#endif
