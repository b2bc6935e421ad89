// Small files that are on the disk as a whole or not at all.
#ifndef SYSTEM_DURABLE_FILE_H
#define SYSTEM_DURABLE_FILE_H

#include <string>

namespace qmfi_system {

// Writes a text to a file of mode 0600, in place of what has that name. Once it returns 0 the text is on the disk;
// before, and after an errno value, whatever was there is there as a whole. A process that is killed meanwhile may
// leave the unfinished file.
int replaceFile(const std::string& path, const std::string& text);

// The name under which replaceFile() writes the new text: that of the file with ".new" behind it.
std::string unfinishedFileOf(const std::string& path);

// Writes a directory out, so that what was made, renamed or removed in it stays so. Returns 0 or an errno value.
int writeOutDirectory(const std::string& directory);

}  // namespace qmfi_system

#endif
