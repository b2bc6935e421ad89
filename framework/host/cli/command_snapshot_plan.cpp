// qmfi snapshot plan MOUNTPOINT... [the options of snapshot create]
#include <nlohmann/json.hpp>

#include "cli/command_table.h"
#include "cli/snapshot_preview.h"
#include "failure/one_line.h"
#include "snapshot/storage_space.h"

namespace qmfi_host {

namespace {

Json jsonOf(const std::vector<Obstacle>& obstacles) {
  Json array = Json::array();
  for (const Obstacle& obstacle : obstacles) array.push_back(obstacle.error);
  return array;
}

Json jsonOf(const PreviewedFileSystem& fileSystem) {
  Json json = {{"mount_point", fileSystem.mountPoint}};
  if (fileSystem.node) {
    const SnapshotNode& node = *fileSystem.node;
    json["device"] = node.volume.device;
    json["snapshot_device"] = node.volume.snapshotDevice;
    json["alternate"] = node.alternate;
    json["provider"] = node.provider;
    json["splitter"] = node.volume.splitter;
    json["freeze_timeout_s"] = fileSystem.timeout.count();
    json["needs"] = fileSystem.volume.occupied;
    json["free"] = fileSystem.volume.free;
  }
  json["obstacles"] = jsonOf(fileSystem.obstacles);
  return json;
}

void printJson(std::ostream& out, const SnapshotPreview& preview, bool isPossible) {
  Json fileSystems = Json::array();
  for (const PreviewedFileSystem& fileSystem : preview.fileSystems) fileSystems.push_back(jsonOf(fileSystem));
  out << jsonDocument({{"name", preview.name},
                       {"possible", isPossible},
                       {"obstacles", jsonOf(preview.obstacles)},
                       {"hooks", preview.hooks},
                       {"file_systems", std::move(fileSystems)}});
}

void printObstacles(std::ostream& out, const std::vector<Obstacle>& obstacles) {
  for (const Obstacle& obstacle : obstacles) out << "  in the way: " << inOneLine(obstacle.text) << "\n";
}

void printText(std::ostream& out, const PreviewedFileSystem& fileSystem) {
  out << inOneLine(fileSystem.mountPoint);
  if (fileSystem.node) {
    const SnapshotNode& node = *fileSystem.node;
    out << " (" << inOneLine(node.volume.device) << ", " << node.provider << "), frozen for "
        << fileSystem.timeout.count() << " s at most\n  -> " << inOneLine(node.alternate) << " ("
        << inOneLine(node.volume.snapshotDevice) << ") by " << node.volume.splitter << "\n     a full overwrite needs "
        << bytesText(fileSystem.volume.occupied) << " of " << bytesText(fileSystem.volume.free) << " free";
  }
  out << "\n";
  printObstacles(out, fileSystem.obstacles);
}

void printText(std::ostream& out, const SnapshotPreview& preview, bool isPossible) {
  out << "snapshot " << preview.name << (isPossible ? ": nothing is in the way" : ": cannot be taken") << "\n";
  printObstacles(out, preview.obstacles);
  for (const std::string& hook : preview.hooks) out << "  hook: " << inOneLine(hook) << "\n";
  for (const PreviewedFileSystem& fileSystem : preview.fileSystems) printText(out, fileSystem);
}

class SnapshotPlan : public Command {
 public:
  void declare(CommandOptions& options) override { m_options.declare(options); }

  bool needsRoot() const override { return false; }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    const SnapshotPreview preview = previewOf(settings, m_options);
    const std::vector<Obstacle> obstacles = allObstacles(preview);
    if (settings.json) {
      printJson(out, preview, obstacles.empty());
    } else {
      printText(out, preview, obstacles.empty());
    }
    return obstacles.empty() ? ExitStatus::done : obstacles.front().exitStatus;
  }

 private:
  CreateOptions m_options;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotPlan() {
  return std::make_unique<SnapshotPlan>();
}

}  // namespace qmfi_host
