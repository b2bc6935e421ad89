// A provider at work: started, asked for its operations with its failures turned into errors, and stopped at the end.
#ifndef PROVIDER_H
#define PROVIDER_H

#include <optional>
#include <string>
#include <vector>

#include "failure/host_error.h"
#include "kfi.h"
#include "provider/provider_descriptor.h"
#include "provider/provider_entry_points.h"

namespace qmfi_host {

class Node;

// What a provider says of a path.
struct ClaimAnswer {
  bool claimed = false;
  std::vector<std::string> groups;  // in which the provider freezes the object
};

// What a provider says of itself.
struct ProviderIdentity {
  std::string name;
  std::string version;  // four numbers with dots between them
  std::vector<int> attributes;
  std::vector<std::string> fileSystemTypes;
};

// One thread at a time; one object for a provider at a time. Every operation throws ProviderError when the provider
// reports a failure, with the messages that it pushed.
class Provider {
 public:
  // Starts the provider. language: a locale name for its messages, empty for the default one. The entry points must
  // stay valid as long as this object lives. Throws ProviderError when the provider refuses to start.
  Provider(const ProviderEntryPoints& entryPoints, std::string name, std::string language,
           ProviderDescriptor descriptor = {});
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;
  ~Provider();

  const std::string& name() const { return m_name; }
  const ProviderDescriptor& descriptor() const { return m_descriptor; }

  // What the provider says of itself.
  ProviderIdentity identity();

  // Whether the path is a mounted file system of the provider's own.
  ClaimAnswer claim(const std::string& path);
  // Whether the file system on a device is of the provider's own.
  bool ownsContentOf(const std::string& device);

  // Both run while file systems are frozen: no failure is looked into. quiesce freezes the nodes and returns the
  // provider's status; unquiesce thaws them, and its failures are messages.
  int quiesce(std::vector<kfi_quiescenode*>& nodes) noexcept;
  void unquiesce(std::vector<kfi_quiescenode*>& nodes) noexcept;

  // Mounts the snapshot on a device beside the file system that it was taken of; returns the mount point. The primary
  // may ask for one by Node::nameAlternate. session: what the snapshot is called.
  std::string buildAlternate(Node& primary, const std::string& session, const std::string& device,
                             const std::string& snapshotDevice);
  // All are about an alternate that exists: online mounts it again, takeOffline unmounts it and removes its mount
  // point, unmountOnly leaves its mount point.
  void online(Node& primary, Node& alternate);
  void takeOffline(Node& primary, Node& alternate);
  void unmountOnly(Node& primary, Node& alternate);
  // Takes an alternate down for good.
  void deport(Node& primary, Node& alternate);
  // Whether a file system of the provider's own is mounted there.
  bool isMounted(Node& node);

  // Both are about a file system that is not to be used for the time being: disableAccess unmounts it, by force also
  // when it is in use; enableAccess checks it and mounts it again.
  void disableAccess(Node& node, const std::string& device, bool force);
  void enableAccess(Node& node, const std::string& device);

  // Both mount a mounted file system anew: with a log that is safe at every close, or with a fast one.
  void enableCache(Node& node);
  void disableCache(Node& node);

  // Puts a new file system on a device.
  void format(const std::string& device);
  // Mounts a device's file system; returns where. Without a mount point the provider chooses one, without options (a
  // list separated by commas) its own.
  std::vector<std::string> bringOnline(const std::string& device, const std::optional<std::string>& mountPoint,
                                       const std::optional<std::string>& options);

  // Throws ProviderError when messages have been pushed that nobody took. what: what could not be done then.
  void throwIfMessages(const std::string& what);

  // The error for a call that returned a status other than 0, with the messages pushed since they were last taken.
  ProviderError failure(const std::string& what, int status);

  // What was pushed since the last call, newest first; it is forgotten by the provider.
  std::vector<ProviderMessage> takeMessages();

 private:
  // A node's calls are its provider's.
  friend class Node;

  // Calls the provider: call(entry points) returns its status. what: what could not be done when that is not 0.
  // object: what the call is about.
  template <typename Call>
  void run(const std::string& object, const std::string& what, Call call) {
    takeMessages();
    const int status = call(m_entryPoints);
    if (status == 0) return;
    ProviderError error = failure(what, status);
    error.about(object);
    throw ProviderError(error);
  }

  std::string meaningOf(int status);
  // With the end of what a program has printed, and where the rest is, in place of all.
  std::string shownTextOf(kfi_msg_info& message);
  std::string textOf(kfi_msg_info& message);

  const ProviderEntryPoints& m_entryPoints;
  std::string m_name;
  std::string m_language;
  char* m_languageName;
  ProviderDescriptor m_descriptor;
  kfi_context m_context{};
};

}  // namespace qmfi_host

#endif
