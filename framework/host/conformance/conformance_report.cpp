// Lines, JSON and XML.
#include "conformance/conformance_report.h"

#include <algorithm>
#include <iomanip>
#include <map>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <sstream>

#include "failure/one_line.h"
#include "failure/plain_text.h"

namespace qmfi_host {

namespace {

constexpr Verdict verdicts[] = {Verdict::passed, Verdict::failed, Verdict::notTried};

std::ptrdiff_t countOf(const std::vector<CaseResult>& results, Verdict verdict) {
  return std::count_if(results.begin(), results.end(),
                       [verdict](const CaseResult& result) { return result.verdict == verdict; });
}

Json jsonOfCase(const CaseResult& result) {
  return {{"name", result.name},
          {"rule", result.rule},
          {"outcome", verdictName(result.verdict)},
          {"findings", result.findings},
          {"time_ms", result.time.count()}};
}

std::string linesOf(const CaseResult& result) {
  std::string lines = result.rule;
  for (const std::string& finding : result.findings) lines += "\n" + finding;
  return lines;
}

std::string secondsOf(std::chrono::milliseconds time) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(3) << std::chrono::duration<double>(time).count();
  return text.str();
}

// Build servers show the part before the dot as the class of a case.
void addCase(pugi::xml_node suite, const std::string& provider, const CaseResult& result) {
  const std::size_t dot = result.name.find('.');
  pugi::xml_node node = suite.append_child("testcase");
  node.append_attribute("classname") = (provider + "." + result.name.substr(0, dot)).c_str();
  node.append_attribute("name") = result.name.substr(dot + 1).c_str();
  node.append_attribute("time") = secondsOf(result.time).c_str();
  if (result.verdict == Verdict::passed) return;
  const std::string first = result.findings.empty() ? std::string() : result.findings.front();
  pugi::xml_node told = node.append_child(result.verdict == Verdict::failed ? "failure" : "skipped");
  told.append_attribute("message") = plainText(inOneLine(first)).c_str();
  told.append_child(pugi::node_pcdata).set_value(plainText(linesOf(result)).c_str());
}

}  // namespace

bool hasVerdict(const std::vector<CaseResult>& results, Verdict verdict) {
  return countOf(results, verdict) > 0;
}

void printCase(std::ostream& out, const CaseResult& result) {
  out << std::left << std::setw(10) << verdictName(result.verdict) << result.name << "\n";
  if (result.verdict == Verdict::failed) out << "          rule: " << result.rule << "\n";
  for (const std::string& finding : result.findings) out << "          " << inOneLine(finding) << "\n";
}

void printSummary(std::ostream& out, const std::vector<CaseResult>& results) {
  std::map<std::string, int> reasons;
  for (const CaseResult& result : results) {
    if (result.verdict == Verdict::notTried) ++reasons[result.findings.front()];
  }
  for (const auto& [reason, count] : reasons) out << count << " not tried: " << reason << "\n";
  out << results.size() << " cases";
  const char* separator = ": ";
  for (const Verdict verdict : verdicts) {
    out << separator << countOf(results, verdict) << " " << verdictName(verdict);
    separator = ", ";
  }
  out << "\n";
}

Json jsonOfReport(const Subject& subject, const std::vector<CaseResult>& results) {
  Json cases = Json::array();
  for (const CaseResult& result : results) cases.push_back(jsonOfCase(result));
  Json mountPoints = Json::array();
  for (const FileSystemPlace& place : subject.places) mountPoints.push_back(place.mountPoint);
  return {{"provider", subject.name},
          {"library", subject.library.string()},
          {"mount_points", mountPoints},
          {"passed", countOf(results, Verdict::passed)},
          {"failed", countOf(results, Verdict::failed)},
          {"not_tried", countOf(results, Verdict::notTried)},
          {"cases", cases}};
}

std::string junitOfReport(const Subject& subject, const std::vector<CaseResult>& results) {
  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  pugi::xml_node suite = document.append_child("testsuites").append_child("testsuite");
  suite.append_attribute("name") = subject.name.c_str();
  suite.append_attribute("tests") = results.size();
  suite.append_attribute("failures") = countOf(results, Verdict::failed);
  suite.append_attribute("skipped") = countOf(results, Verdict::notTried);
  for (const CaseResult& result : results) addCase(suite, subject.name, result);
  std::ostringstream text;
  document.save(text, "  ");
  return text.str();
}

}  // namespace qmfi_host
