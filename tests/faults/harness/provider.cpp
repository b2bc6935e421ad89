// The plug-in under test, loaded as a framework loads it.
#include "provider.h"

#include <dlfcn.h>

#include <cstdint>

#include "build_tree.h"
#include "support/allocation_faults.h"

namespace faults {

namespace {

std::string library = QMFI_BINARY_DIR "/lib/libqmfsfi.so";

void* loadedLibrary = nullptr;

}  // namespace

void setProviderLibrary(const std::string& path) {
  library = path;
}

const std::string& providerLibrary() {
  return library;
}

Provider::Provider() : ForeignPlugin(library) {
  loadedLibrary = handle();
}

Provider::~Provider() {
  loadedLibrary = nullptr;
}

void* Provider::functionOfDependencies(const char* name) {
  return dlsym(loadedLibrary, name);
}

void Provider::receive(kfi_context* context, const char*, const char*, std::int32_t) {
  ++reinterpret_cast<Context*>(context)->callbacks;
}

int Provider::start() {
  m_context.record.kcx_callback = receive;
  m_context.record.kcx_language = &m_languagePointer;
  kfi_version version{};
  std::string framework = "faults";
  const FaultyRegion region;
  return call.init(&m_context.record, &version, framework.data());
}

void Provider::stop() {
  const FaultyRegion region;
  call.fini();
}

std::vector<std::string> Provider::takeMessages() {
  kfi_msg_info* list = nullptr;
  call.get_last_error(&list);
  std::vector<std::string> messages;
  for (const kfi_msg_info* record = list; record != nullptr; record = record->kmi_next) {
    messages.push_back(std::string(record->kmi_id) + " " + record->kmi_args);
  }
  call.del_last_error(&list);
  return messages;
}

qmfi_objid* Provider::object(const std::string& name) const {
  return call.qmfi_get_objid(name.c_str(), static_cast<std::uint32_t>(name.size()), 1);
}

}  // namespace faults
