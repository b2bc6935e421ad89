// A provider that does nothing but note what it is asked for.
#ifndef TESTS_UNIT_KIT_TINY_PROVIDER_H
#define TESTS_UNIT_KIT_TINY_PROVIDER_H

#include "cfipluginbase.h"
#include "tiny_control.h"

TinyControl& tinyControl();

// Notes the call of an operation with its arguments as text and answers as the control record says.
int noteCall(const std::string& operation, const std::string& arguments);

// Arguments as text: addresses and numbers in decimal, "null", a session by its identifier and its number of nodes.
std::string argumentText(const void* address);
std::string argumentText(long number);
std::string argumentText(const qmfi_pdk_4_4::CFiSessionSPtr& session);
std::string argumentText(const ACE_String_Base<char>& text);
std::string argumentText(const qmfi_pdk_4_4::CFiObjctlArgs& arguments);
inline std::string argumentText(int number) {
  return argumentText(static_cast<long>(number));
}
inline std::string argumentText(bool flag) {
  return flag ? "true" : "false";
}

// All arguments of an operation, a list of nodes element by element.
inline std::string argumentsText() {
  return "";
}
template <typename First, typename... Others>
std::string argumentsText(const First& first, const Others&... others);

template <typename Node, typename... Others>
std::string listText(Node** nodes, int count, const Others&... others) {
  std::string text;
  for (int i = 0; nodes != nullptr && i < count; ++i) text += (i != 0 ? " " : "") + argumentText(nodes[i]);
  return (nodes != nullptr ? "[" + text + "]" : "null") + ", " + argumentsText(count, others...);
}
template <typename... Others>
std::string argumentsText(kfi_quiescenode** const& nodes, const int& count, const Others&... others) {
  return listText(nodes, count, others...);
}
template <typename... Others>
std::string argumentsText(kfi_splitnode** const& nodes, const int& count, const Others&... others) {
  return listText(nodes, count, others...);
}

template <typename First, typename... Others>
std::string argumentsText(const First& first, const Others&... others) {
  return argumentText(first) + (sizeof...(others) != 0 ? ", " : "") + argumentsText(others...);
}

using qmfi_pdk_4_4::CFiObjctlArgs;
using qmfi_pdk_4_4::CFiSessionSPtr;

// Notes every operation.
class CNotingPlugin : public qmfi_pdk_4_4::CFiPluginBase {
 public:
  int delayedInit() override { return noteCall("delayedInit", ""); }
  int init() override { return noteCall("init", ""); }
  void fini() override { noteCall("fini", ""); }

#define FI_OPERATION(place, operation, answer, parameters, arguments) \
  int operation parameters override {                                 \
    return noteCall(#operation, argumentsText arguments);             \
  }
#include "cfientrypoints.def"
};

// Leaves the messages to the kit's base, and gives what its control record says.
class CTinyPlugin : public CNotingPlugin {
 public:
  CTinyPlugin() { ++tinyControl().providers; }
  ~CTinyPlugin() override { --tinyControl().providers; }

  int makeSnapshots(CFiSessionSPtr session) override;
  int objctl(ACE_String_Base<char> name, CFiObjctlArgs& arguments) override;

  // NOLINTBEGIN(bugprone-parent-virtual-call): not to the class between, which only notes the calls.
  int getLastError(kfi_msg_info** list) override { return CFiPluginBase::getLastError(list); }
  int delLastError(kfi_msg_info** list) override { return CFiPluginBase::delLastError(list); }
  int getLocaleMessage(int* length, kfi_msg_info* record, const char* language, char** text) override {
    return CFiPluginBase::getLocaleMessage(length, record, language, text);
  }
  int delLocaleMessage(char** text) override { return CFiPluginBase::delLocaleMessage(text); }
  // NOLINTEND(bugprone-parent-virtual-call)
};

#endif
