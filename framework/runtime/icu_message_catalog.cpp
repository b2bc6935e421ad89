// Message catalogs in ICU resource bundles.
#include <unicode/locid.h>
#include <unicode/msgfmt.h>
#include <unicode/uloc.h>
#include <unicode/ures.h>

#include <algorithm>
#include <map>
#include <vector>

#include "cfimessagecatalog.h"
#include "places.h"

namespace qmfi_pdk_4_4 {

namespace {

constexpr const char* kRootLocale = "root";

// The patterns of one bundle, by message identifier.
struct Patterns {
  icu::Locale locale;
  std::map<std::string, icu::UnicodeString, std::less<>> byId;
};

// The canonical form of a locale as a host or an environment names it ("de_AT.UTF-8"). Empty for what cannot name a
// bundle: the locale becomes part of a file name.
std::string canonicalLocale(const char* locale) {
  if (locale == nullptr) return {};
  char canonical[ULOC_FULLNAME_CAPACITY];
  char base[ULOC_FULLNAME_CAPACITY];
  UErrorCode status = U_ZERO_ERROR;
  uloc_canonicalize(locale, canonical, sizeof canonical, &status);
  const int length = uloc_getBaseName(canonical, base, sizeof base, &status);
  if (U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING) return {};
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

// Reads one bundle whole. False when there is none.
bool readBundle(const std::string& package, const std::string& locale, Patterns& patterns) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UResourceBundle, BundleCloser> bundle(
      ures_openDirect(package.c_str(), locale.c_str(), &status));
  if (U_FAILURE(status)) return false;
  patterns.locale = locale == kRootLocale ? icu::Locale::getRoot() : icu::Locale(locale.c_str());
  while (ures_hasNext(bundle.get())) {
    int32_t length = 0;
    const char* id = nullptr;
    UErrorCode entryStatus = U_ZERO_ERROR;
    const UChar* const text = ures_getNextString(bundle.get(), &length, &id, &entryStatus);
    if (text != nullptr && id != nullptr) patterns.byId.emplace(id, icu::UnicodeString(text, length));
  }
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
  for (std::string part = canonicalLocale(locale); !part.empty() && part != kRootLocale; part = parentLocale(part)) {
    chain.push_back(part);
  }
  chain.emplace_back(kRootLocale);
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
    if (U_FAILURE(status)) return false;
    icu::UnicodeString formatted;
    icu::FieldPosition ignored(icu::FieldPosition::DONT_CARE);
    formatter.format(arguments.data(), static_cast<int32_t>(arguments.size()), formatted, ignored, status);
    if (U_FAILURE(status)) return false;
    text.clear();
    formatted.toUTF8String(text);
    return true;
  }
  return false;
}

}  // namespace qmfi_pdk_4_4
