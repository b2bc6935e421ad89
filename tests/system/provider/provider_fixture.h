// What the tests of the provider on real file systems share: the plug-in started, operations on the spare volume, and
// that nothing is left of them.
#ifndef PROVIDER_FIXTURE_H
#define PROVIDER_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "loaded_plugin.h"
#include "machine_state.h"

namespace provider_test {

// The volume that is not mounted when a test begins, and where tests mount it.
inline const std::string spare = "/dev/qm/dsk/dg1/spare";
inline const std::string spareMount = "/mnt/spare";
// The volume that is mounted all the time.
inline const std::string data = "/dev/qm/dsk/dg1/data";
inline const std::string dataMount = "/mnt/data";

inline const std::string forcedUnmount = "/opt/KRIB/bin/qmumount";

class ProviderTest : public testing::Test {
 protected:
  void TearDown() override;

  // Runs a program of the testbed and expects it to succeed.
  static void program(const std::vector<std::string>& words);

  // Puts an empty file system on the spare volume; and brings it online on its mount point with these options.
  void formatSpare();
  void mountSpare(const std::string& options = "mountOptions=rw");

  // online_resource with the status that it returns; the path that it hands out is in `onlinePath` then.
  int onlineResource(const std::string& device, const char* mountPoint, const char* options);
  std::optional<std::string> onlinePath;

  // The list of one node with its device, as access is changed through.
  int disableAccess(kfi_domain& node, long flags = 0);
  int enableAccess(kfi_domain& node, const std::string& device);

  demo::MachineState before = demo::machineState();
  LoadedPlugin plugin;
};

// The options of a mount point in /etc/mtab; nothing when it is not mounted, or more than once.
std::optional<std::string> optionsOf(const std::string& mountPoint);

void writeFile(const std::string& path, const std::string& text);

}  // namespace provider_test

#endif
