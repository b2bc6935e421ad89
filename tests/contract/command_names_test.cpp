// Names from which a command would take something else than was meant: devices without a name, for which a program
// chooses its own, and names that a program takes for options.
#include "operations_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

const std::string DEVICE = "/dev/qm/dsk/dg1/vol1";

class CommandNames : public OperationsTest {
 protected:
  // An operation that runs commands on a device.
  struct Operation {
    const char* name;
    bool takesMountPoint;
    bool takesStoredDevice;  // from the node's private data
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

  // An operation that mounts with options.
  using OptionUser = int (CommandNames::*)(const std::string& options);
  static std::vector<OptionUser> optionUsers() {
    return {&CommandNames::onlineWith, &CommandNames::enableWith, &CommandNames::resourceWith};
  }
  int onlineWith(const std::string& options);
  int enableWith(const std::string& options);
  int resourceWith(const std::string& options);

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
      {"build_alttree", true, false, &CommandNames::build},
      {"import_tree", true, false, &CommandNames::import},
      {"online", true, true, &CommandNames::online},
      {"cache_disable", true, true, &CommandNames::switchCache},
      {"enable_access", true, false, &CommandNames::enable},
      {"online_resource", true, false, &CommandNames::onlineResource},
      {"online_resource without a mount point", false, false, &CommandNames::onlineUnnamedResource},
      {"format", false, false, &CommandNames::format},
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

int CommandNames::onlineWith(const std::string& options) {
  return plugin.online(nullptr, &restoredNode("/online", DEVICE, options), 1, 0);
}

int CommandNames::enableWith(const std::string& options) {
  kfi_domain& enabled = restoredNode("/enabled", DEVICE, options);
  enabled.fid_attr = 0x40;
  kfi_subobj_list devices{object(DEVICE), nullptr};
  kfi_node_subobj_list list{&enabled, &devices, nullptr};
  return plugin.enable_access(&list, 0, 0, 0);
}

int CommandNames::resourceWith(const std::string& options) {
  return bringOnline(DEVICE, "/resource"_text, text("mountOptions=" + options));
}

TEST_F(CommandNames, OfADeviceAndAMountPointReachTheCommands) {
  for (const Operation& operation : operations()) {
    forget();
    EXPECT_EQ((this->*operation.run)(DEVICE, "/data_alt"), 0) << operation.name;
    EXPECT_THAT(programs.commands(), Not(IsEmpty())) << operation.name;
  }
}

// What a command would take for an option, for two words, or for the beginning of another program.
const std::vector<std::string> MISTAKABLE = {"-a", "--all", "-", "/a b", "/a\tb", "/a\nb", " ", "|"};

TEST_F(CommandNames, ADeviceThatACommandCannotNameIsShownAndRefusedBeforeAnyCommand) {
  auto devices = MISTAKABLE;
  devices.emplace_back("");
  int number = 0;
  for (const std::string& device : devices) {
    // Nodes of one name share their devices.
    const std::string mountPoint = "/data_alt" + std::to_string(++number);
    for (const Operation& operation : operations()) {
      // The framework has no identifier of an empty name for private data.
      if (device.empty() && operation.takesStoredDevice) continue;
      forget();
      EXPECT_EQ((this->*operation.run)(device, mountPoint), 3) << operation.name << " " << device;
      EXPECT_THAT(refusals(), ElementsAre("Not a valid device path [" + device + "]")) << operation.name;
      expectNothingDone();
    }
  }
}

TEST_F(CommandNames, AMountPointThatACommandCannotNameIsShownAndRefusedBeforeAnyCommand) {
  for (const std::string& mountPoint : MISTAKABLE) {
    for (const Operation& operation : operations()) {
      if (!operation.takesMountPoint) continue;
      forget();
      EXPECT_EQ((this->*operation.run)(DEVICE, mountPoint), 3) << operation.name << " " << mountPoint;
      EXPECT_THAT(refusals(), ElementsAre("Not a valid mount point path [" + mountPoint + "]")) << operation.name;
      expectNothingDone();
    }
  }
}

TEST_F(CommandNames, ADeviceOfANodeThatHasAnEmptyNameIsShownAndRefused) {
  // A framework may make identifiers of empty names.
  qmfi_objid empty{""_text, 0, 3};
  importedCalls().answerIdentifier("", &empty);
  for (const Operation& operation : operations()) {
    if (!operation.takesStoredDevice) continue;
    forget();
    EXPECT_EQ((this->*operation.run)("", "/data_alt"), 3) << operation.name;
    EXPECT_THAT(refusals(), ElementsAre("Not a valid device path []")) << operation.name;
    expectNothingDone();
  }
}

// Options.

TEST_F(CommandNames, MountOptionsMayBeAnythingButTheBarThatBeginsAnotherProgram) {
  struct Case {
    std::string options;
    bool isRefused;
  };
  for (const Case& one :
       {Case{"|", true}, Case{"rw |", true}, Case{"| /bin/x", true}, Case{"rw | /bin/x", true},
        Case{"rw\t|\t/bin/x", true}, Case{"rw|", false}, Case{"|rw", false}, Case{"||", false}, Case{"-o ro", false}}) {
    for (const OptionUser use : optionUsers()) {
      forget();
      EXPECT_EQ((this->*use)(one.options), one.isRefused ? 3 : 0) << one.options;
      if (!one.isRefused) {
        EXPECT_THAT(refusals(), IsEmpty());
        EXPECT_THAT(programs.commands(), Not(IsEmpty()));
        continue;
      }
      EXPECT_THAT(refusals(), ElementsAre("Not valid mount options [" + one.options + "]"));
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
  for (const long flags : {0x0L, 0x10L}) EXPECT_EQ(plugin.disable_access(&list, flags), 3);
  EXPECT_EQ(plugin.online(nullptr, &mounted, takeOfflineMode, remove), 3);
  EXPECT_EQ(plugin.dispose(nullptr, &mounted, nullptr, remove), 3);
  EXPECT_EQ(plugin.deport_tree(nullptr, &mounted, nullptr), 3);
  EXPECT_THAT(refusals(), ::testing::AllOf(::testing::SizeIs(5), ::testing::Each("Not a valid mount point path [-a]")));
  EXPECT_EQ(mounted.fid_attr, 0u);
  expectNothingDone();
}

}  // namespace
