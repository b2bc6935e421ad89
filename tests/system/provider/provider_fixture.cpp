// Operations on the spare volume, and looking whether anything is left of them.
#include "provider_fixture.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/mount_lines.h"
#include "support/program_run.h"

namespace provider_test {

void ProviderTest::TearDown() {
  if (HasFailure()) testbed_test::run({"/bin/umount", "-q", spare});
  std::error_code ignored;
  if (optionsOf(spareMount) == std::nullopt) std::filesystem::remove(spareMount, ignored);
  EXPECT_EQ(demo::lastingDifference(before), "");
}

void ProviderTest::program(const std::vector<std::string>& words) {
  const testbed_test::Outcome outcome = testbed_test::run(words);
  EXPECT_EQ(outcome.status, 0) << words[0] << ": " << outcome.output;
}

void ProviderTest::formatSpare() {
  char* devices[] = {readOnly(spare.c_str())};
  ASSERT_EQ(plugin.call().format(devices, 1, nullptr, readOnly("qmfs"), nullptr, 1, nullptr, nullptr), 0);
  plugin.commands();
}

void ProviderTest::mountSpare(const std::string& options) {
  ASSERT_EQ(onlineResource(spare, spareMount.c_str(), options.c_str()), 0);
  plugin.commands();
}

int ProviderTest::onlineResource(const std::string& device, const char* mountPoint, const char* options) {
  char* devices[] = {readOnly(device.c_str())};
  char** paths = nullptr;
  int count = 0;
  const int status = plugin.call().online_resource(devices, 1, readOnly(mountPoint), readOnly("qmfs"),
                                                   readOnly(options), nullptr, 0, &paths, &count);
  onlinePath.reset();
  if (paths == nullptr) return status;
  EXPECT_EQ(count, 1);
  onlinePath = paths[0];
  plugin.call().qmfi_free_buf(paths[0], std::strlen(paths[0]) + 1);
  std::free(paths);
  return status;
}

int ProviderTest::disableAccess(kfi_domain& node, long flags) {
  kfi_node_subobj_list list{&node, nullptr, nullptr};
  return plugin.call().disable_access(&list, flags);
}

int ProviderTest::enableAccess(kfi_domain& node, const std::string& device) {
  kfi_subobj_list subObjects{plugin.object(device), nullptr};
  kfi_node_subobj_list list{&node, &subObjects, nullptr};
  return plugin.call().enable_access(&list, 0, 0, 0);
}

std::optional<std::string> optionsOf(const std::string& mountPoint) {
  const auto lines = testbed_test::mountLines(mountPoint);
  if (lines.size() != 1) return std::nullopt;
  std::istringstream fields(lines[0]);
  std::string device;
  std::string directory;
  std::string type;
  std::string options;
  fields >> device >> directory >> type >> options;
  return options;
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream(path) << text;
}

}  // namespace provider_test
