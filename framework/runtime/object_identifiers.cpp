// The framework's object identifiers: one for each name and kind, kept until the library is unloaded.
#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "kfi.h"

namespace {

struct Key {
  std::string_view name;
  std::int32_t kind;

  bool operator==(const Key&) const = default;
};

struct KeyHash {
  std::size_t operator()(const Key& key) const {
    return std::hash<std::string_view>()(key.name) * 31 + static_cast<std::size_t>(key.kind);
  }
};

struct Identifier {
  Identifier(std::string_view text, std::int32_t kind)
      : name(text), objid{name.data(), static_cast<std::uint32_t>(name.size()), kind} {}

  std::string name;
  qmfi_objid objid;
};

class ObjectIdentifiers {
 public:
  qmfi_objid* get(const Key& key) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_identifiers.find(key);
    if (found != m_identifiers.end()) return &found->second->objid;
    auto made = std::make_unique<Identifier>(key.name, key.kind);
    const Key ownKey{made->name, key.kind};
    return &m_identifiers.emplace(ownKey, std::move(made)).first->second->objid;
  }

 private:
  std::mutex m_mutex;
  // The keys point into the identifiers.
  std::unordered_map<Key, std::unique_ptr<Identifier>, KeyHash> m_identifiers;
};

// Made when the library is loaded, so it outlives the static objects of every plug-in.
ObjectIdentifiers objectIdentifiers;

}  // namespace

qmfi_objid* qmfi_get_objid(const char* name, uint32_t length, int32_t kind) {
  if (name == nullptr) return nullptr;
  const std::string_view text(name, strnlen(name, length));
  if (text.empty()) return nullptr;
  try {
    return objectIdentifiers.get({text, kind});
  } catch (const std::exception&) {
    // Memory is short, or the mutex fails.
    return nullptr;
  }
}
