// Texts for users, in the user's language.
//
// A text stands in the code as it is in English, with {0}, {1} and so on for what is filled in, and is looked up by
// that in the catalog of the language. Each is a whole sentence or line: pieces cannot be put together in every
// language.
#ifndef TRANSLATION_H
#define TRANSLATION_H

#include <fmt/core.h>

#include <filesystem>
#include <string>

namespace qmfi_host {

// Has texts told in a language from now on, in the whole process; one thread only. English before, and where the
// catalogs do not have the language.
//   locale: as "de" or "de_AT"; empty for English.
//   catalogs: the directory of the catalogs; each is LANGUAGE/LC_MESSAGES/qmfi.mo in it.
void chooseLanguage(const std::string& locale, const std::filesystem::path& catalogs);

// Marks a text of a table, which is told by translated() later. Returns it as it is.
constexpr const char* translatable(const char* english) {
  return english;
}

// The text in the user's language, or as it is where there is no other; nothing is filled in. Lives as long as the
// process.
const char* translated(const char* english);

// The same where the text depends on a number: one is the English text for 1, several for others.
const char* translatedPlural(const char* one, const char* several, unsigned long count);

// A text with its values filled in; the English one where those do not fit into the local one.
std::string filledIn(const char* english, const char* local, fmt::format_args values);

// The text in the user's language with the values filled in, which are texts and numbers. In another language they may
// stand in another order.
template <typename... Values>
std::string translate(fmt::format_string<Values...> english, Values&&... values) {
  const char* const text = fmt::string_view(english).data();
  return filledIn(text, translated(text), fmt::make_format_args(values...));
}

// The same where the text depends on a number: one for 1, several otherwise. The number is among the values where it is
// told.
template <typename... Values>
std::string translatePlural(fmt::format_string<Values...> one, fmt::format_string<Values...> several,
                            unsigned long count, Values&&... values) {
  const char* const single = fmt::string_view(one).data();
  const char* const plural = fmt::string_view(several).data();
  return filledIn(count == 1 ? single : plural, translatedPlural(single, plural, count),
                  fmt::make_format_args(values...));
}

}  // namespace qmfi_host

#endif
