// What a new snapshot would be, and what keeps it from being taken.
#ifndef SNAPSHOT_PREVIEW_H
#define SNAPSHOT_PREVIEW_H

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/create_options.h"
#include "failure/host_error.h"
#include "failure/json_text.h"
#include "state/snapshot.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// What stands in for the id, which is known only when a snapshot is taken.
inline constexpr const char* previewId = "XXXXXXXX";

// Something that is in the way.
struct Obstacle {
  ExitStatus exitStatus;  // of "snapshot create", which would meet it
  std::string text;
  Json error;
};

// What would become of one file system.
struct PreviewedFileSystem {
  std::string mountPoint;
  std::optional<SnapshotNode> node{};  // absent where it is not known because of an obstacle
  std::chrono::seconds timeout{};      // after which a freeze of it ends by itself
  VolumeStatus volume{};               // as it is now
  std::vector<Obstacle> obstacles{};
};

// A snapshot that could be taken where there are no obstacles.
struct SnapshotPreview {
  std::string name;
  std::vector<std::string> hooks{};  // the programs that run around the freeze
  std::vector<PreviewedFileSystem> fileSystems{};
  std::vector<Obstacle> obstacles{};  // that belong to none of the file systems
};

// Looks at all that a snapshot would be made of; makes and changes nothing. Needs no rights but to look, and goes as
// far as they allow. Throws UsageError.
SnapshotPreview previewOf(const Settings& settings, const CreateOptions& options);

// The obstacles of a preview: first those of its file systems.
std::vector<Obstacle> allObstacles(const SnapshotPreview& preview);

}  // namespace qmfi_host

#endif
