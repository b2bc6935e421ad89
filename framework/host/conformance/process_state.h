// What belongs to the process that loads a provider.
#ifndef PROCESS_STATE_H
#define PROCESS_STATE_H

#include <map>
#include <string>

namespace qmfi_host {

// Makes the locale, the file mode mask, the signals, the environment and the working directory what nobody sets by
// chance. For a process that does nothing else.
void makeProcessStateUnusual();

// The parts of the state by their names, as text. Descriptors and threads are among them; a thread that is just ending
// is waited for. Throws HostError.
std::map<std::string, std::string> processState();

// Whether the framework's library may change a part for good when it is first needed, by catalogs that stay open.
bool mayChangeOnce(const std::string& part);

}  // namespace qmfi_host

#endif
