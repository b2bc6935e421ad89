// qmfi cache enable|disable MOUNTPOINT
#include "cli/command_session.h"
#include "cli/command_table.h"
#include "provider/claim.h"
#include "provider/node.h"

namespace qmfi_host {

namespace {

class CacheCommand : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.argument("MOUNTPOINT", m_mountPoint, "File system whose way of writing changes");
  }

  int run(const Settings& settings, std::ostream& /*out*/) override {
    OpenProviders providers(settings);
    const std::string mountPoint = canonicalPath(m_mountPoint);
    Provider& provider = providerOfMountPoint(providers, mountPoint);
    Node config(provider, provider.name(), ObjectKind::object);
    config.initialise(nullptr);
    Node node(provider, mountPoint);
    node.initialise(&config);
    change(provider, node);
    return success;
  }

 protected:
  virtual void change(Provider& provider, Node& node) = 0;

 private:
  std::string m_mountPoint;
};

class CacheEnable : public CacheCommand {
  void change(Provider& provider, Node& node) override { provider.enableCache(node); }
};

class CacheDisable : public CacheCommand {
  void change(Provider& provider, Node& node) override { provider.disableCache(node); }
};

}  // namespace

std::unique_ptr<Command> makeCacheEnable() {
  return std::make_unique<CacheEnable>();
}

std::unique_ptr<Command> makeCacheDisable() {
  return std::make_unique<CacheDisable>();
}

}  // namespace qmfi_host
