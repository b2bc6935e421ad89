// Files that the user has asked for.
#ifndef WRITTEN_FILE_H
#define WRITTEN_FILE_H

#include <string>

namespace qmfi_host {

// Writes a text to a file of mode 0600, in place of what has that name. failure: "the report a.xml cannot be written",
// in the user's language. Throws HostError with that and the reason; what was there before is there still then.
void writeAskedFile(const std::string& path, const std::string& text, const std::string& failure);

}  // namespace qmfi_host

#endif
