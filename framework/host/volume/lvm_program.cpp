// Commands and reports of lvm.
#include "volume/lvm_program.h"

#include <charconv>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "failure/host_error.h"
#include "failure/one_line.h"
#include "system/program.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr std::chrono::minutes longestCommand(2);

const std::vector<std::string> environment = {"LC_ALL=C", "PATH=/usr/sbin:/usr/bin:/sbin:/bin"};

template <typename Number>
Number numberIn(const Json& row, const char* column) {
  const std::string text = row.value(column, "");
  Number number{};
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

bool beginsLine(const std::string& text, std::size_t place) {
  const std::size_t before = place == 0 ? std::string::npos : text.find_last_not_of(' ', place - 1);
  return before == std::string::npos || text[before] == '\n';
}

// lvm may print a warning before its report.
std::size_t beginOfReport(const std::string& printed) {
  std::size_t begin = printed.find('{');
  while (begin != std::string::npos && !beginsLine(printed, begin)) begin = printed.find('{', begin + 1);
  return begin;
}

Json rowsIn(const std::string& printed) {
  const std::size_t begin = beginOfReport(printed);
  const std::size_t end = printed.rfind('}');
  if (begin != std::string::npos && end != std::string::npos && begin < end) {
    const Json report = Json::parse(printed.substr(begin, end - begin + 1), nullptr, false);
    const Json::json_pointer rows("/report/0/lv");
    if (!report.is_discarded() && report.contains(rows) && report.at(rows).is_array()) return report.at(rows);
  }
  throw HostError(translate("lvm printed no report: {0}", inOneLine(withoutIndentation(printed))));
}

LogicalVolume volumeIn(const Json& row) {
  return {row.value("segtype", ""), numberIn<std::uint64_t>(row, "lv_size"), row.value("pool_lv", ""),
          row.value("origin", ""),  numberIn<double>(row, "data_percent"),   numberIn<double>(row, "metadata_percent")};
}

}  // namespace

std::string withoutIndentation(const std::string& printed) {
  const std::size_t begin = printed.find_first_not_of(" \n");
  if (begin == std::string::npos) return {};
  return printed.substr(begin, printed.find_last_not_of(" \n") - begin + 1);
}

std::string LvmProgram::run(const std::vector<std::string>& words) const {
  qmfi_system::Program program{{m_path}, environment, longestCommand};
  program.words.insert(program.words.end(), words.begin(), words.end());
  const qmfi_system::ProgramEnd end = qmfi_system::captureProgram(program);
  if (end.exitStatus == 0) return end.output;
  throw HostError(translate("lvm {0} failed with status {1}: {2}", words.front(), end.shellStatus(),
                            inOneLine(withoutIndentation(end.output))));
}

std::string LvmProgram::lockDirectory() const {
  const std::string setting = run({"lvmconfig", "--typeconfig", "full", "global/locking_dir"});
  const std::size_t begin = setting.find('"');
  const std::size_t end = setting.rfind('"');
  if (begin == end) {
    throw HostError(
        translate("lvm does not say where it keeps its locks: {0}", inOneLine(withoutIndentation(setting))));
  }
  std::filesystem::path directory = setting.substr(begin + 1, end - begin - 1);
  std::error_code error;
  while (!std::filesystem::exists(directory, error) && directory.has_relative_path()) {
    directory = directory.parent_path();
  }
  return directory;
}

std::pair<std::string, std::string> LvmProgram::namesOf(const std::string& device) const {
  const Json rows = rowsIn(run({"lvs", "--reportformat", "json", "--options", "vg_name,lv_name", device}));
  if (rows.size() != 1) throw HostError(translate("the volume {0} is no logical volume", device));
  return {rows[0].value("vg_name", ""), rows[0].value("lv_name", "")};
}

VolumeGroup LvmProgram::groupOf(const std::string& name) const {
  const std::string columns =
      "lv_name,segtype,lv_size,pool_lv,origin,data_percent,metadata_percent,vg_extent_size,vg_free";
  const Json rows =
      rowsIn(run({"lvs", "--reportformat", "json", "--units", "b", "--nosuffix", "--options", columns, name}));
  VolumeGroup group;
  for (const Json& row : rows) {
    group.extentBytes = numberIn<std::uint64_t>(row, "vg_extent_size");
    group.freeBytes = numberIn<std::uint64_t>(row, "vg_free");
    group.volumes.emplace(row.value("lv_name", ""), volumeIn(row));
  }
  if (group.extentBytes == 0) throw HostError(translate("lvm tells nothing of the volume group {0}", name));
  return group;
}

}  // namespace qmfi_host
