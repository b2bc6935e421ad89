// Look-ups in mount tables of any content, compared with what the system's own reader finds in the same table.
#include <mntent.h>
#include <sys/mman.h>
#include <unistd.h>

#include <optional>
#include <vector>

#include "fuzz_input.h"
#include "qmfs_mount_table.h"

namespace {

struct Entry {
  std::string device;
  std::string mountPoint;
  std::string type;
  std::string options;
};

// A file without a place in any file system.
class TableFile {
 public:
  TableFile()
      : m_descriptor(memfd_create("table", MFD_CLOEXEC)), m_path("/proc/self/fd/" + std::to_string(m_descriptor)) {
    require(m_descriptor >= 0, "there is memory for the table");
  }

  const char* path() const { return m_path.c_str(); }

  void write(const std::string& text) {
    const bool written = ftruncate(m_descriptor, 0) == 0 &&
                         pwrite(m_descriptor, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
    require(written, "the table is written");
  }

 private:
  const int m_descriptor;
  const std::string m_path;
};

struct TableCloser {
  void operator()(std::FILE* table) const { endmntent(table); }
};

std::vector<Entry> readEntries(const TableFile& file, std::size_t size) {
  std::vector<Entry> entries;
  std::vector<char> room(size + 2);
  const std::unique_ptr<std::FILE, TableCloser> table(setmntent(file.path(), "r"));
  mntent entry{};
  while (getmntent_r(table.get(), &entry, room.data(), static_cast<int>(room.size())) != nullptr) {
    entries.push_back({entry.mnt_fsname, entry.mnt_dir, entry.mnt_type, entry.mnt_opts});
  }
  return entries;
}

// The entry's answer to a look-up; nothing when it does not match.
using Answer = std::optional<std::pair<std::string, std::string>>;

Answer expected(const std::vector<Entry>& entries, MountTableKey key, const std::string& value, const char* type) {
  for (const Entry& entry : entries) {
    const bool byDevice = key == MountTableKey::device;
    if ((byDevice ? entry.device : entry.mountPoint) != value) continue;
    if (type != nullptr && entry.type != type) continue;
    return std::pair(byDevice ? entry.mountPoint : entry.device, entry.options);
  }
  return std::nullopt;
}

Answer searched(const TableFile& file, MountTableKey key, const std::string& value, const char* type) {
  char* found = nullptr;
  char* options = nullptr;
  const int result = searchMountTable(file.path(), key, value.c_str(), type, &found, &options);
  const MallocString ownedFound(found);
  const MallocString ownedOptions(options);
  require(result == 0 || result == 1, "a table that can be read has an answer");
  require((found != nullptr) == (result == 1) && (options != nullptr) == (result == 1), "only an answer has texts");
  require(searchMountTable(file.path(), key, value.c_str(), type, nullptr, nullptr) == result,
          "the answer does not depend on what is asked for");
  return result == 1 ? Answer(std::pair(std::string(found), std::string(options))) : std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static TableFile file;
  FuzzedDataProvider input(data, size);
  const auto key = input.ConsumeBool() ? MountTableKey::device : MountTableKey::mountPoint;
  const char* const type = input.ConsumeBool() ? "qmfs" : nullptr;
  const std::string otherValue = input.ConsumeBool() ? "/" : "/a b";
  const auto number = input.ConsumeIntegral<std::uint8_t>();
  const std::string text = restAsText(input);
  file.write(text);
  // The system's reader takes a line with a NUL together with the one that follows, which no table has.
  if (text.find('\0') != std::string::npos) {
    searched(file, key, otherValue, type);
    return 0;
  }
  const std::vector<Entry> entries = readEntries(file, text.size());
  std::string value = otherValue;
  if (!entries.empty()) {
    const Entry& entry = entries[number % entries.size()];
    value = key == MountTableKey::device ? entry.device : entry.mountPoint;
  }
  require(searched(file, key, value, type) == expected(entries, key, value, type), "the first entry that matches");
  return 0;
}
