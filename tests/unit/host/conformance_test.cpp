// Providers examined: a sound one, and broken ones, each of which is caught by the case that names its fault.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <set>
#include <sstream>

#include "build_tree.h"
#include "conformance/conformance_report.h"
#include "conformance/conformance_run.h"
#include "failure/host_error.h"
#include "support/broken_provider/broken_folder.h"
#include "support/environment.h"
#include "support/json_schema.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

class Conformance : public testing::Test {
 protected:
  // The cases of these names, and those that must pass before.
  static ConformanceCases casesNamed(const std::string& name) {
    ConformanceCases cases = allConformanceCases();
    std::erase_if(cases, [&](const ConformanceCase& one) { return one.needs != CaseNeeds::first && one.name != name; });
    return cases;
  }

  static std::vector<CaseResult> examined(const std::string& library, ConformanceCases cases,
                                          std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    return examine(subjectOf(library, {}),
                   {.cases = std::move(cases), .limit = limit, .checkpoint = [] {}, .told = [](const CaseResult&) {}});
  }

  static CaseResult resultOf(const std::vector<CaseResult>& results, const std::string& name) {
    const auto found = std::find_if(results.begin(), results.end(), [&](const auto& one) { return one.name == name; });
    return found != results.end() ? *found : CaseResult{"", "", Verdict::notTried, {"there is no such case"}, {}};
  }

  static std::vector<std::string> failedIn(const std::vector<CaseResult>& results) {
    std::vector<std::string> lines;
    for (const CaseResult& result : results) {
      if (result.verdict != Verdict::failed) continue;
      for (const std::string& finding : result.findings) lines.push_back(result.name + ": " + finding);
    }
    return lines;
  }

  std::string broken(const std::string& fault) { return brokenProviderIn(m_directory.path(), fault); }

  TemporaryDirectory m_directory;
  EnvironmentVariable m_logDirectory{"QMFI_LOG_DIR", m_directory.path()};
  EnvironmentVariable m_catalogs{"QMFI_CATALOG_DIR", QMFI_BINARY_DIR "/share/qmfi/catalogs"};
};

TEST_F(Conformance, TheProviderForXfsAndExt4Passes) {
  const auto results = examined(QMFI_BINARY_DIR "/lib/liblinuxfsfi.so", allConformanceCases());
  EXPECT_THAT(failedIn(results), IsEmpty());
  EXPECT_EQ(resultOf(results, "process.threads").verdict, Verdict::passed);
  EXPECT_THAT(resultOf(results, "file-systems.freeze").findings, ElementsAre("no file system is given by --on"));
  EXPECT_THAT(resultOf(results, "file-systems.order").findings, ElementsAre("no two file systems are given by --on"));
}

TEST_F(Conformance, AProviderThatHandsOnToItPassesWithoutAFault) {
  EXPECT_THAT(failedIn(examined(broken("none"), allConformanceCases())), IsEmpty());
}

TEST_F(Conformance, TheTemplatePasses) {
  const EnvironmentVariable catalogs("QMFI_CATALOG_DIR", QMFI_BINARY_DIR "/template/catalogs");
  EXPECT_THAT(failedIn(examined(QMFI_BINARY_DIR "/template/libsamplefi.so", allConformanceCases())), IsEmpty());
}

struct PlantedFault {
  const char* name;
  const char* caughtBy;
};

void PrintTo(const PlantedFault& fault, std::ostream* out) {
  *out << fault.name;
}

class BrokenProvider : public Conformance, public testing::WithParamInterface<PlantedFault> {};

TEST_P(BrokenProvider, IsCaughtByTheCaseThatNamesItsFault) {
  const auto& [fault, name] = GetParam();
  const std::chrono::seconds limit(std::string(fault) == "hangs" ? 5 : 60);
  const auto results = examined(broken(fault), casesNamed(name), limit);
  EXPECT_EQ(resultOf(results, name).verdict, Verdict::failed)
      << testing::PrintToString(resultOf(results, name).findings);
  const auto failures = std::count_if(results.begin(), results.end(),
                                      [](const CaseResult& one) { return one.verdict == Verdict::failed; });
  EXPECT_EQ(failures, 1) << testing::PrintToString(failedIn(results));
}

