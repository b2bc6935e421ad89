// Texts from qmfi's own catalogs, which lie beside those of the providers.
#include "provider/user_texts.h"

#include <unicode/unistr.h>

#include <span>

namespace qmfi_host {

using namespace qmfi_pdk_4_4;

namespace {

std::string textFrom(const CFiMessageCatalog& catalog, const std::string& id,
                     std::span<const icu::Formattable> arguments = {}) {
  const CFiIcuMessage message(id.c_str(), arguments.data(), static_cast<int>(arguments.size()), KFI_SEVERITY_ERROR, "",
                              0);
  std::string text;
  return catalog.format(message, text) ? text : std::string();
}

}  // namespace

std::string UserTexts::meaningOf(int status, const std::string& english) const {
  const std::string text = textFrom(m_catalog, "STATUS_" + std::to_string(status));
  return text.empty() ? english : text;
}

std::string UserTexts::outputIsLogged(const std::string& file) const {
  const icu::Formattable argument(icu::UnicodeString::fromUTF8(file));
  return textFrom(m_catalog, "OUTPUT_IS_LOGGED", {&argument, 1});
}

}  // namespace qmfi_host
