// The out-of-line members of private data.
#include <memory>
#include <string>

#include "cfiprivatedata.h"

namespace qmfi_pdk_4_4 {

void CFiPrivateData::addDefaultConfigParamsToDataList(int category, CFiConfigParamInfoList* infos) {
  for (const auto& [name, info] : infos->infos()) (*configDataList(category))[name].value = info.defaultValue.c_str();
}

CFiConfigParamInfoList* CFiPrivateData::configInfoList(int category) {
  auto& list = m_configInfoList[category];
  if (!list) list = std::make_unique<CFiConfigParamInfoList>();
  return list.get();
}

CFiConfigDataList* CFiPrivateData::configDataList(int category) {
  auto& list = m_configDataList[category];
  if (!list) list = std::make_unique<CFiConfigDataList>();
  return list.get();
}

void CFiPrivateData::setSessionId(const char* sessionId) {
  m_sessionId = sessionId;
}

int CFiPrivateData::setNodeState(kfi_blob* /*blob*/) {
  return 0;
}

int CFiPrivateData::getNodeState(kfi_blob* /*blob*/) {
  return 0;
}

std::string CFiPrivateData::getConfiguredTarget() const {
  return m_configuredTarget;
}

void CFiPrivateData::setConfiguredTarget(std::string& target) {
  m_configuredTarget = target;
}

void CFiPrivateData::selectTargetFromConfigData() {}

}  // namespace qmfi_pdk_4_4
