// Bytes as plain text.
#ifndef PERCENT_CODE_H
#define PERCENT_CODE_H

#include <string>

namespace qmfi_host {

// The text with every byte that is not plain ASCII, and "%" itself, as "%" and two hexadecimal digits.
std::string percentEncoded(const std::string& text);

// The bytes of such a text. Throws HostError for a "%" without two digits behind it.
std::string percentDecoded(const std::string& text);

}  // namespace qmfi_host

#endif
