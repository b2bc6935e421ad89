// Comparing paths with mount points.
#include "snapshot/restored_part.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "snapshot/nested_nodes.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

namespace fs = std::filesystem;

std::string plainPath(const std::string& path) {
  const fs::path named(path);
  if (!named.is_absolute()) {
    throw UsageError(translate("\"{0}\" is no absolute path; what is restored is named by one", path));
  }
  if (std::find(named.begin(), named.end(), "..") != named.end()) {
    throw UsageError(translate("\"{0}\" has \"..\" in it; name the path without", path));
  }
  std::string plain = named.lexically_normal();
  if (plain.size() > 1 && plain.ends_with('/')) plain.pop_back();
  return plain;
}

// Nothing for a path that is not below the mount point.
std::optional<std::string> insideOf(const std::string& mountPoint, const std::string& path) {
  if (path == mountPoint) return "";
  const std::string above = mountPoint == "/" ? "/" : mountPoint + "/";
  if (!path.starts_with(above)) return std::nullopt;
  return path.substr(above.size());
}

RestoredPart partAt(const Snapshot& snapshot, const std::string& path) {
  std::optional<RestoredPart> innermost;
  for (const SnapshotNode& node : snapshot.nodes) {
    const std::optional<std::string> inside = insideOf(node.mountPoint, path);
    if (inside && (!innermost || inside->size() < innermost->inside.size())) innermost = {path, node, *inside};
  }
  if (!innermost) throw notInSnapshot(snapshot.name, path);
  return *innermost;
}

}  // namespace

std::vector<RestoredPart> partsOf(Snapshot snapshot, const std::vector<std::string>& paths) {
  std::vector<RestoredPart> parts;
  if (paths.empty()) {
    for (const SnapshotNode* const node : outerFirst(snapshot)) parts.push_back({node->mountPoint, *node, ""});
  }
  for (const std::string& path : paths) {
    RestoredPart part = partAt(snapshot, plainPath(path));
    const auto isSame = [&](const RestoredPart& other) { return other.path == part.path; };
    if (std::any_of(parts.begin(), parts.end(), isSame)) throw UsageError(translate("{0} is given twice", part.path));
    parts.push_back(std::move(part));
  }
  return parts;
}

HostError notInSnapshot(const std::string& snapshotName, const std::string& path) {
  return HostError(Failure::notFound, translate("the snapshot {0} has no {1}", snapshotName, path)).about(path);
}

}  // namespace qmfi_host
