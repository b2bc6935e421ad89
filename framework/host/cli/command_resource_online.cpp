// qmfi resource online DEVICE [MOUNTPOINT] [-o OPTIONS]
#include <cstdlib>
#include <cstring>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "provider/node.h"

namespace qmfi_host {

namespace {

// The path list that a provider hands out.
class PathList {
 public:
  PathList() = default;
  PathList(const PathList&) = delete;
  PathList& operator=(const PathList&) = delete;
  ~PathList() {
    for (int i = 0; i < count; ++i) qmfi_free_buf(paths[i], std::strlen(paths[i]) + 1);
    std::free(paths);
  }

  char** paths = nullptr;
  int count = 0;
};

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
    m_device = canonicalDevice(m_device);
    LoadedProvider loaded(settings);
    std::string options = "mountOptions=" + m_options.value_or("");
    char* devices[] = {m_device.data()};
    PathList mounted;
    (*loaded).run(m_device + " could not be brought online", [&](const ProviderEntryPoints& calls) {
      return calls.fi_pgn_online_resource(devices, 1, m_mountPoint ? m_mountPoint->data() : nullptr, nullptr,
                                          m_options ? options.data() : nullptr, nullptr, 0, &mounted.paths,
                                          &mounted.count);
    });
    for (int i = 0; i < mounted.count; ++i) out << mounted.paths[i] << "\n";
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
