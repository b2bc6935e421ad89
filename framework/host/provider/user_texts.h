// What qmfi itself says of a provider's failures, in the user's language.
#ifndef USER_TEXTS_H
#define USER_TEXTS_H

#include <string>

#include "cfimessagecatalog.h"

namespace qmfi_host {

// Texts that no catalog of the language has are English, or missing where there is no catalog at all.
class UserTexts {
 public:
  // language: a locale name, empty for English.
  explicit UserTexts(const std::string& language) : m_catalog("qmfi", language.c_str()) {}

  // What a status means. english: what the provider says of it.
  std::string meaningOf(int status, const std::string& english) const;

  // Where the whole output of a program stands, of which only the end is shown.
  std::string outputIsLogged(const std::string& file) const;

 private:
  qmfi_pdk_4_4::CFiIcuMessageCatalog m_catalog;
};

}  // namespace qmfi_host

#endif
