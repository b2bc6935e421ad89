// Names that a careless program would take for something else: words, escapes, shell text, formats, tags.
#ifndef HOSTILE_NAMES_H
#define HOSTILE_NAMES_H

#include <string>
#include <vector>

namespace faults {

// The pieces that hostile names are made of; each is also a name of its own.
const std::vector<std::string>& hostilePieces();

// A name as the mount table has it: what would end a field or a line stands as a backslash and three octal digits.
std::string inMountTable(const std::string& name);

// A name as a message shows it: bytes that are no UTF-8 become the replacement character.
std::string inMessage(const std::string& name);

}  // namespace faults

#endif