constexpr PlantedFault plantedFaults[] = {
#define BROKEN_FAULT(name, case) {#name, case},
#include "support/broken_provider/broken_faults.def"
};

INSTANTIATE_TEST_SUITE_P(Faults, BrokenProvider, testing::ValuesIn(plantedFaults),
                         [](const auto& information) { return information.param.name; });

TEST_F(Conformance, ALibraryThatLacksAFunctionIsCaughtAndNotTriedFurther) {
  const std::string folder = m_directory.makeDirectory("lacking");
  fs::copy_file(QMFI_BINARY_DIR "/broken/lacksFunction/libbrokenfi.so", folder + "/libbrokenfi.so");
  const auto results = examined(folder + "/libbrokenfi.so", allConformanceCases());
  EXPECT_THAT(resultOf(results, "library.exports").findings,
              ElementsAre("there is no function brokenfi_fi_pgn_deinit_node"));
  EXPECT_THAT(resultOf(results, "nodes.claim").findings, ElementsAre("the library cannot be used"));
}

TEST_F(Conformance, WhatIsNoLibraryIsCaught) {
  const auto results = examined(m_directory.write("libbrokenfi.so", "#!/bin/sh\n"), allConformanceCases());
  EXPECT_THAT(resultOf(results, "library.loads").findings,
              ElementsAre(m_directory.file("libbrokenfi.so") + ": file too short"));
}

TEST_F(Conformance, ADescriptorThatMakesNoSenseIsCaught) {
  const std::string library = broken("none");
  m_directory.write("none/brokenfi.provider", "timeout = 3\n");
  const auto results = examined(library, casesNamed("library.descriptor"));
  EXPECT_THAT(resultOf(results, "library.descriptor").findings,
              ElementsAre(m_directory.file("none/brokenfi.provider") +
                          ":1: timeout must be a table; mend the file, or install the provider anew"));
}

TEST_F(Conformance, WhatAProviderPrintsAndHowItEndsIsTold) {
  EXPECT_THAT(resultOf(examined(broken("prints"), casesNamed("process.round")), "process.round").findings,
              ElementsAre("the provider printed: claiming\n"));
  EXPECT_THAT(resultOf(examined(broken("endsProcess"), casesNamed("nothing.online")), "nothing.online").findings,
              ElementsAre("the process ended with status 3, last in online of null pointers and 0"));
  EXPECT_THAT(resultOf(examined(broken("throwsAtNull"), casesNamed("nothing.config")), "nothing.config").findings,
              ElementsAre("an exception left the call: config of null pointers and 0"));
  const auto hanging = examined(broken("hangs"), casesNamed("nothing.getattr"), std::chrono::seconds(1));
  EXPECT_THAT(resultOf(hanging, "nothing.getattr").findings,
              ElementsAre("the process took longer than 1 s, last in getattr of null pointers and 0"));
}

TEST_F(Conformance, EveryCaseHasANameOfItsOwnAndARule) {
  std::set<std::string> names;
  for (const ConformanceCase& one : allConformanceCases()) {
    EXPECT_TRUE(names.insert(one.name).second) << one.name;
    EXPECT_THAT(one.name, testing::MatchesRegex("[a-z-]+\\.[a-zA-Z_-]+"));
    EXPECT_THAT(one.rule, testing::EndsWith("."));
  }
}

