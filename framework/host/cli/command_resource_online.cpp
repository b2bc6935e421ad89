// qmfi resource online DEVICE [MOUNTPOINT] [-o OPTIONS]
#include "cli/command_session.h"
#include "cli/command_table.h"
#include "provider/claim.h"

namespace qmfi_host {

namespace {

class ResourceOnline : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.argument("DEVICE", m_device, "Device with the file system");
    options.optionalArgument("MOUNTPOINT", m_mountPoint, "Where it is mounted (default: the device's name in /)");
    options.text("-o,--options", m_options, "OPTIONS", "Mount options, separated by commas");
  }

  int run(const Settings& settings, std::ostream& out) override {
    if (m_mountPoint && !m_mountPoint->starts_with('/')) {
      throw UsageError("the mount point " + *m_mountPoint + " is not an absolute path");
    }
    // A semicolon ends an option in the text that carries the options to the provider.
    if (m_options && m_options->find(';') != std::string::npos) {
      throw UsageError("mount options cannot hold a semicolon");
    }
    if (m_mountPoint) m_mountPoint = canonicalPath(*m_mountPoint);
    OpenProviders providers(settings);
    m_device = canonicalDevice(providers, m_device);
    Provider& provider = providerOfDevice(providers, m_device);
    for (const std::string& path : provider.bringOnline(m_device, m_mountPoint, m_options)) out << path << "\n";
    return success;
  }

 private:
  std::string m_device;
  std::optional<std::string> m_mountPoint;
  std::optional<std::string> m_options;
};

}  // namespace

std::unique_ptr<Command> makeResourceOnline() {
  return std::make_unique<ResourceOnline>();
}

}  // namespace qmfi_host
