// Forwards messages to the callback of the host's context record, in the native and the default language.
#ifndef CFIERRORHANDLER_H
#define CFIERRORHANDLER_H

#include <ace/SString.h>

#include <string>
#include <utility>

#include "cfierrorhandlerbase.h"
#include "cfimessagecatalog.h"
#include "cfistringallocator.h"

namespace qmfi_pdk_4_4 {

// Hands messages to the host's callback. May be used from any thread.
class CFiErrorHandler : public CFiErrorHandlerBase {
 public:
  // context may be null and stays the host's; language may be empty.
  CFiErrorHandler(kfi_context* context, const CFiMessageCatalogManagerSPtr& catalogManager, std::string language)
      : m_context(context), m_language(std::move(language)), m_catalogManager(catalogManager) {}

  // A null text counts as empty.
  int handleMessage(const char* text, kfi_eseverity severity) override {
    const ACE_String_Base<char> converted(text != nullptr ? text : "", CFiStringAllocator::instance());
    call("", converted.c_str(), severity);
    return 0;
  }

  int handleMessage(CFiMessageSPtr message) override {
    if (!message || !m_catalogManager) return 0;
    const std::string defaultText = m_catalogManager->getText("", message);
    const std::string nativeText = m_catalogManager->getText(m_language, message);
    call(nativeText.c_str(), defaultText.c_str(), message->getSeverity());
    return 0;
  }

 private:
  void call(const char* nativeText, const char* defaultText, kfi_eseverity severity) const {
    if (m_context != nullptr && m_context->kcx_callback != nullptr) {
      m_context->kcx_callback(m_context, nativeText, defaultText, severity);
    }
  }

  kfi_context* const m_context;
  const std::string m_language;
  const CFiMessageCatalogManagerSPtr m_catalogManager;
};

}  // namespace qmfi_pdk_4_4

#endif
