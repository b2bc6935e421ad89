// A provider that does nothing but note what it is asked for.
#include "tiny_provider.h"

#define FI_PLUGIN_CLASS CTinyPlugin
#include "cfiapiexport.h"

extern "C" TinyControl* tinyfi_control() {
  return &tinyControl();
}

TinyControl& tinyControl() {
  static TinyControl control;
  return control;
}

int noteCall(const std::string& operation, const std::string& arguments) {
  TinyControl& control = tinyControl();
  control.calls.push_back(operation + "(" + arguments + ")");
  const bool isFrames = operation == "delayedInit" || operation == "init" || operation == "fini";
  if (!isFrames && control.duringCall) control.duringCall();
  const auto own = control.statuses.find(operation);
  if (own != control.statuses.end()) return own->second;
  return isFrames ? 0 : control.status;
}

std::string argumentText(const void* address) {
  return address != nullptr ? "#" + std::to_string(reinterpret_cast<std::uintptr_t>(address)) : "null";
}

std::string argumentText(long number) {
  return std::to_string(number);
}

std::string argumentText(const CFiSessionSPtr& session) {
  return session ? session->getId() + ": " + std::to_string(session->size()) : "no session";
}

std::string argumentText(const ACE_String_Base<char>& text) {
  return text.c_str();
}

std::string argumentText(const CFiObjctlArgs& arguments) {
  std::string text;
  for (const CFiKeyValuePair& pair : arguments.input()) {
    text += std::string("{") + pair.arg.c_str() + " " + pair.value.c_str() + " " + pair.type.c_str() + "}";
  }
  return text;
}

int CTinyPlugin::makeSnapshots(CFiSessionSPtr session) {
  for (const auto& [key, name] : tinyControl().secondNames) session->setSecondName(key, name);
  return CNotingPlugin::makeSnapshots(session);
}

int CTinyPlugin::objctl(ACE_String_Base<char> name, CFiObjctlArgs& arguments) {
  for (const std::vector<std::string>& output : tinyControl().outputs) {
    arguments.output().push_back({output[0].c_str(), output[1].c_str(), output[2].c_str()});
  }
  return CNotingPlugin::objctl(name, arguments);
}
