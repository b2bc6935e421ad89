// Has qmfi's texts told in German for a scope.
#ifndef GERMAN_TEXTS_H
#define GERMAN_TEXTS_H

#include "build_tree.h"
#include "texts/translation.h"

namespace qmfi_host {

class GermanTexts {
 public:
  GermanTexts() { chooseLanguage("de", directory); }
  GermanTexts(const GermanTexts&) = delete;
  GermanTexts& operator=(const GermanTexts&) = delete;
  ~GermanTexts() { chooseLanguage("", directory); }

 private:
  static constexpr const char* directory = QMFI_BINARY_DIR "/share/qmfi/catalogs/qmfi";
};

}  // namespace qmfi_host

#endif
