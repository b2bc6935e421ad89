// qmfi provider verify LIBRARY [--on MOUNTPOINT]...
#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/written_file.h"
#include "conformance/conformance_report.h"
#include "failure/host_error.h"
#include "provider/trusted_files.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr int usualSeconds = 20;
constexpr int mostSeconds = 600;

// Whoever is not root examines what he could run himself.
void requireTrustedByRoot(const Subject& subject) {
  if (geteuid() != 0) return;
  for (const auto& file : filesOfProvider(subject.library.parent_path(), subject.name)) requireTrusted(file);
}

void printList(std::ostream& out, const ConformanceCases& cases) {
  for (const ConformanceCase& one : cases) out << one.name << ": " << one.rule << "\n";
}

class ProviderVerify : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.argument("LIBRARY", m_library, translatable("The provider's shared library, lib<name>.so"));
    options.texts(
        "--on", m_mountPoints, "MOUNTPOINT",
        translatable("Freezes this file system too, several times for some seconds; may be given again (needs "
                     "root)"));
    options.texts("--case", m_patterns, "PATTERN",
                  translatable("Only cases of these names, as \"messages.*\"; may be given again"));
    options.number("--time", m_seconds, 1, mostSeconds, "SECONDS",
                   translatable("How long each case may take (default: 20)"));
    options.text("--junit", m_junitFile, "FILE", translatable("Writes a report for build servers there"));
    options.flag("--list", m_isList, translatable("Lists the cases with the rule of each, and tries none"));
  }

  bool needsRoot() const override { return !m_mountPoints.empty(); }
  WrongSettings wrongSettings() const override { return WrongSettings::leave; }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    ConformanceCases cases = chosenCases();
    if (m_isList) {
      printList(out, cases);
      return ExitStatus::done;
    }
    std::vector<std::string> mountPoints;
    std::transform(m_mountPoints.begin(), m_mountPoints.end(), std::back_inserter(mountPoints), canonicalPath);
    const Subject subject = subjectOf(m_library, mountPoints);
    requireTrustedByRoot(subject);
    const std::vector<CaseResult> results =
        examine(subject, {.cases = std::move(cases),
                          .limit = std::chrono::seconds(m_seconds.value_or(usualSeconds)),
                          .checkpoint = [&] { settings.signals->throwIfPending(); },
                          .told = [&](const CaseResult& result) { tell(settings, out, result); }});
    if (settings.json) out << jsonDocument(jsonOfReport(subject, results));
    if (!settings.json) printSummary(out, results);
    if (m_junitFile) {
      writeAskedFile(*m_junitFile, junitOfReport(subject, results),
                     translate("the report {0} cannot be written", *m_junitFile));
    }
    return hasVerdict(results, Verdict::failed) ? ExitStatus::failed : ExitStatus::done;
  }

 private:
  ConformanceCases chosenCases() const {
    ConformanceCases cases = allConformanceCases();
    if (m_patterns.empty()) return cases;
    std::erase_if(cases, [&](const ConformanceCase& one) {
      return one.needs != CaseNeeds::first &&
             std::none_of(m_patterns.begin(), m_patterns.end(),
                          [&](const auto& pattern) { return fnmatch(pattern.c_str(), one.name.c_str(), 0) == 0; });
    });
    return cases;
  }

  // What is as it should be is counted at the end.
  static void tell(const Settings& settings, std::ostream& out, const CaseResult& result) {
    if (!settings.json && result.verdict == Verdict::failed) printCase(out, result);
    out.flush();
  }

  std::string m_library;
  std::vector<std::string> m_mountPoints;
  std::vector<std::string> m_patterns;
  std::optional<int> m_seconds;
  std::optional<std::string> m_junitFile;
  bool m_isList = false;
};

}  // namespace

std::unique_ptr<Command> makeProviderVerify() {
  return std::make_unique<ProviderVerify>();
}

}  // namespace qmfi_host