TEST_F(Conformance, ANameThatIsNoProvidersIsWrongUsage) {
  for (const char* const name : {"provider.so", "lib.so", "liba.b.so", "libsample.dll"}) {
    const std::string library = m_directory.write(name, "");
    EXPECT_THROW(subjectOf(library, {}), UsageError) << name;
  }
  EXPECT_THAT([] { subjectOf("/nonexistent/libsample.so", {}); },
              ThrowsMessage<HostError>("there is no library /nonexistent/libsample.so"));
}

TEST_F(Conformance, WithoutAFileSystemThereIsNothingToFreeze) {
  EXPECT_THAT([&] { subjectOf(broken("none"), {"/proc"}); },
              ThrowsMessage<HostError>("no file system of a device is mounted on /proc"));
}

TEST_F(Conformance, ARunIsGivenUpWhereTheCheckpointThrows) {
  const auto stopped = [&] {
    examine(subjectOf(broken("hangs"), {}), {.cases = casesNamed("nothing.getattr"),
                                             .limit = std::chrono::hours(1),
                                             .checkpoint = [] { throw HostError("given up"); },
                                             .told = [](const CaseResult&) {}});
  };
  EXPECT_THAT(stopped, ThrowsMessage<HostError>("given up"));
}

// A report of three cases, which nothing was asked for.
class ConformanceReport : public testing::Test {
 protected:
  Subject m_subject{.library = "/lib/libsample.so", .name = "sample"};
  std::vector<CaseResult> m_results = {
      {"start.answers", "It starts.", Verdict::passed, {}, std::chrono::milliseconds(12)},
      {"nodes.claim",
       "It claims.",
       Verdict::failed,
       {"it does \"not\"\x01", "at <all>"},
       std::chrono::milliseconds(1500)},
      {"file-systems.freeze", "It freezes.", Verdict::notTried, {"no file system"}, {}}};
};

TEST_F(ConformanceReport, AsText) {
  std::ostringstream out;
  printCase(out, m_results[1]);
  printSummary(out, m_results);
  EXPECT_EQ(out.str(),
            "failed    nodes.claim\n"
            "          rule: It claims.\n"
            "          it does \"not\"\x01\n"
            "          at <all>\n"
            "1 not tried: no file system\n"
            "3 cases: 1 passed, 1 failed, 1 not tried\n");
}

TEST_F(ConformanceReport, AsJson) {
  const Json report = jsonOfReport(m_subject, m_results);
  EXPECT_EQ(testbed_test::schemaErrors("provider-verify", jsonDocument(report)), "");
  EXPECT_EQ(report["failed"], 1);
  EXPECT_EQ(report["cases"][1]["findings"][1], "at <all>");
  EXPECT_EQ(report["cases"][1]["outcome"], "failed");
  EXPECT_EQ(report["cases"][1]["time_ms"], 1500);
}

TEST_F(ConformanceReport, AsXmlForBuildServers) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(junitOfReport(m_subject, m_results).c_str()));
  const pugi::xml_node suite = document.child("testsuites").child("testsuite");
  EXPECT_STREQ(suite.attribute("name").value(), "sample");
  EXPECT_EQ(suite.attribute("tests").as_int(), 3);
  EXPECT_EQ(suite.attribute("failures").as_int(), 1);
  EXPECT_EQ(suite.attribute("skipped").as_int(), 1);
  const pugi::xml_node passed = suite.first_child();
  EXPECT_STREQ(passed.attribute("classname").value(), "sample.start");
  EXPECT_STREQ(passed.attribute("name").value(), "answers");
  EXPECT_STREQ(passed.attribute("time").value(), "0.012");
  EXPECT_FALSE(passed.first_child());
  const pugi::xml_node failed = passed.next_sibling();
  EXPECT_STREQ(failed.child("failure").attribute("message").value(), "it does \"not\"?");
  EXPECT_STREQ(failed.child("failure").child_value(), "It claims.\nit does \"not\"?\nat <all>");
  EXPECT_STREQ(failed.next_sibling().child("skipped").attribute("message").value(), "no file system");
}

}  // namespace
}  // namespace qmfi_host
