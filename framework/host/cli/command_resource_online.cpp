// qmfi resource online DEVICE [MOUNTPOINT] [-o OPTIONS] [--force]
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "failure/json_text.h"
#include "failure/one_line.h"
#include "provider/claim.h"
#include "snapshot/own_snapshots.h"
#include "snapshot/progress.h"
#include "texts/translation.h"
#include "volume/device_content.h"

namespace qmfi_host {

namespace {

bool knows(Provider& provider, const std::string& content) {
  const std::vector<std::string> types = provider.identity().fileSystemTypes;
  return std::find(types.begin(), types.end(), content) != types.end();
}

// A file system that cannot be mounted is checked, and the check repairs what it takes for its own. One of which
// nothing is known may be a damaged one of the provider's.
void requireOwnContent(Provider& provider, const std::string& device) {
  const std::string content = contentOf(device);
  if (content.empty() || provider.ownsContentOf(device) || knows(provider, content)) return;
  throw HostError(Failure::wrongContent,
                  translate("{0} holds something else ({1}), which the provider {2} neither checks nor mounts", device,
                            content, provider.name()))
      .about(device);
}

bool isMountedOn(const std::string& device, const std::string& mountPoint) {
  struct stat node {};
  struct stat mounted {};
  return stat(device.c_str(), &node) == 0 && stat(mountPoint.c_str(), &mounted) == 0 && mounted.st_dev == node.st_rdev;
}

// What cannot be looked into is for the provider to refuse.
void requireNothingCovered(const std::string& device, const std::string& mountPoint) {
  std::error_code error;
  const std::filesystem::directory_iterator first(mountPoint, error);
  if (error || first == std::filesystem::directory_iterator() || isMountedOn(device, mountPoint)) return;
  throw HostError(Failure::forceNeeded,
                  translate("{0} is not empty, and what is in it would be covered; --force mounts over it", mountPoint))
      .about(mountPoint);
}

class ResourceOnline : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.argument("DEVICE", m_device, translatable("Device with the file system"));
    options.optionalArgument("MOUNTPOINT", m_mountPoint,
                             translatable("Where it is mounted (default: the device's name in /)"));
    options.text("-o,--options", m_options, "OPTIONS", translatable("Mount options, separated by commas"));
    options.flag("--force", m_force, translatable("Mount also over a directory that is not empty"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    if (m_mountPoint && !m_mountPoint->starts_with('/')) {
      throw UsageError(translate("the mount point {0} is not an absolute path", *m_mountPoint));
    }
    // A semicolon ends an option in the text that carries the options to the provider.
    if (m_options && m_options->find(';') != std::string::npos) {
      throw UsageError(translate("mount options cannot hold a semicolon"));
    }
    if (m_mountPoint) m_mountPoint = trustedMountPoint(*m_mountPoint);
    OpenProviders providers(settings);
    m_device = trustedDevice(providers, m_device);
    requireNoSnapshot(openState(settings), m_device);
    Provider& provider = providerOfDevice(providers, m_device);
    requireOwnContent(provider, m_device);
    // As the provider chooses it.
    const std::string chosen = "/" + std::filesystem::path(m_device).filename().string();
    if (!m_force) requireNothingCovered(m_device, m_mountPoint.value_or(chosen));
    settings.progress->choice(m_device, provider.name(), "");
    settings.progress->step(Step::online, m_device);
    const std::vector<std::string> mounted = provider.bringOnline(m_device, m_mountPoint, m_options);
    if (settings.json) {
      printJson(out, mounted);
    } else {
      for (const std::string& path : mounted) out << inOneLine(path) << "\n";
    }
    return ExitStatus::done;
  }

 private:
  void printJson(std::ostream& out, const std::vector<std::string>& mounted) const {
    Json nodes = Json::array();
    for (const std::string& path : mounted) nodes.push_back({{"mount_point", path}});
    out << jsonDocument({{"device", m_device}, {"outcome", "done"}, {"nodes", nodes}});
  }

  std::string m_device;
  std::optional<std::string> m_mountPoint;
  std::optional<std::string> m_options;
  bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> makeResourceOnline() {
  return std::make_unique<ResourceOnline>();
}

}  // namespace qmfi_host
