// Names from which a command would take something else than was meant: devices without a name, for which a program
// chooses its own, and names that a program takes for options.
#include "operations_fixture.h"

namespace {

using ::testing::IsEmpty;
using ::testing::Not;

const std::string DEVICE = "/dev/qm/dsk/dg1/vol1";

class CommandNames : public OperationsTest {
 protected:
  // An operation that runs commands on a device.
  struct Operation {
    const char* name;
    bool takesMountPoint;
    int (CommandNames::*run)(const std::string& device, const std::string& mountPoint);
  };
  static const std::vector<Operation>& operations();

  int build(const std::string& device, const std::string& mountPoint);
  int import(const std::string& device, const std::string& mountPoint);
  int online(const std::string& device, const std::string& mountPoint);
  int switchCache(const std::string& device, const std::string& mountPoint);
  int enable(const std::string& device, const std::string& mountPoint);
  int onlineResource(const std::string& device, const std::string& mountPoint);
  int onlineUnnamedResource(const std::string& device, const std::string& mountPoint);
  int format(const std::string& device, const std::string& mountPoint);

  // An identifier of any name, the empty one too, as another framework may make it.
  qmfi_objid* named(const std::string& name) {
    return &m_identifiers.emplace_back(qmfi_objid{text(name), static_cast<std::uint32_t>(name.size()), 1});
  }
  char* text(const std::string& name) { return m_names.emplace_back(name).data(); }

 private:
  std::deque<std::string> m_names;
  std::deque<qmfi_objid> m_identifiers;
};

const std::vector<CommandNames::Operation>& CommandNames::operations() {
  static const std::vector<Operation> all = {
      {"build_alttree", true, &CommandNames::build},
      {"import_tree", true, &CommandNames::import},
      {"online", true, &CommandNames::online},
      {"cache_disable", true, &CommandNames::switchCache},
      {"enable_access", true, &CommandNames::enable},
      {"online_resource", true, &CommandNames::onlineResource},
      {"online_resource without a mount point", false, &CommandNames::onlineUnnamedResource},
      {"format", false, &CommandNames::format},
  };
  return all;
}

int CommandNames::build(const std::string& device, const std::string& mountPoint) {
  kfi_domain& built = node("/data");
  built.fid_provider = "qmfsfi"_text;
  kfi_subobj_entry entries[] = {{"/data"_text, text(mountPoint)}, {nullptr, nullptr}};
  built.fid_subobjs = entries;
  qmfi_objid* snapshot = named(device);
  qmfi_objid* alternate = nullptr;
  const int status = plugin.build_alttree(&built, "fiid"_text, nullptr, &snapshot, 1, &alternate);
  built.fid_subobjs = nullptr;
  return status;
}

int CommandNames::import(const std::string& device, const std::string& mountPoint) {
  kfi_domain& imported = node("/data of " + device + mountPoint);
  kfi_subobj_entry entries[] = {{"/data"_text, text(mountPoint)}, {nullptr, nullptr}};
  imported.fid_subobjs = entries;
  qmfi_objid* snapshot = named(device);
  qmfi_objid* alternate = nullptr;
  const int status = plugin.import_tree(&imported, nullptr, &snapshot, 1, &alternate);
  imported.fid_subobjs = nullptr;
  return status;
}

int CommandNames::online(const std::string& device, const std::string& mountPoint) {
  constexpr int bringOnlineMode = 1;
  return plugin.online(nullptr, &restoredNode(mountPoint, device), bringOnlineMode, 0);
}

int CommandNames::switchCache(const std::string& device, const std::string& mountPoint) {
  return plugin.cache_disable(&restoredNode(mountPoint, device));
}

int CommandNames::enable(const std::string& device, const std::string& mountPoint) {
  constexpr std::uint32_t disabledBit = 0x40;
  kfi_domain& enabled = node(mountPoint);
  enabled.fid_attr = disabledBit;
  kfi_subobj_list devices{named(device), nullptr};
  kfi_node_subobj_list list{&enabled, &devices, nullptr};
  return plugin.enable_access(&list, 0, 0, 0);
}

int CommandNames::onlineResource(const std::string& device, const std::string& mountPoint) {
  return bringOnline(device, text(mountPoint));
}

int CommandNames::onlineUnnamedResource(const std::string& device, const std::string&) {
  return bringOnline(device, nullptr);
}

int CommandNames::format(const std::string& device, const std::string&) {
  constexpr int formatDevice = 1;
  char* devices[] = {text(device)};
  return plugin.format(devices, 1, nullptr, nullptr, nullptr, formatDevice, nullptr, nullptr);
}

TEST_F(CommandNames, OfADeviceAndAMountPointReachTheCommands) {
  for (const Operation& operation : operations()) {
    forget();
    EXPECT_EQ(0, (this->*operation.run)(DEVICE, "/data_alt")) << operation.name;
    EXPECT_THAT(programs.commands(), Not(IsEmpty())) << operation.name;
  }
}

TEST_F(CommandNames, ADeviceWithoutANameIsRefusedBeforeAnyCommand) {
  for (const Operation& operation : operations()) {
    EXPECT_EQ(3, (this->*operation.run)("", "/data_alt")) << operation.name;
    expectNothingDone();
  }
}

TEST_F(CommandNames, ADeviceThatLooksLikeAnOptionIsRefusedBeforeAnyCommand) {
  for (const char* const device : {"-a", "--all", "-"}) {
    for (const Operation& operation : operations()) {
      EXPECT_EQ(3, (this->*operation.run)(device, "/data_alt")) << operation.name << " " << device;
      expectNothingDone();
    }
  }
}

TEST_F(CommandNames, AMountPointThatLooksLikeAnOptionIsRefusedBeforeAnyCommand) {
  for (const char* const mountPoint : {"-a", "--all", "-"}) {
    for (const Operation& operation : operations()) {
      if (!operation.takesMountPoint) continue;
      EXPECT_EQ(3, (this->*operation.run)(DEVICE, mountPoint)) << operation.name << " " << mountPoint;
      expectNothingDone();
    }
  }
}

TEST_F(CommandNames, NothingIsUnmountedWhoseMountPointLooksLikeAnOption) {
  constexpr int takeOfflineMode = 2;
  constexpr int remove = 1;
  table.add(DEVICE, "-a");
  kfi_domain& mounted = node("-a");
  kfi_node_subobj_list list{&mounted, nullptr, nullptr};
  for (const long flags : {0x0L, 0x10L}) EXPECT_EQ(3, plugin.disable_access(&list, flags));
  EXPECT_EQ(3, plugin.online(nullptr, &mounted, takeOfflineMode, remove));
  EXPECT_EQ(3, plugin.dispose(nullptr, &mounted, nullptr, remove));
  EXPECT_EQ(3, plugin.deport_tree(nullptr, &mounted, nullptr));
  EXPECT_EQ(0u, mounted.fid_attr);
  expectNothingDone();
}

}  // namespace
