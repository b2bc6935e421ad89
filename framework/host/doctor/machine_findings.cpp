// Looking at the kernel, at privileges and at what stands still.
#include "doctor/machine_findings.h"

#include <linux/capability.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>

#include "failure/host_error.h"
#include "failure/shell_word.h"
#include "settings/setting_table.h"
#include "snapshot/rsync_program.h"
#include "system/small_file.h"
#include "texts/translation.h"
#include "volume/lvm_splitter.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

// Those that are read beside the variables of settings.
constexpr std::array<std::string_view, 5> otherVariables = {"QMFI_CATALOG_DIR", "QMFI_CONF_DIR", "QMFI_CONFIG_DIR",
                                                            "QMFI_LOG_DIR", "QMFI_TRACE_LEVEL"};

// Where the kernel lets those wait who want to change a frozen file system.
constexpr std::string_view placeOfHalt = "percpu_rwsem_wait";

std::string lineOf(const fs::path& file) {
  const std::optional<std::string> text = qmfi_system::readSmallFile(file);
  return text ? text->substr(0, text->find('\n')) : std::string();
}

bool isRead(std::string_view variable) {
  const auto isOfSetting = [&](const SettingEntry& entry) {
    return std::any_of(entry.variables.begin(), entry.variables.end(),
                       [&](const char* known) { return known != nullptr && variable == known; });
  };
  return std::find(otherVariables.begin(), otherVariables.end(), variable) != otherVariables.end() ||
         std::any_of(settingTable().begin(), settingTable().end(), isOfSetting);
}

std::vector<fs::path> numberedEntries(const fs::path& directory) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    const std::string name = entry->path().filename();
    if (name.find_first_not_of("0123456789") == std::string::npos) entries.push_back(entry->path());
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

bool isHalted(const fs::path& process) {
  const std::vector<fs::path> threads = numberedEntries(process / "task");
  return std::any_of(threads.begin(), threads.end(),
                     [](const fs::path& thread) { return lineOf(thread / "wchan") == placeOfHalt; });
}

}  // namespace

Finding kernelFinding(const std::string& version) {
  try {
    requireNestedFreezes(version);
    return {Weight::good, "kernel",
            translate("Linux {0} can split files behind loop devices and logical volumes", version)};
  } catch (const HostError&) {
    return {
        Weight::notice, "kernel",
        translate("Linux {0} can split files behind loop devices; logical volumes need Linux 6.8 or later", version)};
  }
}

Finding privilegeFinding(const std::string& status) {
  constexpr std::string_view key = "CapEff:\t";
  constexpr int hexadecimal = 16;
  std::uint64_t capabilities = 0;
  const std::size_t begin = status.find(key);
  if (begin != std::string::npos) {
    const char* const digits = status.data() + begin + key.size();
    std::from_chars(digits, status.data() + status.size(), capabilities, hexadecimal);
  }
  if ((capabilities >> CAP_SYS_ADMIN & 1) != 0) {
    return {Weight::good, "privileges", translate("qmfi may freeze and mount")};
  }
  return {Weight::problem, "privileges",
          translate("qmfi may neither freeze nor mount: it lacks CAP_SYS_ADMIN, as in a container")};
}

Finding restoreFinding() {
  try {
    requireRsync();
    return {Weight::good, "restore", translate("rsync can copy files back")};
  } catch (const HostError& error) {
    return {Weight::notice, "restore", translate("files of snapshots cannot be copied back: {0}", error.what())};
  }
}

Findings haltedWriterFindings(const std::string& processes) {
  Findings findings;
  for (const fs::path& process : numberedEntries(processes)) {
    if (!isHalted(process)) continue;
    findings.push_back({Weight::problem, "freeze",
                        translate("process {0} ({1}) waits to change a file system, which is probably frozen",
                                  process.filename().string(), lineOf(process / "comm")),
                        "qmfi thaw MOUNTPOINT"});
  }
  return findings;
}

Findings unreadVariableFindings(const std::vector<std::string>& variables) {
  Findings findings;
  for (const std::string& variable : variables) {
    const std::string name = variable.substr(0, variable.find('='));
    if (!name.starts_with("QMFI_") || isRead(name)) continue;
    findings.push_back(
        {Weight::notice, "settings", translate("nobody reads the variable {0}", name), "unset " + shellWord(name)});
  }
  return findings;
}

}  // namespace qmfi_host
