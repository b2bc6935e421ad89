// A provider examined by all cases.
#ifndef CONFORMANCE_RUN_H
#define CONFORMANCE_RUN_H

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "conformance/conformance_case.h"

namespace qmfi_host {

// What came of a case.
enum class Verdict { passed, failed, notTried };

// The word for it: "passed", "failed", "not tried".
const char* verdictName(Verdict verdict);

// A case that has been tried, or passed over.
struct CaseResult {
  std::string name;  // as the case has it, and the next one
  std::string rule;
  Verdict verdict;
  std::vector<std::string> findings;  // what is not as the rule says, or why the case was not tried
  std::chrono::milliseconds time;     // that it took
};

// What is tried, and how.
struct ConformanceRun {
  std::vector<ConformanceCase> cases;           // in the order in which they are tried
  std::chrono::milliseconds limit;              // for each case
  std::function<void()> checkpoint;             // called ten times a second; ends the run by throwing
  std::function<void(const CaseResult&)> told;  // called when a case has ended
};

// Tries the cases one after another, each in a process of its own. What a case leaves frozen is thawed. The library is
// loaded in those processes only. Throws HostError when that cannot be done. To be called by a process with one thread.
std::vector<CaseResult> examine(const Subject& subject, const ConformanceRun& run);

}  // namespace qmfi_host

#endif
