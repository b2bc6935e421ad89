// Reading of descriptor files.
#include "provider/provider_descriptor.h"

#include <toml++/toml.h>

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <limits>
#include <string_view>

#include "failure/file_error.h"
#include "system/small_file.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr std::int64_t largestRequest = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t largestArgument = 63;
constexpr const char* mend = translatable("mend the file, or install the provider anew");

// A table of the file; what is wrong in it is told with its line and the key's whole name.
class Table {
 public:
  Table(const toml::table& table, std::string file, std::string prefix = "")
      : m_table(table), m_file(std::move(file)), m_prefix(std::move(prefix)) {}

  void requireOnly(std::initializer_list<std::string_view> known) const {
    for (const auto& [key, value] : m_table) {
      if (std::find(known.begin(), known.end(), key.str()) != known.end()) continue;
      std::string names;
      for (const std::string_view name : known) names += (names.empty() ? "" : ", ") + std::string(name);
      fail(key.str(), translate("is not known; known are {0}", names));
    }
  }

  std::string text(std::string_view key) const {
    const std::string expected = translate("a text that is not empty");
    const auto value = required(key, expected).value_exact<std::string>();
    if (!value || value->empty()) fail(key, translate("must be {0}", expected));
    return *value;
  }

  std::string directory(std::string_view key) const {
    std::string path = text(key);
    if (path.front() != '/' || path.back() == '/') {
      fail(key, translate("must be an absolute path that does not end with a slash"));
    }
    return path;
  }

  std::int64_t number(std::string_view key, std::int64_t smallest, std::int64_t largest) const {
    const std::string expected = translate("a number from {0} to {1}", smallest, largest);
    const auto value = required(key, expected).value_exact<std::int64_t>();
    if (!value || *value < smallest || *value > largest) fail(key, translate("must be {0}", expected));
    return *value;
  }

  // A table that may be left out.
  std::optional<Table> table(std::string_view key) const {
    const toml::node* const node = m_table.get(key);
    if (node == nullptr) return std::nullopt;
    if (!node->is_table()) fail(key, translate("must be a table"));
    return Table(*node->as_table(), m_file, m_prefix + std::string(key) + ".");
  }

 private:
  const toml::node& required(std::string_view key, const std::string& expected) const {
    const toml::node* const node = m_table.get(key);
    if (node == nullptr) fail(key, translate("is missing; it must be {0}", expected));
    return *node;
  }

  [[noreturn]] void fail(std::string_view key, const std::string& what) const {
    const toml::node* const node = m_table.get(key);
    const std::uint32_t line = (node == nullptr ? m_table : *node).source().begin.line;
    throw FileError(Failure::failed, {m_file, line, m_prefix + std::string(key)}, what, translated(mend));
  }

  const toml::table& m_table;
  std::string m_file;
  std::string m_prefix;
};

toml::table parse(const std::filesystem::path& file) {
  const auto text = qmfi_system::readSmallFile(file);
  if (!text) throw FileError(systemError(file.string()), file);
  try {
    return toml::parse(*text);
  } catch (const toml::parse_error& error) {
    throw FileError(Failure::failed, {file, error.source().begin.line}, std::string(error.description()),
                    translated(mend));
  }
}

ProviderDescriptor::Timeout readTimeout(const Table& table) {
  table.requireOnly({"parameter", "configured"});
  ProviderDescriptor::Timeout timeout{table.text("parameter")};
  if (const auto configured = table.table("configured")) {
    configured->requireOnly({"section", "name"});
    timeout.configured = {configured->text("section"), configured->text("name")};
  }
  return timeout;
}

ProviderDescriptor::FailedFreeze readFailedFreeze(const Table& table) {
  table.requireOnly({"message", "argument"});
  return {table.text("message"), static_cast<std::size_t>(table.number("argument", 0, largestArgument))};
}

ProviderDescriptor::DeviceDirectories readDevices(const Table& table) {
  table.requireOnly({"block", "raw"});
  return {table.directory("block"), table.directory("raw")};
}

ProviderDescriptor::CacheOptions readCacheOptions(const Table& table) {
  table.requireOnly({"safe", "fast"});
  return {table.text("safe"), table.text("fast")};
}

std::string readPackage(const Table& table) {
  table.requireOnly({"name"});
  return table.text("name");
}

bool isBelow(const std::string& path, const std::string& directory) {
  return path.starts_with(directory + "/");
}

}  // namespace

ProviderDescriptor readDescriptor(const std::filesystem::path& file) {
  const toml::table parsed = parse(file);
  const Table table(parsed, file.string());
  table.requireOnly({"timeout", "requests", "failed-freeze", "devices", "cache", "package"});
  ProviderDescriptor descriptor;
  if (const auto timeout = table.table("timeout")) descriptor.timeout = readTimeout(*timeout);
  if (const auto requests = table.table("requests")) {
    requests->requireOnly({"freeze", "thaw"});
    descriptor.freezeRequest = static_cast<unsigned long>(requests->number("freeze", 1, largestRequest));
    descriptor.thawRequest = static_cast<unsigned long>(requests->number("thaw", 1, largestRequest));
  }
  if (const auto failed = table.table("failed-freeze")) descriptor.failedFreeze = readFailedFreeze(*failed);
  if (const auto devices = table.table("devices")) descriptor.devices = readDevices(*devices);
  if (const auto cache = table.table("cache")) descriptor.cache = readCacheOptions(*cache);
  if (const auto package = table.table("package")) descriptor.package = readPackage(*package);
  return descriptor;
}

std::string rawDeviceOf(const ProviderDescriptor& descriptor, const std::string& device) {
  if (!descriptor.devices || !isBelow(device, descriptor.devices->block)) return {};
  return descriptor.devices->raw + device.substr(descriptor.devices->block.size());
}

bool isVolumeDevice(const ProviderDescriptor& descriptor, const std::string& path) {
  return descriptor.devices && (isBelow(path, descriptor.devices->block) || isBelow(path, descriptor.devices->raw));
}

}  // namespace qmfi_host
