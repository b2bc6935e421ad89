// Texts for where only plain characters may stand.
#ifndef PLAIN_TEXT_H
#define PLAIN_TEXT_H

#include <string>

namespace qmfi_host {

// The text with a question mark for every byte but those of plain ASCII and line feeds. XML has no place for some of
// them, whatever they are written as.
std::string plainText(std::string text);

}  // namespace qmfi_host

#endif
