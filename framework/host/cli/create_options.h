// What the user says of a snapshot that is to be taken.
#ifndef CREATE_OPTIONS_H
#define CREATE_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "cli/command.h"
#include "snapshot/snapshot_planning.h"
#include "volume/machine_splitters.h"

namespace qmfi_host {

// The options and arguments of commands that take a snapshot.
class CreateOptions {
 public:
  CreateOptions() = default;
  // Those of a snapshot that a command takes by itself, of these mount points and with this name. What is left open is
  // as settings say. overcommit: as the option.
  CreateOptions(std::vector<std::string> mountPoints, std::string name, std::optional<bool> overcommit);

  // The object must live until the command line has been read; the others are for after that.
  void declare(CommandOptions& options);

  // The mount points, canonical, as the user named them. Throws UsageError for one that is named twice.
  std::vector<std::string> mountPoints() const;

  // All that is asked for, or holds where nothing is said, without an id and without the file systems, which are to be
  // claimed. Throws UsageError.
  SnapshotRequest request(const Settings& settings) const;

  // What the splitters need. Throws UsageError.
  SplitterSettings splitters(const Settings& settings) const;

  // Whether the snapshot may be taken where other programs do not see its mounts.
  bool privateMounts() const { return m_privateMounts; }

 private:
  void readSplitters(SnapshotRequest& request) const;
  std::string alternateDirectory(const Settings& settings) const;

  std::vector<std::string> m_mountPoints;
  std::optional<std::string> m_name;
  std::optional<std::string> m_alternateDirectory;
  std::optional<int> m_freezeTimeout;
  std::vector<std::string> m_splitters;
  std::optional<std::string> m_snapshotSize;
  std::optional<std::string> m_required;
  std::optional<bool> m_overcommit;
  bool m_privateMounts = false;
  bool m_withoutHooks = false;
};

}  // namespace qmfi_host

#endif
