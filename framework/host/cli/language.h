// The language in which a provider's messages reach the user.
#ifndef LANGUAGE_H
#define LANGUAGE_H

#include <string>

namespace qmfi_host {

// The locale name of a language as users write it, without its encoding and modifier: "de_DE.UTF-8" becomes "de_DE";
// "C" and "POSIX" become the empty name, which stands for the default language.
std::string localeName(const std::string& language);

}  // namespace qmfi_host

#endif
