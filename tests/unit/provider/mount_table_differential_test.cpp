// Look-ups compared with what the system's own reader finds in the same table, over many generated ones.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "qmfs_mount_table.h"
#include "support/mount_table_model.h"
#include "support/temporary_directory.h"

namespace {

using mount_table_model::Entry;

class TableWriter {
 public:
  explicit TableWriter(std::uint32_t seed) : m_random(seed) {}

  std::string table() {
    std::string text;
    const int lines = static_cast<int>(below(30));
    for (int i = 0; i < lines; ++i) {
      text += line();
      text += i + 1 < lines || below(3) != 0 ? "\n" : "";
    }
    return text;
  }

 private:
  std::uint32_t below(std::uint32_t bound) { return m_random() % bound; }

  template <typename List>
  const char* oneOf(const List& list) {
    return list[below(static_cast<std::uint32_t>(std::size(list)))];
  }

  std::string blanks() {
    static const char* const kinds[] = {" ", "\t", "  ", " \t ", "\t\t"};
    return oneOf(kinds);
  }

  // A word of few letters, so that many are equal, with escapes that mean something and some that do not.
  std::string word() {
    static const char* const pieces[] = {"a",     "b",    "/",      "/a",     "\\040", "\\011", "\\012",
                                         "\\134", "\\\\", "\\043",  "\\04",   "\\",    "#",     "\\101",
                                         "\r",    "\xff", "\\1340", "\\0401", "040",   "\\ab"};
    std::string text = below(2) != 0 ? "/" : "";
    const std::uint32_t length = below(4);
    for (std::uint32_t i = 0; i < length; ++i) text += oneOf(pieces);
    return text;
  }

  std::string line() {
    static const char* const types[] = {"qmfs", "qmfs", "qmfs", "xfs", "autofs", "qmfs\\040", "qmf\\163"};
    static const char* const options[] = {"rw", "ro,log", "ignore", "rw,ignore", "ignored", "a\\040b", ""};
    switch (below(12)) {
      case 0:
        return "";
      case 1:
        return blanks();
      case 2:
        return (below(2) != 0 ? blanks() : "") + "#" + word() + blanks() + word() + " qmfs rw 0 0";
      default:
        break;
    }
    const std::string fields[] = {word(), word(), oneOf(types), oneOf(options), "0", "0"};
    const std::uint32_t count = below(8) != 0 ? std::size(fields) : below(6);
    std::string text = below(4) != 0 ? "" : blanks();
    for (std::uint32_t i = 0; i < count; ++i) text += (i != 0 ? blanks() : "") + fields[i];
    if (below(40) == 0) text += blanks() + std::string(5000, 'x');
    return text + (below(6) != 0 ? "" : blanks());
  }

  std::mt19937 m_random;
};

// Every value that is asked for in a table: what its entries have, decoded, and words that may not be there.
std::set<std::string> askedValues(const std::vector<Entry>& entries) {
  std::set<std::string> values = {"", "/", "#", "/a", "\\040", " ", "/\\040"};
  for (const Entry& entry : entries) {
    values.insert({entry.device, entry.mountPoint, entry.device + "/", entry.mountPoint + " "});
  }
  return values;
}

// The first entry with the value, as (result, found, options).
std::vector<std::string> expected(const std::vector<Entry>& entries, MountTableKey key, const std::string& value,
                                  const char* type) {
  const auto answer = mount_table_model::lookUp(entries, key == MountTableKey::device, value, type);
  if (!answer) return {"0", "null", "null"};
  return {"1", answer->first, answer->second};
}

std::vector<std::string> searched(const std::string& path, MountTableKey key, const std::string& value,
                                  const char* type) {
  char* name = nullptr;
  char* options = nullptr;
  const int result = searchMountTable(path.c_str(), key, value.c_str(), type, &name, &options);
  const MallocString ownedName(name);
  const MallocString ownedOptions(options);
  return {std::to_string(result), name != nullptr ? name : "null", options != nullptr ? options : "null"};
}

TEST(MountTableDifferential, AgreesWithTheSystemsReader) {
  constexpr std::uint32_t tables = 400;
  const TemporaryDirectory directory;
  std::size_t found = 0;
  for (std::uint32_t seed = 1; seed <= tables; ++seed) {
    const std::string text = TableWriter(seed).table();
    const std::string path = directory.write("mtab", text);
    const std::vector<Entry> entries = mount_table_model::readEntries(path, text.size());
    for (const std::string& value : askedValues(entries)) {
      for (const MountTableKey key : {MountTableKey::device, MountTableKey::mountPoint}) {
        for (const char* const type : {static_cast<const char*>(nullptr), "qmfs"}) {
          const auto answer = searched(path, key, value, type);
          ASSERT_EQ(answer, expected(entries, key, value, type)) << "seed " << seed << " value " << value << '\n'
                                                                 << text;
          found += answer[0] == "1" ? 1 : 0;
        }
      }
    }
  }
  // The tables are of use: they hold much of what is asked for.
  EXPECT_GT(found, tables * 10U);
}

}  // namespace
