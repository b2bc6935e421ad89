// Message catalogs in ICU resource bundles.
#include <unicode/locid.h>
#include <unicode/msgfmt.h>
#include <unicode/uloc.h>
#include <unicode/ures.h>

#include <algorithm>
#include <map>
#include <new>
#include <vector>

#include "cfimessagecatalog.h"
#include "message_text.h"
#include "paths.h"

namespace qmfi_pdk_4_4 {

namespace {

constexpr const char* rootLocale = "root";

// The patterns of one bundle, by message identifier.
struct Patterns {
  icu::Locale locale;
  std::map<std::string, icu::UnicodeString, std::less<>> byId;
};

// Whether a call of ICU has filled its buffer with a whole name and its terminator.
bool isWhole(UErrorCode status) {
  return U_SUCCESS(status) && status != U_STRING_NOT_TERMINATED_WARNING;
}

// The canonical form of a locale as a host or an environment names it ("de_AT.UTF-8"). Empty for what cannot name a
// bundle: the locale becomes part of a file name.
std::string canonicalLocale(const char* locale) {
  if (locale == nullptr) return {};
  char canonical[ULOC_FULLNAME_CAPACITY];
  char base[ULOC_FULLNAME_CAPACITY];
  UErrorCode status = U_ZERO_ERROR;
  uloc_canonicalize(locale, canonical, sizeof canonical, &status);
  if (!isWhole(status)) return {};
  const int length = uloc_getBaseName(canonical, base, sizeof base, &status);
  if (!isWhole(status)) return {};
  const std::string name(base, static_cast<std::size_t>(length));
  const bool plain = std::all_of(name.begin(), name.end(), [](char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '_';
  });
  return plain ? name : std::string();
}

// The locale without its last part; empty after the language.
std::string parentLocale(const std::string& locale) {
  char name[ULOC_FULLNAME_CAPACITY];
  UErrorCode status = U_ZERO_ERROR;
  const int length = uloc_getParent(locale.c_str(), name, sizeof name, &status);
  return U_SUCCESS(status) ? std::string(name, static_cast<std::size_t>(length)) : std::string();
}

struct BundleCloser {
  void operator()(UResourceBundle* bundle) const { ures_close(bundle); }
};

// A catalog is kept once it is made, so one that lost something to a short memory must not be made.
void requireMemory(UErrorCode status) {
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
}

// Reads one bundle whole. False when there is none. Throws std::bad_alloc when memory is short.
bool readBundle(const std::string& package, const std::string& locale, Patterns& patterns) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UResourceBundle, BundleCloser> bundle(
      ures_openDirect(package.c_str(), locale.c_str(), &status));
  requireMemory(status);
  if (U_FAILURE(status)) return false;
  patterns.locale = locale == rootLocale ? icu::Locale::getRoot() : icu::Locale(locale.c_str());
  while (ures_hasNext(bundle.get())) {
    int32_t length = 0;
    const char* id = nullptr;
    UErrorCode entryStatus = U_ZERO_ERROR;
    const UChar* const text = ures_getNextString(bundle.get(), &length, &id, &entryStatus);
    requireMemory(entryStatus);
    if (text == nullptr || id == nullptr) continue;
    const auto added = patterns.byId.emplace(id, icu::UnicodeString(text, length)).first;
    if (added->second.isBogus()) throw std::bad_alloc();
  }
  return true;
}

// The arguments with integers as their digits.
std::vector<icu::Formattable> withIntegersAsText(const std::vector<icu::Formattable>& arguments) {
  std::vector<icu::Formattable> texts;
  texts.reserve(arguments.size());
  for (const icu::Formattable& argument : arguments) {
    const auto integer = qmfi_runtime::integerText(argument);
    if (integer) {
      texts.emplace_back(icu::UnicodeString::fromUTF8(*integer));
    } else {
      texts.push_back(argument);
    }
    wholeArgument(texts.back());
  }
  return texts;
}

// Fills the placeholders. False when the pattern asks for another kind of argument.
bool fill(const icu::MessageFormat& formatter, const std::vector<icu::Formattable>& arguments, std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString filled;
  icu::FieldPosition ignored(icu::FieldPosition::DONT_CARE);
  formatter.format(arguments.data(), static_cast<int32_t>(arguments.size()), filled, ignored, status);
  requireMemory(status);
  if (U_FAILURE(status)) return false;
  text = qmfi_runtime::utf8Of(filled);
  return true;
}

}  // namespace

struct [[gnu::visibility("hidden")]] CFiIcuMessageCatalog::Implementation {
  std::vector<Patterns> bundles;  // from the most special locale to the root
};

CFiIcuMessageCatalog::CFiIcuMessageCatalog(const char* name, const char* locale)
    : m_implementation(std::make_unique<Implementation>()) {
  if (name == nullptr || !qmfi_runtime::isPlainName(name)) return;
  const std::string package = qmfi_runtime::catalogDirectory() + "/" + name;
  // The chain is followed here: ICU's own would try the process's default locale before the root.
  std::vector<std::string> chain;
  for (std::string part = canonicalLocale(locale); !part.empty() && part != rootLocale; part = parentLocale(part)) {
    chain.push_back(part);
  }
  chain.emplace_back(rootLocale);
  for (const std::string& part : chain) {
    Patterns patterns;
    if (readBundle(package, part, patterns)) m_implementation->bundles.push_back(std::move(patterns));
  }
}

CFiIcuMessageCatalog::~CFiIcuMessageCatalog() = default;

bool CFiIcuMessageCatalog::format(const CFiMessage& message, std::string& text) const {
  for (const Patterns& patterns : m_implementation->bundles) {
    const auto found = patterns.byId.find(message.getMessageId());
    if (found == patterns.byId.end()) continue;
    const auto* const icuMessage = dynamic_cast<const CFiIcuMessage*>(&message);
    const std::vector<icu::Formattable> none;
    const std::vector<icu::Formattable>& arguments = icuMessage != nullptr ? icuMessage->getArguments() : none;
    UErrorCode status = U_ZERO_ERROR;
    // Made for each message: a formatter is not to be used by two threads.
    const icu::MessageFormat formatter(found->second, patterns.locale, status);
    requireMemory(status);
    if (U_FAILURE(status)) return false;
    // ICU's number formats crash when memory is short, so only a pattern that names one gets to use them.
    return fill(formatter, withIntegersAsText(arguments), text) || fill(formatter, arguments, text);
  }
  return false;
}

}  // namespace qmfi_pdk_4_4
