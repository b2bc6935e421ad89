// The framework's part of a node's private data: configuration lists, session and configured target.
#include <algorithm>

#include "cfiprivatedata.h"
#include "cfistringtool.h"

namespace qmfi_pdk_4_4 {

namespace {

constexpr const char* targetParameter = "target";

}  // namespace

void CFiPrivateData::addDefaultConfigParamsToDataList(int category, CFiConfigParamInfoList* infos) {
  if (infos == nullptr) return;
  CFiConfigDataList& data = *configDataList(category);
  for (const auto& [name, info] : infos->infos()) {
    data.emplace(name, CFiConfigParamData{CFiStringTool::str2tstr(info.defaultValue), info.choices});
  }
}

CFiConfigParamInfoList* CFiPrivateData::configInfoList(int category) {
  auto& list = m_configInfoList[category];
  if (list == nullptr) list = std::make_unique<CFiConfigParamInfoList>();
  return list.get();
}

CFiConfigDataList* CFiPrivateData::configDataList(int category) {
  auto& list = m_configDataList[category];
  if (list == nullptr) list = std::make_unique<CFiConfigDataList>();
  return list.get();
}

void CFiPrivateData::setSessionId(const char* sessionId) {
  m_sessionId = sessionId != nullptr ? sessionId : "";
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

void CFiPrivateData::selectTargetFromConfigData() {
  const CFiConfigDataList* const data = m_configDataList[0].get();
  if (data == nullptr) return;
  const auto parameter = data->find(targetParameter);
  if (parameter == data->end()) return;
  std::string target = CFiStringTool::tstr2str(parameter->second.value);
  if (std::find(m_targets.begin(), m_targets.end(), target) != m_targets.end()) setConfiguredTarget(target);
}

}  // namespace qmfi_pdk_4_4
