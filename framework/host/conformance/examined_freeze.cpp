// Freezes, asked for by the host's own calls and looked at by a second request.
#include "conformance/examined_freeze.h"

#include <cerrno>
#include <thread>

#include "failure/host_error.h"

namespace qmfi_host {

namespace {

// The group that the provider freezes its file systems in.
std::string groupOf(Provider& provider, const Subject& subject) {
  const ClaimAnswer answer = provider.claim(subject.places.front().mountPoint);
  return answer.groups.empty() ? provider.name() : answer.groups.front();
}

}  // namespace

std::vector<std::unique_ptr<MountedFileSystem>> openPlaces(const Subject& subject) {
  std::vector<std::unique_ptr<MountedFileSystem>> fileSystems;
  for (const FileSystemPlace& place : subject.places) fileSystems.push_back(KernelFileSystems().open(place));
  return fileSystems;
}

ExaminedNodes::ExaminedNodes(Examination& it, std::chrono::seconds timeout)
    : m_it(it),
      m_provider(it.provider(), it.subject().name, "", it.subject().descriptor),
      m_group(m_provider, groupOf(m_provider, it.subject()), ObjectKind::object) {
  it.calling("init_node of the group", [&] { m_group.initialise(nullptr); });
  const auto& parameter = it.subject().descriptor.timeout;
  if (parameter) m_group.configure(parameter->parameter, std::to_string(timeout.count()));
  for (const FileSystemPlace& place : it.subject().places) {
    m_nodes.push_back(std::make_unique<Node>(m_provider, place.mountPoint));
    m_nodes.back()->initialise(&m_group);
    m_list.push_back(m_nodes.back()->quiesceNode());
  }
}

int ExaminedNodes::freeze() {
  return m_it.calling("quiesce", [&] { return m_provider.quiesce(m_list); });
}

void ExaminedNodes::thaw() {
  m_it.calling("unquiesce", [&] { m_provider.unquiesce(m_list); });
}

bool isFrozen(MountedFileSystem& fileSystem) {
  return fileSystem.freezeAgain() == EBUSY;
}

void expectFrozen(Examination& it, const std::vector<std::unique_ptr<MountedFileSystem>>& fileSystems,
                  const std::string& when) {
  for (const auto& fileSystem : fileSystems) {
    it.expect(isFrozen(*fileSystem), fileSystem->mountPoint() + " is not frozen " + when);
  }
}

void expectThawed(Examination& it, const std::vector<std::unique_ptr<MountedFileSystem>>& fileSystems,
                  const std::string& when) {
  for (const auto& fileSystem : fileSystems) {
    it.expect(!isFrozen(*fileSystem), fileSystem->mountPoint() + " is frozen " + when);
  }
}

void expectThawedWithin(Examination& it, const std::vector<std::unique_ptr<MountedFileSystem>>& fileSystems,
                        std::chrono::milliseconds time, const std::string& when) {
  constexpr std::chrono::milliseconds pause(20);
  const auto deadline = std::chrono::steady_clock::now() + time;
  for (const auto& fileSystem : fileSystems) {
    while (isFrozen(*fileSystem) && std::chrono::steady_clock::now() < deadline) std::this_thread::sleep_for(pause);
  }
  expectThawed(it, fileSystems, when);
}

}  // namespace qmfi_host
