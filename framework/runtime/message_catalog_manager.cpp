// Finding of texts through the registered catalogs.
#include <map>
#include <mutex>
#include <utility>

#include "cfimessagecatalog.h"
#include "message_text.h"

namespace qmfi_pdk_4_4 {

namespace {

// Languages come from outside, so not every one that was ever asked for is kept.
constexpr std::size_t mostCatalogs = 32;

}  // namespace

struct [[gnu::visibility("hidden")]] CFiMessageCatalogManager::Implementation {
  CFiMessageCatalogFactorySPtr currentFactory() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return countedCopy(factory);
  }

  CFiMessageCatalogSPtr catalog(const std::string& language);

  mutable std::mutex mutex;
  CFiMessageCatalogFactorySPtr factory;
  std::string nativeLanguage;
  std::map<std::string, CFiMessageCatalogSPtr> catalogs;  // by language
};

// The catalog of a language; empty without a factory. Opened without the lock, since that reads files.
CFiMessageCatalogSPtr CFiMessageCatalogManager::Implementation::catalog(const std::string& language) {
  CFiMessageCatalogFactorySPtr maker;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = catalogs.find(language);
    if (found != catalogs.end()) return countedCopy(found->second);
    maker = countedCopy(factory);
  }
  if (!maker) return CFiMessageCatalogSPtr();
  CFiMessageCatalogSPtr made = counted(maker->allocateCatalog(language.c_str()));
  CFiMessageCatalogSPtr kept = countedCopy(made);
  const std::lock_guard<std::mutex> lock(mutex);
  if (maker.get() == factory.get() && catalogs.size() < mostCatalogs) catalogs.emplace(language, std::move(kept));
  return made;
}

CFiMessageCatalogManager::CFiMessageCatalogManager() : m_implementation(std::make_unique<Implementation>()) {}

CFiMessageCatalogManager::~CFiMessageCatalogManager() = default;

void CFiMessageCatalogManager::registerFactory(const CFiMessageCatalogFactorySPtr& factory) {
  // Declared ahead of the lock: what is replaced is destroyed when the mutex is free again.
  CFiMessageCatalogFactorySPtr replacement = countedCopy(factory);
  std::map<std::string, CFiMessageCatalogSPtr> forgotten;
  const std::lock_guard<std::mutex> lock(m_implementation->mutex);
  m_implementation->factory.swap(replacement);
  m_implementation->catalogs.swap(forgotten);
}

void CFiMessageCatalogManager::setNativeLanguage(const std::string& language) {
  const std::lock_guard<std::mutex> lock(m_implementation->mutex);
  m_implementation->nativeLanguage = language;
}

std::string CFiMessageCatalogManager::getNativeLanguage() const {
  const std::lock_guard<std::mutex> lock(m_implementation->mutex);
  return m_implementation->nativeLanguage;
}

std::string CFiMessageCatalogManager::getText(const std::string& language, const CFiMessageSPtr& message) const {
  if (!message) return {};
  const CFiMessageCatalogFactorySPtr factory = m_implementation->currentFactory();
  const std::string defaultLocale = factory ? factory->getDefaultLocale() : std::string();
  std::string text;
  for (const std::string& locale : {language.empty() ? defaultLocale : language, defaultLocale}) {
    const CFiMessageCatalogSPtr catalog = m_implementation->catalog(locale);
    if (catalog && catalog->format(*message, text)) return text;
  }
  return qmfi_runtime::untranslatedText(*message);
}

CFiMessageSPtr CFiMessageCatalogManager::allocateMessage(kfi_msg_info* record) const {
  if (record == nullptr) return CFiMessageSPtr();
  const CFiMessageCatalogFactorySPtr factory = m_implementation->currentFactory();
  return factory ? factory->allocateMessage(record) : CFiIcuMessage::deserialize(record);
}

}  // namespace qmfi_pdk_4_4
