// Catalogs of GNU gettext, which the C library reads.
#include "texts/translation.h"

#include <fmt/format.h>
#include <libintl.h>

#include <clocale>
#include <cstdlib>

namespace qmfi_host {

namespace {

constexpr const char* domain = "qmfi";

}  // namespace

void chooseLanguage(const std::string& locale, const std::filesystem::path& catalogs) {
  bindtextdomain(domain, catalogs.c_str());
  bind_textdomain_codeset(domain, "UTF-8");
  // The C library has a locale of no language, with which it goes by this variable; so the system need not have
  // locales.
  setenv("LANGUAGE", locale.c_str(), 1);
  const bool isKnown = !locale.empty() && setlocale(LC_MESSAGES, "C.UTF-8") != nullptr && *dgettext(domain, "") != '\0';
  // Texts of system errors are to be in the same language as the rest.
  if (!isKnown) setlocale(LC_MESSAGES, "C");
}

const char* translated(const char* english) {
  // What is found by the empty text is the heading of the catalog.
  return *english == '\0' ? english : dgettext(domain, english);
}

const char* translatedPlural(const char* one, const char* several, unsigned long count) {
  return dngettext(domain, one, several, count);
}

std::string filledIn(const char* english, const char* local, fmt::format_args values) {
  try {
    return fmt::vformat(local, values);
  } catch (const fmt::format_error&) {
    return fmt::vformat(english, values);
  }
}

}  // namespace qmfi_host
