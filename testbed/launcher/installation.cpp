// What is put in place in the private root: the product and the file system's own programs.
#include "launcher/installation.h"

#include <array>
#include <fstream>

namespace testbed {

namespace fs = std::filesystem;

namespace {

struct InstalledFile {
  const char* built;      // in the build tree
  const char* installed;  // in the private root
};

constexpr std::array installedFiles = {
    InstalledFile{"lib/libqmfsfi.so", "/usr/lib/qmfi/providers/libqmfsfi.so"},
    InstalledFile{"lib/qmfsfi.provider", "/usr/lib/qmfi/providers/qmfsfi.provider"},
    // The kernel calls the file systems of both providers xfs here, so each has a folder of its own.
    InstalledFile{"lib/liblinuxfsfi.so", "/usr/lib/qmfi/linuxfs/liblinuxfsfi.so"},
    InstalledFile{"lib/linuxfsfi.provider", "/usr/lib/qmfi/linuxfs/linuxfsfi.provider"},
    InstalledFile{"lib/libqmfi_pdk.so.4", "/usr/lib/x86_64-linux-gnu/libqmfi_pdk.so.4"},
    InstalledFile{"lib/qmfi/status-keeper", "/usr/lib/x86_64-linux-gnu/qmfi/status-keeper"},
    InstalledFile{"share/qmfi/catalogs", "/usr/share/qmfi/catalogs"},
    InstalledFile{"bin/qmfi", "/usr/bin/qmfi"},
    InstalledFile{"testbed/programs/mount.qmfs", "/sbin/mount.qmfs"},
    InstalledFile{"testbed/programs/umount.xfs", "/sbin/umount.xfs"},
    InstalledFile{"testbed/programs/mkfs.qmfs", "/sbin/mkfs.qmfs"},
    InstalledFile{"testbed/programs/fsck.qmfs", "/sbin/fsck.qmfs"},
    InstalledFile{"testbed/programs/fsck.qmfs", "/sbin/fsck.xfs"},
    InstalledFile{"testbed/programs/fstyp", "/opt/KRIBqmfs/sbin/fstyp"},
    InstalledFile{"testbed/programs/markdirty", "/opt/KRIBqmfs/sbin/markdirty"},
    InstalledFile{"testbed/programs/qmumount", "/opt/KRIB/bin/qmumount"},
    InstalledFile{"testbed/programs/mount", "/bin/mount"},
};

constexpr const char* packageDatabase = "/var/lib/qmfs-testbed/rpm";
constexpr const char* configurationFile = "/etc/qmfi/qmfsfi.conf";

// What qmfi believes only when root alone can change it; a build tree may be anybody's.
bool isBelievedFromRootOnly(const fs::path& installed) {
  return installed.string().starts_with("/usr/lib/qmfi/") || installed.string().starts_with("/usr/share/qmfi/");
}

void copyForRootAlone(const fs::path& from, const fs::path& to) {
  fs::copy(from, to, fs::copy_options::recursive);
  constexpr fs::perms others = fs::perms::group_write | fs::perms::others_write;
  fs::permissions(to, others, fs::perm_options::remove);
  if (!fs::is_directory(to)) return;
  for (const auto& entry : fs::recursive_directory_iterator(to)) {
    fs::permissions(entry.path(), others, fs::perm_options::remove);
  }
}

void putProgramsAndLibraries(const fs::path& buildTree) {
  for (const InstalledFile& file : installedFiles) {
    const fs::path built = buildTree / file.built;
    if (!fs::exists(built)) continue;  // a build tree may hold a part of the targets
    const fs::path installed = file.installed;
    fs::create_directories(installed.parent_path());
    fs::remove_all(installed);
    if (isBelievedFromRootOnly(installed)) {
      copyForRootAlone(built, installed);
    } else {
      fs::create_symlink(built, installed);
    }
  }
}

// The mount program of the private root stands before the system's and hands on to it.
void keepSystemMount() {
  fs::create_directories("/usr/libexec/qmfs-testbed");
  fs::copy_file("/bin/mount", "/usr/libexec/qmfs-testbed/mount");
}

// rpm's default database depends on the user's home; here it is the same for everybody.
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
  putProgramsAndLibraries(buildTree);
  installPackageDatabase(buildTree);
  writeConfiguration(settings);
  fs::create_directories("/var/log/qmfi");
  fs::permissions("/var/log/qmfi", fs::perms::owner_all);
}

}  // namespace testbed
