// Loading and unloading of plug-ins: nothing of them stays behind in the framework.
#include <gtest/gtest.h>
#include <malloc.h>

#include "build_tree.h"
#include "kfi.h"
#include "open_split_context.h"
#include "support/plugin_library.h"
#include "support/trace_capture.h"

namespace {

// Loads the plug-in, runs it, and unloads it, with or without ending it first. Returns what it returned.
int useOnce(kfi_context& context, bool end) {
  const PluginLibrary plugin(QMFI_BINARY_DIR "/lib/libruntime_sample_plugin.so");
  const int result = plugin.function<int(kfi_context*)>("sample_run")(&context);
  if (end) plugin.function<void()>("sample_end")();
  return result;
}

TEST(PluginUnloadTest, LeavesNoPlugInBehind) {
  const TraceDirectory traces;
  kfi_context context{};
  for (const bool end : {true, false}) {
    EXPECT_EQ(useOnce(context, end), 1);
    EXPECT_FALSE(isMapped("libruntime_sample_plugin.so"));
    // Whoever still knew an object of the plug-in would call it now.
    const OpenSplitContext splitContext;
  }
  EXPECT_EQ(traces.texts().size(), 4U);
}

TEST(PluginUnloadTest, TakesNoMemoryOverThousandsOfLoads) {
  const TraceDirectory traces;
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
