// The language in which messages reach the user.
#ifndef LANGUAGE_H
#define LANGUAGE_H

#include <string>

namespace qmfi_host {

// The locale name of a language as users write it, without its encoding and modifier: "de_DE.UTF-8" becomes "de_DE";
// "C" and "POSIX" become the empty name, which stands for the default language.
std::string localeName(const std::string& language);

// Has qmfi's own texts told in the language of a locale name from now on. Root takes them only from where nobody else
// can change them; otherwise, and where there are none in the language, they are English.
void useLanguage(const std::string& locale);

// The same with the language that the environment asks for.
void useLanguageOfEnvironment();

}  // namespace qmfi_host

#endif
