// Finding a splitter by its name, or by what lies under a file system.
#include "volume/splitters.h"

#include <algorithm>
#include <utility>

#include "failure/host_error.h"
#include "texts/translation.h"
#include "volume/block_device.h"

namespace qmfi_host {

Splitters::Splitters(std::vector<const VolumeSplitter*> all) : m_all(std::move(all)) {}

const VolumeSplitter* Splitters::find(const std::string& name) const {
  const auto found =
      std::find_if(m_all.begin(), m_all.end(), [&](const VolumeSplitter* one) { return one->name() == name; });
  return found == m_all.end() ? nullptr : *found;
}

std::string Splitters::names() const {
  std::string names;
  for (const VolumeSplitter* const splitter : m_all) names += (names.empty() ? "" : ", ") + splitter->name();
  return names;
}

const VolumeSplitter& Splitters::named(const std::string& name) const {
  const VolumeSplitter* const splitter = find(name);
  if (splitter == nullptr) {
    throw HostError(Failure::cannotBeSplit,
                    translate("there is no splitter \"{0}\", which the snapshot was made with", name))
        .about(name);
  }
  return *splitter;
}

VolumeStatus Splitters::look(const SplitPlan& plan, LookAt what) const {
  const VolumeSplitter* const splitter = find(plan.splitter);
  return splitter != nullptr ? splitter->look(plan, what) : VolumeStatus{};
}

const VolumeSplitter& Splitters::choose(const std::string& device, const std::optional<std::string>& name) const {
  if (name) {
    const VolumeSplitter* const splitter = find(*name);
    if (splitter == nullptr) {
      UsageError error(translate("there is no splitter \"{0}\"; there are {1}", *name, names()));
      error.about(*name).advise(translate("choose one of {0}", names()));
      throw UsageError(error);
    }
    return *splitter;
  }
  const auto found =
      std::find_if(m_all.begin(), m_all.end(), [&](const VolumeSplitter* splitter) { return splitter->isFor(device); });
  if (found != m_all.end()) return **found;
  throw HostError(
      Failure::cannotBeSplit,
      translate("the volume {0} cannot be split: it is {1}, and qmfi itself splits loop devices over files and logical "
                "volumes; QMFI_SPLITTER_COMMAND names a program that splits others; nothing was frozen",
                device, kindOf(device)))
      .about(device);
}

}  // namespace qmfi_host
