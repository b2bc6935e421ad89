// qmfi cache enable|disable MOUNTPOINT
#include <sys/statvfs.h>

#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "failure/host_error.h"
#include "failure/json_text.h"
#include "provider/claim.h"
#include "provider/mount_options.h"
#include "provider/node.h"
#include "snapshot/own_snapshots.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// A remount without the option "ro" makes a file system writable.
void requireWritable(const std::string& mountPoint) {
  struct statvfs status {};
  // What cannot be read is for the provider to refuse.
  if (statvfs(mountPoint.c_str(), &status) != 0 || (status.f_flag & ST_RDONLY) == 0) return;
  throw HostError(Failure::readOnly,
                  translate("{0} is mounted read-only, and switching its cache would make it writable; \"mount -o "
                            "remount,rw\" does that if it is meant",
                            mountPoint))
      .about(mountPoint);
}

class CacheCommand : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.argument("MOUNTPOINT", m_mountPoint, translatable("File system whose way of writing changes"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    OpenProviders providers(settings);
    const std::string mountPoint = trustedMountPoint(m_mountPoint);
    requireNoSnapshot(openState(settings), mountPoint);
    Provider& provider = providerOfMountPoint(providers, mountPoint);
    requireWritable(mountPoint);
    Node config(provider, provider.name(), ObjectKind::object);
    config.initialise(nullptr);
    Node node(provider, mountPoint);
    node.initialise(&config);
    change(provider, node);
    if (settings.json) out << jsonDocument({{"mount_point", mountPoint}, {"outcome", "done"}});
    return ExitStatus::done;
  }

 protected:
  virtual void change(Provider& provider, Node& node) = 0;

 private:
  std::string m_mountPoint;
};

// A provider may refuse a name without a word.
void requireOption(const Provider& provider, const Node& node,
                   const std::string ProviderDescriptor::CacheOptions::*which) {
  const std::optional<ProviderDescriptor::CacheOptions>& options = provider.descriptor().cache;
  if (!options || hasMountOption(node.name(), (*options).*which)) return;
  throw HostError(translate("the way in which {0} writes was not changed: the mount table does not show {1}",
                            node.name(), (*options).*which))
      .about(node.name());
}

class CacheEnable : public CacheCommand {
  void change(Provider& provider, Node& node) override {
    provider.enableCache(node);
    requireOption(provider, node, &ProviderDescriptor::CacheOptions::safe);
  }
};

class CacheDisable : public CacheCommand {
  void change(Provider& provider, Node& node) override {
    provider.disableCache(node);
    requireOption(provider, node, &ProviderDescriptor::CacheOptions::fast);
  }
};

}  // namespace

std::unique_ptr<Command> makeCacheEnable() {
  return std::make_unique<CacheEnable>();
}

std::unique_ptr<Command> makeCacheDisable() {
  return std::make_unique<CacheDisable>();
}

}  // namespace qmfi_host
