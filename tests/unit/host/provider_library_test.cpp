// Loading of providers that are not there, or are none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "build_tree.h"
#include "failure/host_error.h"
#include "provider/provider_entry_points.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using testing::ThrowsMessage;

TEST(ProviderLibrary, WithoutAFileIsAFailureThatNamesTheProvider) {
  EXPECT_THAT([] { ProviderLibrary("/nonexistent", "sample"); },
              ThrowsMessage<HostError>(
                  AllOf(StartsWith("the provider sample cannot be loaded: "), HasSubstr("/nonexistent/libsample.so"))));
}

TEST(ProviderLibrary, WithoutTheFunctionsOfAProviderIsAFailureThatNamesTheFirstMissing) {
  const TemporaryDirectory directory;
  std::filesystem::create_symlink(QMFI_BINARY_DIR "/lib/libqmfi_pdk.so.4", directory.file("libsample.so"));
  EXPECT_THAT([&] { ProviderLibrary(directory.path(), "sample"); },
              ThrowsMessage<HostError>("the provider " + directory.file("libsample.so") +
                                       " lacks the function sample_fi_pgn_init"));
}

TEST(ProviderLibrary, WhoseNameIsNoPlainWordIsWrongUsage) {
  for (const char* name : {"", "../evil", "a b", "a.b", "%n"}) {
    EXPECT_THROW(ProviderLibrary("/nonexistent", name), UsageError) << name;
  }
}

}  // namespace
}  // namespace qmfi_host
