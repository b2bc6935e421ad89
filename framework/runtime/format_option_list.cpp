// Splitting of resource option strings.
#include <algorithm>

#include "cfiformatoptionlist.h"
#include "cfistringtool.h"

namespace qmfi_pdk_4_4 {

CFiFormatOptionList::Map CFiFormatOptionList::parse(const std::string& text) {
  Map options;
  for (const std::string& pair : CFiStringTool::tokenize(text, ";")) {
    const std::size_t keyEnd = std::min(pair.find('='), pair.size());
    const std::size_t valueBegin = std::min(keyEnd + 1, pair.size());
    options.emplace(pair.substr(0, keyEnd), pair.substr(valueBegin));
  }
  return options;
}

}  // namespace qmfi_pdk_4_4
