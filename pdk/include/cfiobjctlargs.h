// The argument lists of an object-control call, in and out, and their text form.
#ifndef CFIOBJCTLARGS_H
#define CFIOBJCTLARGS_H

#include <ace/SString.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "cfistringallocator.h"

namespace qmfi_pdk_4_4 {

// One argument; all three are kept as text.
struct CFiKeyValuePair {
  ACE_String_Base<char> arg{CFiStringAllocator::instance()};  // its name
  ACE_String_Base<char> value{CFiStringAllocator::instance()};
  ACE_String_Base<char> type{CFiStringAllocator::instance()};
};

// A list is "<OBJCTL_ARG_LIST>", elements, "</OBJCTL_ARG_LIST>"; an element is a start token, "arg=", " value=" and
// " type=" with one non-empty token each, and "/>". There is no quoting. One thread at a time.
class CFiObjctlArgs {
 public:
  // Appends the elements of a text to the input arguments. Malformed text ends the reading, and what was read before
  // stays; null is an empty text. Returns 0 always.
  int importArgs(char* text) {
    const std::unique_ptr<char, decltype(&std::free)> copy(text != nullptr ? ::strdup(text) : nullptr, &std::free);
    if (copy == nullptr) return 0;
    char* rest = nullptr;
    const char* const start = ::strtok_r(copy.get(), " ", &rest);
    if (start != nullptr && std::strcmp(start, "<OBJCTL_ARG_LIST>") == 0) {
      while (importElement(rest)) {
      }
    }
    return 0;
  }

  // The output arguments as text.
  ACE_String_Base<char> exportArgs() const {
    ACE_String_Base<char> text("<OBJCTL_ARG_LIST>", CFiStringAllocator::instance());
    for (const CFiKeyValuePair& pair : m_output) {
      text += " <OBJCTL_OUTPUT arg=";
      text += pair.arg;
      text += " value=";
      text += pair.value;
      text += " type=";
      text += pair.type;
      text += " />";
    }
    text += " </OBJCTL_ARG_LIST> ";
    return text;
  }

  const std::vector<CFiKeyValuePair>& input() const { return m_input; }
  std::vector<CFiKeyValuePair>& output() { return m_output; }

 private:
  // Reads one element; false when the list ends with it or before it.
  bool importElement(char*& rest) {
    // Required: any token but the end of the list starts an element; its name is not looked at.
    const char* const start = ::strtok_r(nullptr, " ", &rest);
    if (start == nullptr || std::strcmp(start, "</OBJCTL_ARG_LIST>") == 0) return false;
    CFiKeyValuePair pair;
    if (!importAttribute("arg", pair.arg, rest) || !importAttribute("value", pair.value, rest) ||
        !importAttribute("type", pair.type, rest)) {
      return false;
    }
    m_input.push_back(pair);
    const char* const end = ::strtok_r(nullptr, " ", &rest);
    return end != nullptr && std::strcmp(end, "/>") == 0;
  }

  static bool importAttribute(const char* name, ACE_String_Base<char>& value, char*& rest) {
    const char* const key = ::strtok_r(nullptr, "=", &rest);
    if (key != nullptr && std::strcmp(key, name) != 0) return false;
    const char* const token = ::strtok_r(nullptr, " ", &rest);
    if (token == nullptr) return false;
    value = token;
    return true;
  }

  std::vector<CFiKeyValuePair> m_input;
  std::vector<CFiKeyValuePair> m_output;
};

}  // namespace qmfi_pdk_4_4

#endif
