// What every provider has from the framework: its names and managers, and the operations on private data.
#include <algorithm>
#include <cstdlib>

#include "cfierror.h"
#include "cfipluginbase.h"

namespace qmfi_pdk_4_4 {

namespace {

// The factory that made the nodes' private data: the provider's, or the default one where there is none.
CFiPrivateDataFactorySPtr factoryOf(const CFiPrivateDataManagerSPtr& manager) {
  if (!manager) return CFiPrivateDataFactorySPtr();
  CFiPrivateDataFactorySPtr provider = manager->getProviderFactory();
  if (provider) return provider;
  return manager->getDefaultFactory();
}

// The private data attached to a node; empty where there is none.
CFiPrivateDataSPtr privateDataOf(const CFiPrivateDataManagerSPtr& manager, kfi_domain* node) {
  const CFiPrivateDataFactorySPtr factory = factoryOf(manager);
  return factory ? factory->access(node) : CFiPrivateDataSPtr();
}

void freeQuiesceNode(kfi_domain& node) {
  if (node.fid_qnode == nullptr) return;
  std::free(node.fid_qnode->kqn_fitype);
  qmfi_free_buf(node.fid_qnode, sizeof(kfi_quiescenode));
  node.fid_qnode = nullptr;
  node.fid_qnode_next = nullptr;
}

}  // namespace

CFiPluginBase::CFiPluginBase() = default;

CFiPluginBase::~CFiPluginBase() = default;

int CFiPluginBase::config(kfi_domain* node, int category, char* /*text*/, kfi_confspec* spec) {
  if (node == nullptr || spec == nullptr || category < 0 || category >= CFiPrivateData::categories) {
    return CFI_STATUS_INVALID_ARGUMENT;
  }
  const CFiPrivateDataSPtr data = privateDataOf(m_privateDataManager, node);
  if (!data) return CFI_STATUS_INVALID_ARGUMENT;
  const CFiConfigParamInfoList& declared = globalConfigInfoList(category, true);
  CFiConfigDataList* const values = data->configDataList(category);
  // All or nothing: the values are stored by the swap only.
  CFiConfigDataList updated(*values);
  for (const kfi_confspec* parameter = spec; parameter != nullptr; parameter = parameter->kcs_next) {
    if (parameter->kcs_name == nullptr || parameter->kcs_value == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    const CFiConfigParamInfo* const info = declared.find(parameter->kcs_name);
    if (info == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    CFiConfigParamData& entry = updated[info->name];
    entry.value = parameter->kcs_value;
    entry.choices = info->choices;
  }
  values->swap(updated);
  return CFI_STATUS_SUCCESS;
}

int CFiPluginBase::deInitNode(kfi_domain* node) {
  if (node == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  freeQuiesceNode(*node);
  const CFiPrivateDataFactorySPtr factory = factoryOf(m_privateDataManager);
  if (factory) factory->deallocate(node);
  return CFI_STATUS_SUCCESS;
}

int CFiPluginBase::subobjList(kfi_domain* node, qmfi_objid*** objects, int* count) {
  if (node == nullptr || objects == nullptr || count == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  const CFiPrivateDataSPtr data = privateDataOf(m_privateDataManager, node);
  if (!data) return CFI_STATUS_INVALID_ARGUMENT;
  const std::size_t length = data->getSubObjectListLength();
  qmfi_objid** list = nullptr;
  if (length != 0) {
    list = static_cast<qmfi_objid**>(qmfi_alloc_buf(length * sizeof(qmfi_objid*)));
    if (list == nullptr) {
      throw CFiError(CFI_STATUS_NO_MEMORY, "Bad allocation for sub-object list", "plugin_base.cpp", "subobjList",
                     __LINE__);
    }
    std::copy_n(data->getSubObjectList(), length, list);
  }
  *objects = list;
  *count = static_cast<int>(length);
  return CFI_STATUS_SUCCESS;
}

void CFiPluginBase::setProviderName(const ACE_String_Base<char>& name) {
  m_providerName = name;
}

void CFiPluginBase::setFimName(const char* name) {
  m_fimName = name != nullptr ? name : "";
}

void CFiPluginBase::setMessageIndexOffset(int offset) {
  m_messageIndexOffset = offset;
}

void CFiPluginBase::registerErrorManager(const CFiErrorManagerSPtr& manager) {
  m_errorManager = countedCopy(manager);
}

void CFiPluginBase::registerCatalogManager(const CFiMessageCatalogManagerSPtr& manager) {
  m_catalogManager = countedCopy(manager);
}

void CFiPluginBase::registerPrivateDataManager(const CFiPrivateDataManagerSPtr& manager) {
  m_privateDataManager = countedCopy(manager);
}

void CFiPluginBase::registerSessionManager(const CFiSessionManagerSPtr& manager) {
  m_sessionManager = countedCopy(manager);
}

// Nothing in this library outlives a plug-in's own objects, so there is nothing to be got ready for its end.
void CFiPluginBase::isShuttingDown(bool /*shuttingDown*/) {}

}  // namespace qmfi_pdk_4_4
