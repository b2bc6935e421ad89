// Quiescing a real file system, and who may end that.
// Volumes: "data" mounted on /mnt/data, "spare" not mounted.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "provider_fixture.h"
#include "support/freeze_requests.h"

namespace provider_test {
namespace {

using RealQuiesce = ProviderTest;

// Such a child's end runs what its parent's would.
TEST_F(RealQuiesce, OutlivesAChildThatTheHostForked) {
  kfi_domain& node = plugin.initialisedNode(dataMount);
  kfi_confspec timeout{readOnly("qmfsFreezeTimeout"), readOnly("100"), nullptr};
  ASSERT_EQ(plugin.call().config(node.fid_qnode->kqn_config, 0, nullptr, &timeout), 0);
  const testbed_test::OpenDirectory directory(dataMount);
  const testbed_test::ThawAtEnd safety({directory.get()});
  std::fflush(nullptr);
  ASSERT_EQ(plugin.call().quiesce(node.fid_qnode, nullptr, 0, nullptr), 0);

  const pid_t child = fork();
  if (child == 0) std::exit(0);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);

  EXPECT_EQ(testbed_test::thaw(directory.get()), 0) << "it was frozen no more";
  plugin.call().unquiesce(node.fid_qnode, nullptr, 0);
}

}  // namespace
}  // namespace provider_test
