// Messages: handed to the handlers at once, in texts that name the language that was asked for.
#include <unicode/unistr.h>

#include <memory>
#include <string>
#include <vector>

#include "cfierrormanager.h"
#include "cfimessagecatalog.h"
#include "record.h"

namespace qmfi_pdk_4_4 {

namespace {

std::string textOf(const icu::Formattable& argument) {
  if (argument.getType() == icu::Formattable::kLong) return std::to_string(argument.getLong());
  UErrorCode status = U_ZERO_ERROR;
  std::string text;
  argument.getString(status).toUTF8String(text);
  return text;
}

std::string describe(const CFiMessage& message) {
  std::string arguments;
  if (const auto* const icuMessage = dynamic_cast<const CFiIcuMessage*>(&message)) {
    for (const icu::Formattable& argument : icuMessage->getArguments()) {
      arguments += (arguments.empty() ? "" : ", ") + textOf(argument);
    }
  }
  return message.getMessageId() + "(" + arguments + ") " + std::to_string(message.getSeverity());
}

}  // namespace

struct CFiErrorManager::Implementation {
  std::vector<std::unique_ptr<CFiErrorHandlerBase>> handlers;
};

CFiErrorManager::CFiErrorManager() : m_implementation(std::make_unique<Implementation>()) {
  noteEvent("CFiErrorManager()");
}

CFiErrorManager::~CFiErrorManager() {
  noteEvent("~CFiErrorManager()");
}

int CFiErrorManager::pushError(CFiMessageSPtr message) {
  frameworkRecord().messages.push_back(describe(*message));
  for (const auto& handler : m_implementation->handlers) handler->handleMessage(message);
  return 0;
}

int CFiErrorManager::registerHandler(CFiErrorHandlerBase* handler) {
  noteEvent("registerHandler()");
  m_implementation->handlers.emplace_back(handler);
  return 0;
}

struct CFiIcuMessageCatalog::Implementation {
  std::string locale;
};

CFiIcuMessageCatalog::CFiIcuMessageCatalog(const char* /*name*/, const char* locale)
    : m_implementation(new Implementation{locale}) {}

CFiIcuMessageCatalog::~CFiIcuMessageCatalog() = default;

bool CFiIcuMessageCatalog::format(const CFiMessage& message, std::string& text) const {
  text = m_implementation->locale + ": " + message.getMessageId();
  return true;
}

CFiMessageSPtr CFiIcuMessage::deserialize(const kfi_msg_info* record) {
  return CFiMessageSPtr(
      new CFiIcuMessage(record->kmi_id, nullptr, 0, record->kmi_severity, record->kmi_file, record->kmi_line));
}

struct CFiMessageCatalogManager::Implementation {
  CFiMessageCatalogFactorySPtr factory;
};

CFiMessageCatalogManager::CFiMessageCatalogManager() : m_implementation(std::make_unique<Implementation>()) {
  noteEvent("CFiMessageCatalogManager()");
}

CFiMessageCatalogManager::~CFiMessageCatalogManager() {
  noteEvent("~CFiMessageCatalogManager()");
}

void CFiMessageCatalogManager::registerFactory(const CFiMessageCatalogFactorySPtr& factory) {
  noteEvent("registerFactory(" + factory->getDefaultLocale() + ", " + factory->getCatalogName() + ")");
  m_implementation->factory = factory;
}

void CFiMessageCatalogManager::setNativeLanguage(const std::string& language) {
  noteEvent("setNativeLanguage(" + language + ")");
}

std::string CFiMessageCatalogManager::getText(const std::string& language, const CFiMessageSPtr& message) const {
  const CFiMessageCatalogFactorySPtr& factory = m_implementation->factory;
  if (!factory) return message->getMessageId();
  std::string text;
  factory->allocateCatalog(language.empty() ? factory->getDefaultLocale().c_str() : language.c_str())
      ->format(*message, text);
  return text;
}

}  // namespace qmfi_pdk_4_4
