// What is put in place in the private root: the product and the file system's own programs.
#include "launcher/installation.h"

#include <array>
#include <fstream>

namespace testbed {

namespace fs = std::filesystem;

namespace {

struct Place {
  const char* built;      // in the build tree
  const char* installed;  // in the private root
};

constexpr std::array places = {
    Place{"lib/libqmfsfi.so", "/usr/lib/qmfi/providers/libqmfsfi.so"},
    Place{"lib/qmfsfi.provider", "/usr/lib/qmfi/providers/qmfsfi.provider"},
    Place{"lib/libqmfi_pdk.so.4", "/usr/lib/x86_64-linux-gnu/libqmfi_pdk.so.4"},
    Place{"share/qmfi/catalogs", "/usr/share/qmfi/catalogs"},
    Place{"bin/qmfi", "/usr/bin/qmfi"},
    Place{"testbed/programs/mount.qmfs", "/sbin/mount.qmfs"},
    Place{"testbed/programs/umount.xfs", "/sbin/umount.xfs"},
    Place{"testbed/programs/mkfs.qmfs", "/sbin/mkfs.qmfs"},
    Place{"testbed/programs/fsck.qmfs", "/sbin/fsck.qmfs"},
    Place{"testbed/programs/fsck.qmfs", "/sbin/fsck.xfs"},
    Place{"testbed/programs/fstyp", "/opt/KRIBqmfs/sbin/fstyp"},
    Place{"testbed/programs/markdirty", "/opt/KRIBqmfs/sbin/markdirty"},
    Place{"testbed/programs/qmumount", "/opt/KRIB/bin/qmumount"},
    Place{"testbed/programs/mount", "/bin/mount"},
};

constexpr const char* packageDatabase = "/var/lib/qmfs-testbed/rpm";
constexpr const char* configurationFile = "/etc/qmfi/qmfsfi.conf";

void linkProgramsAndLibraries(const fs::path& buildTree) {
  for (const auto& place : places) {
    const fs::path built = buildTree / place.built;
    if (!fs::exists(built)) continue;  // a build tree may hold a part of the targets
    const fs::path installed = place.installed;
    fs::create_directories(installed.parent_path());
    fs::remove_all(installed);
    fs::create_symlink(built, installed);
  }
}

// The mount program of the private root stands before the system's and hands on to it.
void keepSystemMount() {
  fs::create_directories("/usr/libexec/qmfs-testbed");
  fs::copy_file("/bin/mount", "/usr/libexec/qmfs-testbed/mount");
}

// rpm's default database depends on the user's home; here it is one place for everybody.
void installPackageDatabase(const fs::path& buildTree) {
  fs::create_directories(packageDatabase);
  fs::copy_file(buildTree / "testbed/package/db/rpmdb.sqlite", fs::path(packageDatabase) / "rpmdb.sqlite");
  fs::create_directories("/etc/rpm");
  std::ofstream("/etc/rpm/macros.qmfs-testbed") << "%_dbpath " << packageDatabase << "\n";
}

void writeConfiguration(const std::vector<Setting>& settings) {
  fs::create_directories("/etc/qmfi");
  fs::remove(configurationFile);
  std::ofstream file(configurationFile);
  file << "[QUIESCENCE_INFO]\n";
  for (const auto& setting : settings) file << setting.key << "=" << setting.value << "\n";
}

}  // namespace

void install(const fs::path& buildTree, const std::vector<Setting>& settings) {
  keepSystemMount();
  linkProgramsAndLibraries(buildTree);
  installPackageDatabase(buildTree);
  writeConfiguration(settings);
  fs::create_directories("/var/log/qmfi");
  fs::permissions("/var/log/qmfi", fs::perms::owner_all);
}

}  // namespace testbed
