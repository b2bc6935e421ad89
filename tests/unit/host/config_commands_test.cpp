// What "qmfi config" shows and checks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "cli/command_line.h"
#include "support/environment.h"
#include "support/json_schema.h"
#include "unset_settings.h"

namespace qmfi_host {
namespace {

using testing::HasSubstr;

class ConfigCommandsTest : public testing::Test {
 protected:
  struct Outcome {
    int status;
    std::string out;
  };

  static Outcome run(std::vector<const char*> words) {
    words.insert(words.begin(), "qmfi");
    std::ostringstream out;
    std::ostringstream errors;
    const int status = runCommandLine(static_cast<int>(words.size()), words.data(), out, errors);
    EXPECT_EQ(errors.str(), "");
    return {status, out.str()};
  }

  UnsetSettings m_unset;
};

TEST_F(ConfigCommandsTest, ShowSettingsWithTheirOrigin) {
  const EnvironmentVariable state("QMFI_STATE_DIR", "/srv/qmfi");
  EXPECT_EQ(run({"config", "show", "--lock-wait", "30"}).out,
            "provider               (all that are installed)\n"
            "provider_dir           /usr/lib/qmfi/providers\n"
            "state_dir              /srv/qmfi\n"
            "splitter_command       /usr/lib/qmfi/splitter\n"
            "lock_wait              30\n"
            "language               (the provider's own)\n"
            "create.alternate_dir   /run/qmfi/snapshots\n"
            "create.freeze_timeout  (the provider's configuration)\n"
            "create.snapshot_size   20%\n"
            "create.require         none\n"
            "create.overcommit      false\n"
            "create.hook_dir        /etc/qmfi/hooks.d\n"
            "create.hook_time       60\n");
  EXPECT_EQ(run({"config", "show", "--lock-wait", "30", "--origin"}).out,
            "provider               (all that are installed)        default\n"
            "provider_dir           /usr/lib/qmfi/providers         default\n"
            "state_dir              /srv/qmfi                       QMFI_STATE_DIR\n"
            "splitter_command       /usr/lib/qmfi/splitter          default\n"
            "lock_wait              30                              --lock-wait\n"
            "language               (the provider's own)            default\n"
            "create.alternate_dir   /run/qmfi/snapshots             default\n"
            "create.freeze_timeout  (the provider's configuration)  default\n"
            "create.snapshot_size   20%                             default\n"
            "create.require         none                            default\n"
            "create.overcommit      false                           default\n"
            "create.hook_dir        /etc/qmfi/hooks.d               default\n"
            "create.hook_time       60                              default\n");
}

TEST_F(ConfigCommandsTest, ShowSettingsToPrograms) {
  const EnvironmentVariable state("QMFI_STATE_DIR", "/srv/\xff");
  const Outcome outcome = run({"config", "show", "--json"});
  EXPECT_EQ(testbed_test::schemaErrors("config-show", outcome.out), "");
  EXPECT_THAT(outcome.out, HasSubstr(R"(  {
    "key": "lock_wait",
    "value": null,
    "origin": {
      "kind": "default",
      "name": null,
      "line": null
    }
  },
)"));
  EXPECT_THAT(outcome.out, HasSubstr(R"("value_bytes": "/srv/%FF",
    "origin": {
      "kind": "variable",
      "name": "QMFI_STATE_DIR",
      "line": null
    })"));
}

TEST_F(ConfigCommandsTest, FindNothingWrongWhereThereIsNothing) {
  const Outcome well = run({"config", "check", "--provider-dir", "/etc/qmfi-of-nobody"});
  EXPECT_EQ(well.status, 0);
  EXPECT_EQ(well.out, "nothing is wrong\n");
  const Outcome json = run({"config", "check", "--json", "--provider-dir", "/etc/qmfi-of-nobody"});
  EXPECT_EQ(json.out, "[]\n");
  EXPECT_EQ(testbed_test::schemaErrors("config-check", json.out), "");
}

}  // namespace
}  // namespace qmfi_host
