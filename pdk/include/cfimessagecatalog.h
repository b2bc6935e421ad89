// Message catalogs: what turns a message into text of a language, and the manager that finds the right one.
#ifndef CFIMESSAGECATALOG_H
#define CFIMESSAGECATALOG_H

#include <memory>
#include <string>

#include "cfimessage.h"
#include "cfismartptr.h"

namespace qmfi_pdk_4_4 {

// The texts of one language.
class CFiMessageCatalog : public virtual CFiRefCount {
 public:
  // Puts the text of a message (UTF-8) into text. False when the catalog does not know the message's identifier. Throws
  // std::bad_alloc when memory is short.
  virtual bool format(const CFiMessage& message, std::string& text) const = 0;
};

using CFiMessageCatalogSPtr = CFiSmartPtr<CFiMessageCatalog, CFiNullAllocator<CFiMessageCatalog>>;

// A catalog read from an ICU resource bundle: the file DIRECTORY/NAME/LOCALE.res, with ICU's fallback from a language
// to the root locale. Loaded whole when made; read-only afterwards, so any thread may use it.
class CFiIcuMessageCatalog : public CFiMessageCatalog {
 public:
  // name is the catalog's (the provider's) name; an empty locale means the root locale.
  CFiIcuMessageCatalog(const char* name, const char* locale);
  ~CFiIcuMessageCatalog() override;

  bool format(const CFiMessage& message, std::string& text) const override;

 private:
  struct Implementation;
  const std::unique_ptr<Implementation> m_implementation;
};

// Makes the catalogs and messages of one kind.
class CFiMessageCatalogFactory : public virtual CFiRefCount {
 public:
  // defaultLocale is used where none is asked for, catalogName names the catalog's files.
  CFiMessageCatalogFactory(std::string defaultLocale, std::string catalogName)
      : m_defaultLocale(std::move(defaultLocale)), m_catalogName(std::move(catalogName)) {}

  // The catalog of a locale; never empty. locale may be null or empty for the root locale.
  virtual CFiMessageCatalogSPtr allocateCatalog(const char* locale) const = 0;

  // The message that a framework record describes; empty for a null record.
  virtual CFiMessageSPtr allocateMessage(kfi_msg_info* record) const = 0;

  const std::string& getDefaultLocale() const { return m_defaultLocale; }
  const std::string& getCatalogName() const { return m_catalogName; }

 private:
  const std::string m_defaultLocale;
  const std::string m_catalogName;
};

using CFiMessageCatalogFactorySPtr = CFiSmartPtr<CFiMessageCatalogFactory, CFiNullAllocator<CFiMessageCatalogFactory>>;

// ICU catalogs and ICU messages.
class CFiIcuMessageCatalogFactory : public CFiMessageCatalogFactory {
 public:
  using CFiMessageCatalogFactory::CFiMessageCatalogFactory;

  CFiMessageCatalogSPtr allocateCatalog(const char* locale) const override {
    return CFiMessageCatalogSPtr(new CFiIcuMessageCatalog(getCatalogName().c_str(), locale));
  }

  CFiMessageSPtr allocateMessage(kfi_msg_info* record) const override {
    return record != nullptr ? CFiIcuMessage::deserialize(record) : CFiMessageSPtr();
  }
};

// Finds texts through the registered factory, and keeps the catalogs it has opened. May be used from any thread.
class CFiMessageCatalogManager : public virtual CFiRefCount {
 public:
  // Knows no catalog and no native language.
  CFiMessageCatalogManager();
  ~CFiMessageCatalogManager() override;

  // Replaces the factory; catalogs of the former one are forgotten.
  void registerFactory(const CFiMessageCatalogFactorySPtr& factory);

  // Both are about the language of native texts, a locale name; empty for the default locale.
  void setNativeLanguage(const std::string& language);
  std::string getNativeLanguage() const;

  // The text of a message in a language; an empty language means the default locale. Without a factory, or for an
  // identifier that no catalog knows, the identifier with its arguments. An empty pointer gives an empty text.
  std::string getText(const std::string& language, const CFiMessageSPtr& message) const;

  // The message that a record describes, through the factory (an ICU message when there is none). Empty for a null
  // record.
  CFiMessageSPtr allocateMessage(kfi_msg_info* record) const;

 private:
  struct Implementation;
  const std::unique_ptr<Implementation> m_implementation;
};

using CFiMessageCatalogManagerSPtr = CFiSmartPtr<CFiMessageCatalogManager>;

}  // namespace qmfi_pdk_4_4

#endif
