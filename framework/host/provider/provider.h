// A provider at work: started, called with its failures turned into errors, and stopped at the end.
#ifndef PROVIDER_H
#define PROVIDER_H

#include <string>
#include <vector>

#include "failure/host_error.h"
#include "kfi.h"
#include "provider/provider_entry_points.h"

namespace qmfi_host {

// One thread at a time; one object for a provider at a time.
class Provider {
 public:
  // Starts the provider. language: a locale name for its messages, empty for the default one. The entry points must
  // stay valid as long as this object lives. Throws ProviderError when the provider refuses to start.
  Provider(const ProviderEntryPoints& entryPoints, std::string name, std::string language);
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;
  ~Provider();

  const std::string& name() const { return m_name; }
  const ProviderEntryPoints& entryPoints() const { return m_entryPoints; }

  // Calls the provider: call(entry points) returns its status. Throws ProviderError with the messages that the call
  // pushed when the status is not 0. what: what could not be done then.
  template <typename Call>
  void run(const std::string& what, Call call) {
    takeMessages();
    const int status = call(m_entryPoints);
    if (status != 0) throw failure(what, status);
  }

  // The same for a call that tells of a failure by messages only, which then counts as the status "failed" (6).
  template <typename Call>
  void runWithoutStatus(const std::string& what, Call call) {
    takeMessages();
    call(m_entryPoints);
    throwIfMessages(what);
  }

  // Throws ProviderError when messages have been pushed that nobody took.
  void throwIfMessages(const std::string& what);

  // The error for a call that returned a status other than 0, with the messages pushed since they were last taken.
  ProviderError failure(const std::string& what, int status);

  // What was pushed since the last call, newest first; it is forgotten by the provider.
  std::vector<ProviderMessage> takeMessages();

 private:
  std::string textOf(kfi_msg_info& message);

  const ProviderEntryPoints& m_entryPoints;
  std::string m_name;
  std::string m_language;
  char* m_languageName;
  kfi_context m_context{};
};

}  // namespace qmfi_host

#endif
