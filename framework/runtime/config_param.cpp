// The XML form of parameter descriptions.
#include <string_view>

#include "cficonfigparam.h"

namespace qmfi_pdk_4_4 {

namespace {

// Text as it may stand in an attribute or an element.
std::string escaped(const std::string& text) {
  constexpr std::string_view special = "&<>\"'\t\n\r";
  constexpr std::string_view references[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;", "&#9;", "&#10;", "&#13;"};
  std::string result;
  for (const char character : text) {
    const auto place = special.find(character);
    if (place != std::string_view::npos) {
      result += references[place];
    } else if (static_cast<unsigned char>(character) >= ' ') {
      // Other control characters have no place in XML, not even by reference.
      result += character;
    }
  }
  return result;
}

std::string attribute(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + escaped(value) + "\"";
}

std::string attribute(const char* name, std::int32_t value) {
  return attribute(name, std::to_string(value));
}

}  // namespace

int CFiConfigParamInfoList::updateXML() {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<parameters>\n";
  for (const auto& [name, info] : m_infos) {
    xml += "  <parameter" + attribute("name", name) + attribute("description", info.description) +
           attribute("type", info.type) + attribute("access", info.access) + attribute("flag", info.flag) +
           attribute("default", info.defaultValue) + attribute("minimum", info.minimum) +
           attribute("maximum", info.maximum) + ">\n";
    for (const std::string& choice : info.choices) xml += "    <choice>" + escaped(choice) + "</choice>\n";
    xml += "  </parameter>\n";
  }
  m_xml = xml + "</parameters>\n";
  return 0;
}

}  // namespace qmfi_pdk_4_4
