// qmfi doctor
#include <unistd.h>

#include <algorithm>
#include <iomanip>
#include <nlohmann/json.hpp>

#include "cfimounttable.h"
#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/mount_namespace.h"
#include "cli/present_status.h"
#include "doctor/hook_findings.h"
#include "doctor/machine_findings.h"
#include "doctor/provider_findings.h"
#include "doctor/settings_findings.h"
#include "doctor/state_findings.h"
#include "doctor/storage_findings.h"
#include "failure/host_error.h"
#include "failure/json_text.h"
#include "failure/one_line.h"
#include "system/small_file.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr const char* processTable = "/proc";

std::vector<std::string> variables() {
  std::vector<std::string> all;
  for (const char* const* variable = environ; *variable != nullptr; ++variable) all.emplace_back(*variable);
  return all;
}

Finding mountNamespaceFinding() {
  try {
    requireMachinesMountNamespace();
    return {Weight::good, "mounts", translate("other programs see what qmfi mounts")};
  } catch (const HostError& error) {
    return {Weight::notice, "mounts", error.what()};
  }
}

Findings machineFindings() {
  const std::string status = qmfi_system::readSmallFile(std::string(processTable) + "/self/status").value_or("");
  Findings findings = {kernelFinding(runningKernel()), privilegeFinding(status), mountNamespaceFinding(),
                       restoreFinding()};
  append(findings, haltedWriterFindings(processTable));
  append(findings, unreadVariableFindings(variables()));
  return findings;
}

Findings stateFindings(const Settings& settings, const Splitters& splitters) {
  Findings findings = {directoryFinding(translate("state"), settings.stateDirectory)};
  try {
    const std::vector<SnapshotStatus> known = knownSnapshots(settings, LookAt::copy);
    append(findings, snapshotFindings(known));
    append(findings, unknownSnapshotFindings(known, splitters));
    append(findings, strangeMountFindings(known, qmfi_pdk_4_4::readMountTable()));
  } catch (const HostError& error) {
    findings.push_back({Weight::problem, "state", error.what(), "qmfi recover --rescan"});
  }
  return findings;
}

void printJson(std::ostream& out, const Findings& findings) {
  Json all = Json::array();
  for (const Finding& finding : findings) {
    all.push_back({{"weight", weightName(finding.weight)},
                   {"subject", finding.subject},
                   {"text", finding.text},
                   {"mend", finding.mend.empty() ? Json() : Json(finding.mend)}});
  }
  out << jsonDocument(all);
}

void printFinding(std::ostream& out, const Finding& finding) {
  constexpr int weightWidth = 9;
  constexpr int subjectWidth = 12;
  const std::string place(weightWidth + subjectWidth, ' ');
  out << std::left << std::setw(weightWidth) << weightName(finding.weight) << std::setw(subjectWidth) << finding.subject
      << inOneLine(finding.text) << "\n";
  if (!finding.mend.empty()) out << place << "-> " << inOneLine(finding.mend) << "\n";
}

// Looks and changes nothing, so that it can be run at any time.
class Doctor : public Command {
 public:
  void declare(CommandOptions& /*options*/) override {}

  WrongSettings wrongSettings() const override { return WrongSettings::leave; }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    Findings findings = machineFindings();
    append(findings, settingsFindings(settings.files));
    append(findings, hookFindings(settings.create.hookDirectory));
    OpenProviders providers(settings);
    findings.push_back(directoryFinding(translate("providers"), settings.providerDirectory));
    append(findings, providerFindings(providers, providers.names()));
    const MachineSplitters splitters(splitterSettings(settings));
    append(findings, splitterFindings(splitters.all()));
    append(findings, roomFindings(LvmProgram(LvmSettings{}.program, requireTrusted)));
    append(findings, stateFindings(settings, splitters.all()));
    if (settings.json) {
      printJson(out, findings);
    } else {
      for (const Finding& finding : findings) printFinding(out, finding);
    }
    const bool isWell = std::none_of(findings.begin(), findings.end(),
                                     [](const Finding& finding) { return finding.weight == Weight::problem; });
    return isWell ? ExitStatus::done : ExitStatus::failed;
  }
};

}  // namespace

std::unique_ptr<Command> makeDoctor() {
  return std::make_unique<Doctor>();
}

}  // namespace qmfi_host
