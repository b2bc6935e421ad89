// The plug-in under test, loaded as a framework loads it and reached through its exports only.
#ifndef PROVIDER_H
#define PROVIDER_H

#include <atomic>
#include <string>
#include <vector>

#include "support/foreign_plugin.h"

namespace faults {

// Where the plug-in under test is; the build's own unless a program says otherwise.
void setProviderLibrary(const std::string& path);
const std::string& providerLibrary();

// Loads the plug-in when made and unloads it when it goes. Throws std::runtime_error when it cannot be loaded.
class Provider : public ForeignPlugin {
 public:
  Provider();
  ~Provider();
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  // Calls init with a context record whose callback counts; and fini. The calls are faulty regions.
  int start();
  void stop();
  int callbacks() const { return m_context.callbacks; }

  // Takes the messages pushed since the last call, newest first: the identifier, a blank, and the arguments as a list.
  std::vector<std::string> takeMessages();

  // A function of the plug-in that is loaded now, or of the libraries that it depends on; never one of this program.
  static void* functionOfDependencies(const char* name);

  // The framework's identifier of a name, of kind 1.
  qmfi_objid* object(const std::string& name) const;

 private:
  struct Context {
    kfi_context record{};
    // Messages come from any thread.
    std::atomic<int> callbacks = 0;
  };
  static void receive(kfi_context* context, const char* nativeText, const char* defaultText, std::int32_t severity);

  Context m_context;
  std::string m_language = "de";
  char* m_languagePointer = m_language.data();
};

}  // namespace faults

#endif
