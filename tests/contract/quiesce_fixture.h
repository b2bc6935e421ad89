// A started plug-in with four initialised nodes on directories of the test's own, and what a quiesce of them traces.
#ifndef QUIESCE_FIXTURE_H
#define QUIESCE_FIXTURE_H

#include <string>
#include <vector>

#include "plugin_fixture.h"
#include "support/cancelled_thread.h"
#include "support/process_state.h"

// Traces that several ends of a quiesce have in common.
inline TraceRecord timeout(int seconds) {
  return traced(3, "CQmFSPlugin::quiesce - freezeTimeout = " + std::to_string(seconds));
}
inline TraceRecord openingContext() {
  return traced(6, "CQmFSPlugin::quiesce : Calling qmfi_create_context for split operations");
}
inline TraceRecord freezingAll() {
  return traced(6, "CQmFSPlugin::qmFreezeAll : calling ioctl QM_FREEZE_ALL");
}
inline TraceRecord freezeAllFailed(int error) {
  return traced(1, "CQmFSPlugin::qmFreezeAll : ioctl QM_FREEZE_ALL failed with errno : " + std::to_string(error) + " ");
}
inline TraceRecord notFrozenTogether() {
  return traced(2, "CQmFSPlugin::quiesce : qmFreezeAll failed for the file system.");
}
inline TraceRecord notAllowed() {
  return traced(1, "CQmFSPlugin::quiesce - Could not quiesce as QM_FREEZE_ALL failed and QM_FREEZE is not allowed.");
}
inline TraceRecord bothFailed() {
  return traced(1, "CQmFSPlugin::quiesce - Could not quiesce as QM_FREEZE_ALL and QM_FREEZE calls failed.");
}
inline TraceRecord freezing(const std::string& path) {
  return traced(6, "CQmFSPlugin::qmFreeze - calling ioctl QM_FREEZE for " + path);
}
inline TraceRecord freezeFailed(const std::string& path, int error) {
  return traced(
      1, "CQmFSPlugin::qmFreeze : ioctl QM_FREEZE failed for " + path + " with errno : " + std::to_string(error) + " ");
}
inline TraceRecord thawing() {
  return traced(6, "CQmFSPlugin::unquiesce : calling ioctl QM_THAW");
}
inline TraceRecord closingContext() {
  return traced(6, "CQmFSPlugin::unquiesce : calling close_context");
}

class Quiesce : public LoadedPlugin {
 protected:
  void SetUp() override {
    LoadedPlugin::SetUp();
    start();
    for (const char* name : {"a", "b", "c", "d"}) {
      paths.push_back(makeDirectory(name));
      table.add(std::string("/dev/qm/dsk/dg1/") + name, paths.back());
      nodes.push_back(initialisedNode(paths.back()).fid_qnode);
      freezeCalls().watch(paths.back());
    }
    forget();
  }

  virtual void start() { ASSERT_EQ(startPlugin(), 0); }

  int quiesce(int count) { return plugin.quiesce(nullptr, nodes.data(), count, nullptr); }
  void unquiesce(int count) { plugin.unquiesce(nullptr, nodes.data(), count); }

  // Sets the freeze time-out of the configuration domain as a host does.
  void configureTimeout(char* value) {
    kfi_confspec spec{"qmfsFreezeTimeout"_text, value, nullptr};
    ASSERT_EQ(plugin.config(&configurationDomain(), 0, nullptr, &spec), 0);
    forget();
  }

  // How many of the mount points have how many open descriptors.
  std::vector<std::size_t> openDescriptors() const {
    std::vector<std::size_t> open;
    for (const auto& path : paths) open.push_back(descriptorsOf(path).size());
    return open;
  }

  std::vector<std::string> first(int count) const { return {paths.begin(), paths.begin() + count}; }

  void expectIdle() {
    forget();
    EXPECT_EQ(quiesce(1), 0);
    unquiesce(1);
    EXPECT_THAT(importedCalls().contextCalls(), ::testing::ElementsAre("create", "close"));
  }

  std::vector<std::string> paths;
  std::vector<kfi_quiescenode*> nodes;
};

#endif
