// Two plug-ins in one process, and their unloading.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "build_tree.h"
#include "support/allocation_faults.h"
#include "support/environment.h"
#include "support/loaded_plugin.h"
#include "support/temporary_directory.h"
#include "tiny_control.h"

namespace {

class PluginLoading : public testing::Test {
 protected:
  // How many messages the plug-in keeps.
  static int messageCount(const LoadedPlugin& plugin) {
    kfi_msg_info* list = nullptr;
    EXPECT_EQ(plugin->fi_pgn_get_last_error(&list), 0);
    int count = 0;
    for (const kfi_msg_info* message = list; message != nullptr; message = message->kmi_next) ++count;
    EXPECT_EQ(plugin->fi_pgn_del_last_error(&list), 0);
    return count;
  }

  static int init(const LoadedPlugin& plugin) {
    kfi_version version{};
    return plugin->fi_pgn_init(nullptr, &version, nullptr);
  }

  static TinyControl& controlOf(const LoadedPlugin& tiny) {
    return *tiny.function<TinyControlFunction>(tinyControlName)();
  }

  // Fails an operation of the provider so that it pushes one message.
  static void failTiny(const LoadedPlugin& tiny) {
    controlOf(tiny).duringCall = [] { throw 5; };
    EXPECT_EQ(tiny->fi_pgn_post_deport(nullptr, nullptr), 6);
    controlOf(tiny).duringCall = nullptr;
  }
  static void failQmfs(const LoadedPlugin& qmfs) {
    char missing[] = "/nonexistent/alternate";
    qmfi_objid object{missing, sizeof missing - 1, 1};
    EXPECT_EQ(qmfs->fi_pgn_reaccess_altnode(nullptr, &object, nullptr, nullptr, nullptr, nullptr, 0, 0), 6);
  }

  TemporaryDirectory m_directory;
  EnvironmentVariable m_logDirectory{"QMFI_LOG_DIR", m_directory.path()};
};

TEST_F(PluginLoading, TwoPluginsInOneProcessShareNoSingleton) {
  const LoadedPlugin tiny(QMFI_BINARY_DIR "/lib/libtinyfi.so", "tinyfi");
  const LoadedPlugin qmfs(QMFI_BINARY_DIR "/lib/libqmfsfi.so", "qmfsfi");
  EXPECT_EQ(init(tiny), 0);
  // What it answers depends on the software of this machine.
  static_cast<void>(init(qmfs));
  messageCount(qmfs);

  failTiny(tiny);
  EXPECT_EQ(messageCount(qmfs), 0);
  EXPECT_EQ(messageCount(tiny), 1);
  failQmfs(qmfs);
  EXPECT_EQ(messageCount(tiny), 0);
  EXPECT_EQ(messageCount(qmfs), 1);
  EXPECT_TRUE(std::filesystem::exists(m_directory.path() + "/tinyfi.log"));
  EXPECT_TRUE(std::filesystem::exists(m_directory.path() + "/qmfsfi.log"));

  // The end of one leaves the other as it is.
  qmfs->fi_pgn_fini();
  failTiny(tiny);
  EXPECT_EQ(messageCount(tiny), 1);
  tiny->fi_pgn_fini();
  EXPECT_EQ(controlOf(tiny).providers, 0);
}

TEST_F(PluginLoading, LoadingNeedsNoMemoryOfTheHeap) {
  for (const char* const path : {QMFI_BINARY_DIR "/lib/libtinyfi.so", QMFI_BINARY_DIR "/lib/libqmfsfi.so"}) {
    void* library = nullptr;
    {
      const MemoryFailure failure;
      library = ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
    }
    ASSERT_NE(library, nullptr) << path;
    ::dlclose(library);
  }
}

struct LibraryCase {
  const char* path;
  const char* provider;
};

class PluginUnloading : public PluginLoading, public testing::WithParamInterface<LibraryCase> {
 protected:
  std::string fileName() const { return std::filesystem::path(GetParam().path).filename(); }
  std::unique_ptr<LoadedPlugin> load() const {
    return std::make_unique<LoadedPlugin>(GetParam().path, GetParam().provider);
  }
};

TEST_P(PluginUnloading, LeavesNothingMappedAfterAWholeLife) {
  auto plugin = load();
  EXPECT_TRUE(isMapped(fileName()));
  init(*plugin);
  EXPECT_NE((*plugin)->fi_pgn_deport_tree(nullptr, nullptr, nullptr), 1);
  messageCount(*plugin);
  (*plugin)->fi_pgn_fini();
  plugin.reset();
  EXPECT_FALSE(isMapped(fileName()));
}

TEST_P(PluginUnloading, LeavesNothingMappedWithoutStartOrStop) {
  load();
  EXPECT_FALSE(isMapped(fileName()));
  auto plugin = load();
  (*plugin)->fi_pgn_deport_tree(nullptr, nullptr, nullptr);
  plugin.reset();
  EXPECT_FALSE(isMapped(fileName()));
}

TEST_P(PluginUnloading, CanBeLoadedAgain) {
  for (int life = 0; life < 3; ++life) {
    auto plugin = load();
    init(*plugin);
    EXPECT_NE((*plugin)->fi_pgn_deport_tree(nullptr, nullptr, nullptr), 1);
    (*plugin)->fi_pgn_fini();
    plugin.reset();
    EXPECT_FALSE(isMapped(fileName()));
  }
}

INSTANTIATE_TEST_SUITE_P(Both, PluginUnloading,
                         testing::Values(LibraryCase{QMFI_BINARY_DIR "/lib/libtinyfi.so", "tinyfi"},
                                         LibraryCase{QMFI_BINARY_DIR "/lib/libqmfsfi.so", "qmfsfi"}),
                         [](const auto& caseInfo) { return std::string(caseInfo.param.provider); });

}  // namespace
