// Files that the user has asked for.
#ifndef WRITTEN_FILE_H
#define WRITTEN_FILE_H

#include <string>

namespace qmfi_host {

// Writes a text to a file of mode 0600, in place of what has that name. what: "the report", for the failure. Throws
// HostError; what was there before is there still then.
void writeAskedFile(const std::string& what, const std::string& path, const std::string& text);

}  // namespace qmfi_host

#endif
