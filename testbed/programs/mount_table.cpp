// The lines of type qmfs in /etc/mtab.
#include "programs/mount_table.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>

#include "system/descriptor.h"

namespace testbed {

using qmfi_system::Descriptor;

namespace {

constexpr const char* tableFile = "/etc/mtab";
constexpr const char* newTableFile = "/etc/mtab.new";
constexpr const char* kernelTable = "/proc/self/mountinfo";
constexpr const char* lockFile = "/etc/mtab.lock";
constexpr const char* typeName = "qmfs";

using Table = std::unique_ptr<libmnt_table, void (*)(libmnt_table*)>;

[[noreturn]] void fail(const char* step) {
  throw std::runtime_error(std::string(step) + " " + tableFile + " failed");
}

// The lock lasts as long as the descriptor.
Descriptor lockTable() {
  Descriptor lock(open(lockFile, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!lock.valid() || flock(lock.get(), LOCK_EX) < 0) fail("locking");
  return lock;
}

Table readTable(const char* file = tableFile) {
  Table table(mnt_new_table_from_file(file), mnt_unref_table);
  if (!table) fail("reading");
  return table;
}

// Only a table that is known to be whole takes the old one's place.
void writeTable(const Table& table) {
  constexpr mode_t readableForAll = 0644;
  std::FILE* const file = std::fopen(newTableFile, "we");
  if (file == nullptr) fail("writing");
  const bool written = mnt_table_write_file(table.get(), file) == 0 && std::fflush(file) == 0 &&
                       fchmod(fileno(file), readableForAll) == 0;
  if (std::fclose(file) != 0 || !written || std::rename(newTableFile, tableFile) != 0) fail("writing");
}

void visitQmfsLines(const Table& table, const std::function<void(libmnt_fs*)>& visit) {
  const std::unique_ptr<libmnt_iter, void (*)(libmnt_iter*)> each(mnt_new_iter(MNT_ITER_FORWARD), mnt_free_iter);
  libmnt_fs* line = nullptr;
  while (mnt_table_next_fs(table.get(), each.get(), &line) == 0) {
    if (std::string(mnt_fs_get_fstype(line)) == typeName) visit(line);
  }
}

// The line belongs to the table; null where there is none.
libmnt_fs* lastLineOf(const Table& table, const std::string& directory) {
  libmnt_fs* last = nullptr;
  visitQmfsLines(table, [&](libmnt_fs* line) {
    if (directory == mnt_fs_get_target(line)) last = line;
  });
  return last;
}

}  // namespace

std::vector<MountLine> qmfsMounts() {
  std::vector<MountLine> lines;
  visitQmfsLines(readTable(), [&](libmnt_fs* line) {
    lines.push_back({mnt_fs_get_source(line), mnt_fs_get_target(line), mnt_fs_get_options(line)});
  });
  return lines;
}

void addMount(const MountLine& line) {
  const Descriptor lock = lockTable();
  const Table table = readTable();
  const std::unique_ptr<libmnt_fs, void (*)(libmnt_fs*)> added(mnt_new_fs(), mnt_unref_fs);
  if (!added || mnt_fs_set_source(added.get(), line.device.c_str()) != 0 ||
      mnt_fs_set_target(added.get(), line.directory.c_str()) != 0 || mnt_fs_set_fstype(added.get(), typeName) != 0 ||
      mnt_fs_set_options(added.get(), line.options.c_str()) != 0 || mnt_table_add_fs(table.get(), added.get()) != 0) {
    fail("adding to");
  }
  writeTable(table);
}

void changeMountOptions(const std::string& directory, const std::string& options) {
  const Descriptor lock = lockTable();
  const Table table = readTable();
  libmnt_fs* line = lastLineOf(table, directory);
  if (line == nullptr) return;
  if (mnt_fs_set_options(line, options.c_str()) != 0) fail("changing");
  writeTable(table);
}

void removeMount(const std::string& directory) {
  const Descriptor lock = lockTable();
  const Table table = readTable();
  libmnt_fs* line = lastLineOf(table, directory);
  if (line == nullptr) return;
  mnt_table_remove_fs(table.get(), line);
  writeTable(table);
}

bool removeStaleLine(const std::string& directory) {
  const std::vector<MountLine> lines = qmfsMounts();
  const auto ofDirectory = [&](const MountLine& line) { return line.directory == directory; };
  const auto count = static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), ofDirectory));
  if (count <= mountsOn(directory)) return false;
  removeMount(directory);
  return true;
}

std::size_t mountsOn(const std::string& directory) {
  const Table table = readTable(kernelTable);
  const std::unique_ptr<libmnt_iter, void (*)(libmnt_iter*)> each(mnt_new_iter(MNT_ITER_FORWARD), mnt_free_iter);
  std::size_t count = 0;
  libmnt_fs* line = nullptr;
  while (mnt_table_next_fs(table.get(), each.get(), &line) == 0) count += directory == mnt_fs_get_target(line) ? 1 : 0;
  return count;
}

}  // namespace testbed
