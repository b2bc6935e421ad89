// The framework's plain functions: buffers, identifiers, the split context and provider lists.
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <utility>

#include "kfi.h"
#include "record.h"

namespace {

// Identifiers stay for ever, as whoever is handed one expects.
struct Identifier {
  std::string name;
  qmfi_objid object{};
};

struct ProviderListElement {
  std::string name;
  std::deque<std::string> typeNames;
  std::deque<kfi_string_list> types;
  kfi_provider_list element{};
};

}  // namespace

void* qmfi_alloc_buf(size_t size) {
  void* const buffer = std::calloc(size, 1);
  frameworkRecord().buffers[buffer] = size;
  return buffer;
}

void qmfi_free_buf(void* buffer, size_t size) {
  if (buffer == nullptr) return;
  FrameworkRecord& record = frameworkRecord();
  const auto found = record.buffers.find(buffer);
  if (found == record.buffers.end() || found->second != size) {
    record.wrongReleases.push_back(found == record.buffers.end()
                                       ? "no buffer of the framework"
                                       : std::to_string(size) + " of " + std::to_string(found->second) + " bytes");
    return;
  }
  record.buffers.erase(found);
  std::free(buffer);
}

qmfi_objid* qmfi_get_objid(const char* name, uint32_t length, int32_t kind) {
  static std::map<std::pair<std::string, std::int32_t>, Identifier> identifiers;
  const std::string text = name != nullptr ? std::string(name, ::strnlen(name, length)) : std::string();
  if (text.empty()) return nullptr;
  Identifier& identifier = identifiers[{text, kind}];
  identifier.name = text;
  identifier.object = {identifier.name.data(), static_cast<std::uint32_t>(text.size()), kind};
  return &identifier.object;
}

int qmfi_create_context() {
  noteEvent("qmfi_create_context()");
  return 0;
}

void qmfi_close_context() {
  noteEvent("qmfi_close_context()");
}

kfi_provider_list* qmfi_build_providerlist_node(const char* name, kfi_version version, int32_t attr1, int32_t attr2,
                                                const char* const* fitypes, int count) {
  static std::deque<ProviderListElement> elements;
  ProviderListElement& made = elements.emplace_back();
  made.name = name;
  for (int i = 0; i < count; ++i) made.typeNames.emplace_back(fitypes[i]);
  for (std::string& type : made.typeNames) made.types.push_front({type.data(), nullptr});
  for (std::size_t i = 1; i < made.types.size(); ++i) made.types[i - 1].ksl_next = &made.types[i];
  made.element = {nullptr, made.name.data(), version, {attr1, attr2}, made.types.empty() ? nullptr : &made.types[0],
                  nullptr};
  return &made.element;
}
