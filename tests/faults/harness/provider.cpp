// The plug-in under test, loaded as a framework loads it.
#include "provider.h"

#include <dlfcn.h>

#include <cstdint>
#include <fstream>
#include <stdexcept>

#include "allocation_faults.h"
#include "build_tree.h"

namespace faults {

namespace {

std::string library = QMFI_BINARY_DIR "/lib/libqmfsfi.so";

void* loadedLibrary = nullptr;

template <typename Function>
void find(void* loaded, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(loaded, name));
  if (function == nullptr) throw std::runtime_error(std::string(name) + " is missing in " + library);
}

}  // namespace

void setProviderLibrary(const std::string& path) {
  library = path;
}

const std::string& providerLibrary() {
  return library;
}

bool isMapped(const std::string& fileName) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find("/" + fileName) != std::string::npos) return true;
  }
  return false;
}

Provider::Provider() : m_library(dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (m_library == nullptr) throw std::runtime_error(dlerror());
  loadedLibrary = m_library;
#define FIND(name, result, parameters) find(m_library, "qmfsfi_fi_pgn_" #name, call.name);
  FOREIGN_ENTRY_POINTS(FIND)
#undef FIND
#define FIND(name, result, parameters) find(m_library, #name, call.name);
  FOREIGN_HELPERS(FIND)
  FOREIGN_FRAMEWORK_FUNCTIONS(FIND)
#undef FIND
}

Provider::~Provider() {
  loadedLibrary = nullptr;
  dlclose(m_library);
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
