// The configuration, answered by the test.
#include "cficonfigparam.h"
#include "cficonfiguration.h"
#include "record.h"

namespace qmfi_pdk_4_4 {

CFiConfiguration::CFiConfiguration(const ACE_String_Base<char>& name) : m_name(name) {
  noteEvent(std::string("CFiConfiguration(") + name.c_str() + ")");
}

int CFiConfiguration::openSection(const char* section, ACE_Configuration_Section_Key& /*key*/, int create) {
  noteEvent(std::string("openSection(") + section + ", " + std::to_string(create) + ")");
  return 0;
}

int CFiConfiguration::getIntegerValue(const char* name, unsigned int& value) {
  const auto found = frameworkRecord().configuration.find(name);
  if (found == frameworkRecord().configuration.end()) return -1;
  value = found->second;
  return 0;
}

int CFiConfigParamInfoList::updateXML() {
  return 0;
}

}  // namespace qmfi_pdk_4_4
