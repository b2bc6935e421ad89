// Configuration parameters: their descriptions by name, and their values.
#ifndef CFICONFIGPARAM_H
#define CFICONFIGPARAM_H

#include <ace/SString.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cfistringallocator.h"

namespace qmfi_pdk_4_4 {

// Description of one parameter. The numbers and the further strings are the framework's; a fresh entry has the values
// given here.
struct CFiConfigParamInfo {
  std::string name;  // its key in a list
  std::string description;
  std::int32_t type = 6;
  std::int32_t access = 3;
  std::int32_t flag = 0;
  std::vector<std::string> choices;
  std::string defaultValue;
  std::int32_t minimum = 0;
  std::int32_t maximum = 0;
};

// Descriptions by parameter name, with an XML form that the framework keeps in step. One thread at a time.
class CFiConfigParamInfoList {
 public:
  // Stores a copy under its name, replacing an older one. Returns what updateXML returns.
  int addParamInfo(const CFiConfigParamInfo& info) {
    m_infos[info.name] = info;
    return updateXML();
  }

  // Null when the parameter is not described. The pointer is valid until the list changes.
  const CFiConfigParamInfo* find(const std::string& name) const {
    const auto found = m_infos.find(name);
    return found != m_infos.end() ? &found->second : nullptr;
  }

  const std::map<std::string, CFiConfigParamInfo>& infos() const { return m_infos; }
  const std::string& getXML() const { return m_xml; }

 private:
  // Writes the descriptions anew into the XML form. Returns 0.
  int updateXML();

  std::map<std::string, CFiConfigParamInfo> m_infos;
  std::string m_xml;
};

// Value of one parameter, and the values it may be chosen from.
struct CFiConfigParamData {
  ACE_String_Base<char> value{CFiStringAllocator::instance()};  // as text
  std::vector<std::string> choices;                             // empty: any value
};

// Values by parameter name.
using CFiConfigDataList = std::map<std::string, CFiConfigParamData>;

}  // namespace qmfi_pdk_4_4

#endif
