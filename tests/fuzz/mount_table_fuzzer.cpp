// Look-ups in mount tables of any content, compared with what the system's own reader finds in the same table.
#include <sys/mman.h>
#include <unistd.h>

#include <vector>

#include "fuzz_input.h"
#include "qmfs_mount_table.h"
#include "support/mount_table_model.h"

namespace {

using mount_table_model::Answer;
using mount_table_model::Entry;

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
  const std::vector<Entry> entries = mount_table_model::readEntries(file.path(), text.size());
  std::string value = otherValue;
  if (!entries.empty()) {
    const Entry& entry = entries[number % entries.size()];
    value = key == MountTableKey::device ? entry.device : entry.mountPoint;
  }
  require(
      searched(file, key, value, type) == mount_table_model::lookUp(entries, key == MountTableKey::device, value, type),
      "the first entry that matches");
  return 0;
}
