// The splitters that there are, and the choice among them.
#ifndef SPLITTERS_H
#define SPLITTERS_H

#include <optional>
#include <string>
#include <vector>

#include "volume/volume_splitter.h"

namespace qmfi_host {

// Several splitters, each with a name of its own. They do not change, so any number of threads may ask.
class Splitters {
 public:
  // all: in the order in which they are asked whether a volume is theirs; they outlive this object.
  explicit Splitters(std::vector<const VolumeSplitter*> all);

  // The one of a name. Throws HostError where there is none.
  const VolumeSplitter& named(const std::string& name) const;

  // What a plan's splitter says of it; where there is no such splitter, nothing is known.
  VolumeStatus look(const SplitPlan& plan, LookAt what) const;

  // The one for the volume at a device: that of the name, or else the first that says so. Throws UsageError for a name
  // that there is none of, and HostError, with what the device is, when none says so.
  const VolumeSplitter& choose(const std::string& device, const std::optional<std::string>& name) const;

  const std::vector<const VolumeSplitter*>& all() const { return m_all; }

 private:
  const VolumeSplitter* find(const std::string& name) const;
  std::string names() const;

  std::vector<const VolumeSplitter*> m_all;
};

}  // namespace qmfi_host

#endif
