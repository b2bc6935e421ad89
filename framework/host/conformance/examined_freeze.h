// A freeze by the provider, with what the kernel says of it.
#ifndef EXAMINED_FREEZE_H
#define EXAMINED_FREEZE_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "conformance/examination.h"
#include "provider/node.h"
#include "provider/provider.h"
#include "snapshot/mounted_file_system.h"

namespace qmfi_host {

// Opens the file systems of an examination by their mount points, before anything is frozen. Throws HostError.
std::vector<std::unique_ptr<MountedFileSystem>> openPlaces(const Subject& subject);

// The provider started, and a node of each file system, initialised as a host does it. Throws HostError.
class ExaminedNodes {
 public:
  // timeout: what the provider is given as its time-out, where its descriptor names the parameter.
  ExaminedNodes(Examination& it, std::chrono::seconds timeout);

  // The provider, which lives as long as this object.
  Provider& provider() { return m_provider; }
  // The node of the file system with this place in the subject's list.
  Node& node(std::size_t index) { return *m_nodes[index]; }
  // All of them.
  std::vector<std::unique_ptr<Node>>& nodes() { return m_nodes; }

  // Calls quiesce of all; returns what it answers.
  int freeze();
  // Calls unquiesce.
  void thaw();

 private:
  Examination& m_it;
  Provider m_provider;
  Node m_group;
  std::vector<std::unique_ptr<Node>> m_nodes{};
  std::vector<kfi_quiescenode*> m_list{};
};

// What the kernel says of one; a freeze that is asked for to find it out is ended at once.
bool isFrozen(MountedFileSystem& fileSystem);

// Notes every file system that is not frozen. when: "after quiesce".
void expectFrozen(Examination& it, const std::vector<std::unique_ptr<MountedFileSystem>>& fileSystems,
                  const std::string& when);
// Notes every one that is.
void expectThawed(Examination& it, const std::vector<std::unique_ptr<MountedFileSystem>>& fileSystems,
                  const std::string& when);

// Waits until all are thawed, and notes those that are not within the time.
void expectThawedWithin(Examination& it, const std::vector<std::unique_ptr<MountedFileSystem>>& fileSystems,
                        std::chrono::milliseconds time, const std::string& when);

}  // namespace qmfi_host

#endif
