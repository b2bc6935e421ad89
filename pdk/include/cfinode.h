// What every provider does with the framework's nodes: it finds their private data, and fills their records.
#ifndef CFINODE_H
#define CFINODE_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "K_time.h"
#include "cficontextsingleton.h"
#include "cfidomain.h"
#include "cfimessagecatalog.h"
#include "cfipluginname.h"
#include "cfiprivatedatamanager.h"
#include "kfi.h"

namespace qmfi_pdk_4_4 {

// Installs what the kit needs of a provider: its message catalogs, which are named like it, and the factory of its
// private data of type Data, a CFiPrivateData. For the provider's init. Throws std::system_error when a mutex fails.
template <typename Data>
void registerProviderFactories() {
  counted(CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(false))
      ->registerFactory(
          adopt<CFiMessageCatalogFactorySPtr>(std::make_unique<CFiIcuMessageCatalogFactory>("root", cfi_pgn_name_str)));

  const auto dataFactory = adopt<CFiPrivateDataFactorySPtr>(std::make_unique<CFiPrivateDataConcreteFactory<Data>>());
  const auto manager = counted(CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false));
  manager->setProviderFactory(dataFactory);
  dataFactory->registerTraceLog(manager->traceLog());
}

// The factory that the provider's start has installed; empty before it and after the provider's stop.
inline CFiPrivateDataFactorySPtr providerFactory() {
  return counted(CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false))->getProviderFactory();
}

// Private data of a node, which must not be null; empty when it has none or the provider is not started.
inline CFiPrivateDataSPtr privateDataOf(kfi_domain* node) {
  const CFiPrivateDataFactorySPtr factory = providerFactory();
  return factory ? factory->access(node) : CFiPrivateDataSPtr();
}

// Makes the record that of a file system's node. It must have an identifier; a quiesce node is not freed.
inline void fillNodeRecord(kfi_domain& node) {
  node.fid_name = node.fid_objid->vid_name;
  node.fid_qnode = nullptr;
  node.fid_qnode_next = nullptr;
  node.fid_attr = KFI_ATTR_FILE_SYSTEM_NODE;
}

// Gives a node a quiesce node of that file-system type, without a configuration domain. False when memory is short, and
// then it has none.
inline bool attachQuiesceNode(kfi_domain& node, const char* type) {
  char* const typeName = ::strdup(type);
  auto* const quiesceNode = static_cast<kfi_quiescenode*>(qmfi_alloc_buf(sizeof(kfi_quiescenode)));
  if (quiesceNode == nullptr || typeName == nullptr) {
    qmfi_free_buf(quiesceNode, sizeof(kfi_quiescenode));
    std::free(typeName);
    return false;
  }
  *quiesceNode = kfi_quiescenode{typeName, &node, nullptr};
  node.fid_qnode = quiesceNode;
  return true;
}

// The framework's identifier of a name; null for an empty name, or when memory is short.
inline qmfi_objid* objectIdentifier(const std::string& name, std::int32_t kind) {
  return qmfi_get_objid(name.c_str(), static_cast<std::uint32_t>(name.size() + 1), kind);
}

// The alternate name that a node's list of sub-objects gives for the node itself; null when it gives none. The node has
// a name.
inline const char* askedAlternate(const kfi_domain& node) {
  const char* const name = nodeName(&node);
  for (const kfi_subobj_entry* entry = node.fid_subobjs; entry != nullptr && entry->kse_name != nullptr; ++entry) {
    if (std::strcmp(entry->kse_name, name) != 0) continue;
    const bool isGiven = entry->kse_altname != nullptr && *entry->kse_altname != '\0';
    return isGiven ? entry->kse_altname : nullptr;
  }
  return nullptr;
}

// The alternate name of a node for which none is asked: with the local time, as DDMMYYYYhhmmss.
inline std::string generatedAlternate(const std::string& name) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  K_localtime(&now, &local);
  char stamp[15];
  std::strftime(stamp, sizeof stamp, "%d%m%Y%H%M%S", &local);
  return name + "_alt" + stamp;
}

// A path as a list that the framework frees: the array by free, the path by qmfi_free_buf. False when memory is short.
inline bool handOutPath(const std::string& path, char*** paths, int* count) {
  const std::size_t size = path.size() + 1;
  auto* const copy = static_cast<char*>(qmfi_alloc_buf(size));
  auto** const array = static_cast<char**>(std::malloc(sizeof(char*)));
  if (copy == nullptr || array == nullptr) {
    qmfi_free_buf(copy, size);
    std::free(array);
    return false;
  }
  std::memcpy(copy, path.c_str(), size);
  *array = copy;
  *paths = array;
  *count = 1;
  return true;
}

}  // namespace qmfi_pdk_4_4

#endif
