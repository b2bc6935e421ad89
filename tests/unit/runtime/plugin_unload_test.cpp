// Loading and unloading of plug-ins: nothing of them stays behind in the framework.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <string>

#include "build_tree.h"
#include "kfi.h"
#include "trace_fixture.h"

namespace {

class Plugin {
 public:
  Plugin() : m_handle(dlopen(QMFI_BINARY_DIR "/lib/libruntime_sample_plugin.so", RTLD_NOW | RTLD_LOCAL)) {}
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;
  ~Plugin() {
    if (m_handle != nullptr) dlclose(m_handle);
  }

  template <typename Function>
  Function* find(const char* name) const {
    return m_handle != nullptr ? reinterpret_cast<Function*>(dlsym(m_handle, name)) : nullptr;
  }

 private:
  void* m_handle;
};

bool isLoaded() {
  void* const handle = dlopen(QMFI_BINARY_DIR "/lib/libruntime_sample_plugin.so", RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

// Loads the plug-in, runs it, and unloads it, with or without ending it first. Returns what it returned.
int useOnce(kfi_context& context, bool end) {
  const Plugin plugin;
  auto* const run = plugin.find<int(kfi_context*)>("sample_run");
  auto* const stop = plugin.find<void()>("sample_end");
  if (run == nullptr || stop == nullptr) return -1;
  const int result = run(&context);
  if (end) stop();
  return result;
}

TEST(PluginUnloadTest, leavesNoPlugInBehind) {
  const TraceDirectory place;
  kfi_context context{};
  for (const bool end : {true, false}) {
    EXPECT_EQ(useOnce(context, end), 1);
    EXPECT_FALSE(isLoaded());
    // Whoever still knew an object of the plug-in would call it now.
    const OpenSplitContext splitContext;
  }
  EXPECT_EQ(place.texts().size(), 4U);
}

TEST(PluginUnloadTest, takesNoMemoryOverThousandsOfLoads) {
  const TraceDirectory place;
  kfi_context context{};
  constexpr int loads = 2000;
  for (int i = 0; i < 100; ++i) ASSERT_EQ(useOnce(context, true), 1);
  const std::size_t before = mallinfo2().uordblks;
  for (int i = 0; i < loads; ++i) ASSERT_EQ(useOnce(context, true), 1);
  const std::size_t after = mallinfo2().uordblks;
  // Less than a hundredth of what one lost object for each load would take.
  EXPECT_LT(after, before + loads);
}

}  // namespace
