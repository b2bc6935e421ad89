// What the examination of a provider has come to, for people and for programs.
#ifndef CONFORMANCE_REPORT_H
#define CONFORMANCE_REPORT_H

#include <ostream>
#include <string>
#include <vector>

#include "conformance/conformance_run.h"
#include "failure/json_text.h"

namespace qmfi_host {

// The lines of one case: its verdict, name and rule, and below it what was found.
void printCase(std::ostream& out, const CaseResult& result);

// The last line, which counts the verdicts, below one for each reason why cases were not tried.
void printSummary(std::ostream& out, const std::vector<CaseResult>& results);

// All of it, with how often each verdict was given.
Json jsonOfReport(const Subject& subject, const std::vector<CaseResult>& results);

// The same as JUnit XML, which build servers read: a suite of the provider's name. Bytes that XML cannot hold are
// question marks.
std::string junitOfReport(const Subject& subject, const std::vector<CaseResult>& results);

// Whether a verdict was given.
bool hasVerdict(const std::vector<CaseResult>& results, Verdict verdict);

}  // namespace qmfi_host

#endif
