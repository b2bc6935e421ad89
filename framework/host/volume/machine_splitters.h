// The splitters of this machine.
#ifndef MACHINE_SPLITTERS_H
#define MACHINE_SPLITTERS_H

#include <filesystem>
#include <string>

#include "volume/command_splitter.h"
#include "volume/lvm_splitter.h"
#include "volume/reflink_splitter.h"
#include "volume/splitters.h"

namespace qmfi_host {

// What the user says of them.
struct SplitterSettings {
  std::string command;                    // the program of the splitter that has one
  std::filesystem::path recordDirectory;  // where records lie that have no place beside a copy
  SnapshotSize snapshotSize = standardSnapshotSize;
};

// All that qmfi has, ready for use.
class MachineSplitters {
 public:
  // Nothing is run or looked at yet.
  explicit MachineSplitters(const SplitterSettings& settings)
      : m_lvm({.kernel = runningKernel(), .snapshotSize = settings.snapshotSize}, settings.recordDirectory),
        m_command(settings.command, settings.recordDirectory) {}
  MachineSplitters(const MachineSplitters&) = delete;
  MachineSplitters& operator=(const MachineSplitters&) = delete;

  // Valid as long as this object.
  const Splitters& all() const { return m_all; }

 private:
  ReflinkSplitter m_reflink{};
  LvmSplitter m_lvm;
  CommandSplitter m_command;
  Splitters m_all{{&m_reflink, &m_lvm, &m_command}};
};

}  // namespace qmfi_host

#endif
