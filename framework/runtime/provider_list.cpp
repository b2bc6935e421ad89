// The list in which providers describe themselves.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "kfi.h"

namespace {

struct ProviderListDeleter {
  void operator()(kfi_provider_list* list) const { qmfi_free_providerlist(list); }
};

void freeStrings(kfi_string_list* list) {
  while (list != nullptr) {
    kfi_string_list* const next = list->ksl_next;
    std::free(list->ksl_value);
    std::free(list);
    list = next;
  }
}

// Appends a copy of text at *end; returns the new end, or null when it cannot.
kfi_string_list** appendCopy(kfi_string_list** end, const char* text) {
  if (text == nullptr) return nullptr;
  auto* const element = static_cast<kfi_string_list*>(std::calloc(1, sizeof(kfi_string_list)));
  if (element == nullptr) return nullptr;
  *end = element;
  element->ksl_value = ::strdup(text);
  return element->ksl_value != nullptr ? &element->ksl_next : nullptr;
}

}  // namespace

kfi_provider_list* qmfi_build_providerlist_node(const char* name, kfi_version version, int32_t attr1, int32_t attr2,
                                                const char* const* fitypes, int count) {
  if (name == nullptr || count < 0 || (fitypes == nullptr && count > 0)) return nullptr;
  std::unique_ptr<kfi_provider_list, ProviderListDeleter> element(
      static_cast<kfi_provider_list*>(std::calloc(1, sizeof(kfi_provider_list))));
  if (element == nullptr) return nullptr;
  element->kpl_name = ::strdup(name);
  if (element->kpl_name == nullptr) return nullptr;
  element->kpl_version = version;
  element->kpl_attr[0] = attr1;
  element->kpl_attr[1] = attr2;
  kfi_string_list** end = &element->kpl_fitypes;
  for (int i = 0; i < count; ++i) {
    end = appendCopy(end, fitypes[i]);
    if (end == nullptr) return nullptr;
  }
  return element.release();
}

void qmfi_free_providerlist(kfi_provider_list* list) {
  while (list != nullptr) {
    kfi_provider_list* const next = list->kpl_next;
    freeStrings(list->kpl_fitypes);
    std::free(list->kpl_name);
    std::free(list);
    list = next;
  }
}
