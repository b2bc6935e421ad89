// Reading of settings files.
#include "settings/settings_files.h"

#include <toml++/toml.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <string>
#include <system_error>

#include "settings/setting_table.h"
#include "system/small_file.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

constexpr const char* directoryVariable = "QMFI_CONFIG_DIR";
constexpr const char* standardDirectory = "/etc/qmfi";
constexpr const char* ending = ".toml";

// Far more than all settings take.
constexpr std::size_t largestFile = std::size_t{64} * 1024;

using Check = std::function<void(const fs::path&)>;

std::uint32_t lineOf(const toml::source_region& source) {
  return source.begin.line;
}

// Reads the files one after another into one result.
class Reading {
 public:
  explicit Reading(const Check& check) : m_check(check) {}

  void read(const fs::path& file) {
    const auto errors = static_cast<std::ptrdiff_t>(m_result.errors.size());
    readOrTell(file);
    // Of one file in the order of its lines; the parser's is that of the keys.
    std::stable_sort(
        m_result.errors.begin() + errors, m_result.errors.end(),
        [](const FileError& one, const FileError& other) { return one.place().line < other.place().line; });
  }

  // Those in the directory of further files, in their order.
  void readAll(const fs::path& directory) {
    try {
      m_check(directory);
    } catch (const HostError& error) {
      m_result.errors.emplace_back(error, directory);
      return;
    }
    for (const fs::path& file : filesIn(directory)) read(file);
  }

  SettingsFiles result() { return std::move(m_result); }

 private:
  void readOrTell(const fs::path& file) {
    try {
      m_check(file);
      const auto text = qmfi_system::readSmallFile(file, largestFile);
      if (!text && errno == ENOENT) return;
      ++m_result.count;
      if (!text) return addUnreadable(file, errno, translate("make it a file that root can read, of at most 64 KiB"));
      m_file = file;
      addTop(toml::parse(*text));
    } catch (const toml::parse_error& error) {
      addError({file, lineOf(error.source())}, std::string(error.description()), translate("mend the line"));
    } catch (const HostError& error) {
      m_result.errors.emplace_back(error, file);
    }
  }

  std::vector<fs::path> filesIn(const fs::path& directory) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
      const std::string name = entry->path().filename();
      if (!name.starts_with('.') && name.ends_with(ending)) files.push_back(entry->path());
    }
    if (error && error != std::errc::no_such_file_or_directory) {
      addUnreadable(directory, error.value(), translate("make it a directory that root can read"));
    }
    std::sort(files.begin(), files.end());
    return files;
  }

  void addTop(const toml::table& table) {
    for (const auto& [key, node] : table) {
      const bool isTable = !key.str().empty() && !knownNames(key.str()).empty();
      if (!isTable) {
        add("", key.str(), node);
      } else if (const toml::table* const inner = node.as_table()) {
        for (const auto& [name, value] : *inner) add(key.str(), name.str(), value);
      } else {
        addError(placeOf(std::string(key.str()), node), translate("must be a table"),
                 translate("write [{0}]", key.str()));
      }
    }
  }

  void add(std::string_view table, std::string_view name, const toml::node& node) {
    const SettingEntry* const entry = findSetting(table, name);
    const std::string key = (table.empty() ? "" : std::string(table) + ".") + std::string(name);
    const FilePlace place = placeOf(key, node);
    if (entry == nullptr) return addUnknown(place, table);
    const SettingData data = dataOf(node);
    if (!entry->accepts(data)) {
      return addError(place, translate("must be {0}", entry->expected()),
                      translate("change the value, or remove the line"));
    }
    m_result.values[key] = {data, {SettingOrigin::Kind::file, place.file, place.line}};
  }

  static SettingData dataOf(const toml::node& node) {
    if (const auto flag = node.value_exact<bool>()) return *flag;
    if (const auto number = node.value_exact<std::int64_t>()) return *number;
    if (const auto text = node.value_exact<std::string>()) return *text;
    return {};
  }

  FilePlace placeOf(const std::string& key, const toml::node& node) const {
    return {m_file, lineOf(node.source()), key};
  }

  void addUnreadable(const fs::path& path, int errorNumber, const std::string& mend) {
    // The one answer of the system that would not be understood: what is no file is not waited for.
    const std::string cause =
        errorNumber == EINVAL ? translate("it is no regular file") : std::generic_category().message(errorNumber);
    addError({path}, translate("cannot be read: {0}", cause), mend);
  }

  void addError(const FilePlace& place, const std::string& problem, const std::string& mend) {
    m_result.errors.emplace_back(Failure::settingsWrong, place, problem, mend);
  }

  void addUnknown(const FilePlace& place, std::string_view table) {
    m_result.unknown.emplace_back(Failure::settingsWrong, place, translate("is not known"),
                                  translate("remove it, or write one of {0}", knownNames(table)));
  }

  const Check& m_check;
  SettingsFiles m_result{};
  std::string m_file{};  // that is read
};

}  // namespace

fs::path settingsDirectory() {
  const char* const set = secure_getenv(directoryVariable);
  return set != nullptr && *set != '\0' ? set : standardDirectory;
}

SettingsFiles readSettingsFiles(const fs::path& directory, const Check& check) {
  Reading reading(check);
  reading.read(directory / (std::string("qmfi") + ending));
  reading.readAll(directory / "conf.d");
  return reading.result();
}

}  // namespace qmfi_host
