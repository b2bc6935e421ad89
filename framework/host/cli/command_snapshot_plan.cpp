// qmfi snapshot plan MOUNTPOINT... [the options of snapshot create]
#include <nlohmann/json.hpp>

#include "cli/command_table.h"
#include "cli/snapshot_preview.h"
#include "failure/one_line.h"
#include "snapshot/storage_space.h"
#include "texts/translation.h"

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
  for (const Obstacle& obstacle : obstacles) {
    out << "  " << translate("in the way: {0}", inOneLine(obstacle.text)) << "\n";
  }
}

void printNode(std::ostream& out, const std::string& mountPoint, const SnapshotNode& node,
               const PreviewedFileSystem& fileSystem) {
  out << translate("{0} ({1}, {2}), frozen for {3} s at most", mountPoint, inOneLine(node.volume.device), node.provider,
                   fileSystem.timeout.count())
      << "\n  -> "
      << translate("{0} ({1}) by {2}", inOneLine(node.alternate), inOneLine(node.volume.snapshotDevice),
                   node.volume.splitter)
      << "\n     "
      << translate("a full overwrite needs {0} of {1} free", bytesText(fileSystem.volume.occupied),
                   bytesText(fileSystem.volume.free))
      << "\n";
}

void printText(std::ostream& out, const PreviewedFileSystem& fileSystem) {
  const std::string mountPoint = inOneLine(fileSystem.mountPoint);
  if (fileSystem.node) {
    printNode(out, mountPoint, *fileSystem.node, fileSystem);
  } else {
    out << mountPoint << "\n";
  }
  printObstacles(out, fileSystem.obstacles);
}

void printText(std::ostream& out, const SnapshotPreview& preview, bool isPossible) {
  out << (isPossible ? translate("snapshot {0}: nothing is in the way", preview.name)
                     : translate("snapshot {0}: cannot be taken", preview.name))
      << "\n";
  printObstacles(out, preview.obstacles);
  for (const std::string& hook : preview.hooks) out << "  " << translate("hook: {0}", inOneLine(hook)) << "\n";
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
