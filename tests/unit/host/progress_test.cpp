// How the steps of a command are told, and whether.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "build_tree.h"
#include "cli/chosen_progress.h"
#include "cli/command_line.h"
#include "cli/json_progress.h"
#include "cli/progress_steps.h"
#include "cli/text_progress.h"
#include "failure/deferred_signals.h"
#include "failure/host_error.h"
#include "german_texts.h"
#include "support/json_schema.h"
#include "support/text_file.h"

namespace qmfi_host {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using testing::ThrowsMessage;

// A clock that goes on by so much each time when it is asked.
ElapsedTime inStepsOf(milliseconds step) {
  return ElapsedTime([now = std::chrono::steady_clock::time_point(), step]() mutable { return now += step; });
}

void tellOfEverything(const Progress& progress) {
  progress.step(Step::claim, "/mnt/a");
  progress.choice("/mnt/a", "sample", "reflink");
  progress.choice("/dev/a", "sample", "");
  progress.thawed(microseconds(12345), std::nullopt);
  progress.thawed(microseconds(400), "SIGINT");
  progress.retry(2, 6, milliseconds(100));
  progress.step(Step::mount, "/mnt/100%\n\xff");
}

TEST(TextProgress, IsALineForEachStepWithTheTimeInFront) {
  std::ostringstream told;
  tellOfEverything(TextProgress(told, true, inStepsOf(milliseconds(1512))));
  EXPECT_EQ(told.str(),
            "[   1.512 s] asking the providers about /mnt/a\n"
            "[   3.024 s] /mnt/a: provider sample, splitter reflink\n"
            "[   4.536 s] /dev/a: provider sample\n"
            "[   6.048 s] frozen for 12.3 ms\n"
            "[   7.560 s] frozen for 0.4 ms\n"
            "[   9.072 s] interrupted by SIGINT; thawed\n"
            "[  10.584 s] not possible now; attempt 2 of 6 in 100 ms\n"
            "[  12.096 s] mounting /mnt/100%\\x0a\xff\n");
}

TEST(TextProgress, IsInTheUsersLanguage) {
  const GermanTexts german;
  std::ostringstream told;
  tellOfEverything(TextProgress(told, true, inStepsOf(milliseconds(1512))));
  EXPECT_EQ(told.str(),
            "[   1.512 s] die Provider werden nach /mnt/a gefragt\n"
            "[   3.024 s] /mnt/a: Provider sample, Splitter reflink\n"
            "[   4.536 s] /dev/a: Provider sample\n"
            "[   6.048 s] 12.3 ms lang eingefroren\n"
            "[   7.560 s] 0.4 ms lang eingefroren\n"
            "[   9.072 s] durch SIGINT unterbrochen; aufgetaut\n"
            "[  10.584 s] jetzt nicht möglich; Versuch 2 von 6 in 100 ms\n"
            "[  12.096 s] /mnt/100%\\x0a\xff wird eingehängt\n");
}

TEST(TextProgress, TellsOfChoicesWhereMoreIsAskedForOnly) {
  std::ostringstream told;
  const TextProgress progress(told, false, inStepsOf(milliseconds(1)));
  progress.choice("/mnt/a", "sample", "reflink");
  EXPECT_EQ(told.str(), "");
  progress.step(Step::prepare, "reflink");
  EXPECT_EQ(told.str(), "[   0.001 s] preparing the split by reflink\n");
}

TEST(JsonProgress, IsAnObjectForEachEventAsItsSchemaSays) {
  std::ostringstream told;
  tellOfEverything(JsonProgress(told, inStepsOf(milliseconds(5))));
  EXPECT_EQ(told.str(),
            "{\"event\":\"step\",\"step\":\"claim\",\"object\":\"/mnt/a\",\"elapsed_ms\":5}\n"
            "{\"event\":\"choice\",\"object\":\"/mnt/a\",\"provider\":\"sample\",\"splitter\":\"reflink\","
            "\"elapsed_ms\":10}\n"
            "{\"event\":\"choice\",\"object\":\"/dev/a\",\"provider\":\"sample\",\"splitter\":null,\"elapsed_ms\":15}\n"
            "{\"event\":\"thawed\",\"frozen_us\":12345,\"elapsed_ms\":20}\n"
            "{\"event\":\"thawed\",\"frozen_us\":400,\"elapsed_ms\":25}\n"
            "{\"event\":\"interrupted\",\"signal\":\"SIGINT\",\"elapsed_ms\":30}\n"
            "{\"event\":\"retry\",\"attempt\":2,\"attempts\":6,\"pause_ms\":100,\"elapsed_ms\":35}\n"
            "{\"event\":\"step\",\"step\":\"mount\",\"object\":\"/mnt/100%\\n\uFFFD\","
            "\"object_bytes\":\"/mnt/100%25%0A%FF\",\"elapsed_ms\":40}\n");
  for (const std::string& line : testbed_test::jsonOutputOf(told.str()).lines) {
    EXPECT_EQ(testbed_test::schemaErrors("progress", line), "");
  }
}

TEST(Progress, ThatCannotBeWrittenIsLostAndWhatFollowsIsNot) {
  std::ostringstream told;
  told.setstate(std::ios::badbit);
  const TextProgress text(told, false, inStepsOf(milliseconds(1)));
  text.step(Step::claim, "/mnt/a");
  EXPECT_EQ(told.str(), "");
  told << "failed";
  EXPECT_EQ(told.str(), "failed");
}

TEST(Steps, AreInTheirOrderWithKeysOfTheirOwn) {
  std::set<std::string> keys;
  for (const StepName& name : stepNames()) {
    EXPECT_EQ(&nameOf(name.step), &name) << name.key;
    EXPECT_TRUE(keys.insert(name.key).second) << name.key;
  }
  EXPECT_EQ(stepNames().back().step, Step::restore);
}

TEST(Steps, AreInTheSchemaAndInTheDocument) {
  const Json schema = Json::parse(textOf(QMFI_SOURCE_DIR "/share/qmfi/schema/progress.json"));
  Json keys = Json::array();
  const std::string document = textOf(QMFI_SOURCE_DIR "/docs/qmfi.md");
  for (const StepName& name : stepNames()) {
    keys.push_back(name.key);
    EXPECT_NE(document.find("| `" + std::string(name.key) + "` | "), std::string::npos) << name.key;
  }
  EXPECT_EQ(schema["oneOf"][0]["properties"]["step"]["enum"], keys);
}

// "none", "text" or "json", and behind it a blank and "choices" where they are told.
std::string toldBy(const ProgressOptions& options, bool json, bool isTerminal) {
  std::ostringstream told;
  const auto progress = chosenProgress(options, json, isTerminal, told);
  progress->step(Step::claim, "/mnt/a");
  const std::string form = told.str().empty() ? "none" : told.str().starts_with('{') ? "json" : "text";
  told.str("");
  progress->choice("/mnt/a", "sample", "reflink");
  return form + (told.str().empty() ? "" : " choices");
}

TEST(ChosenProgress, SuitsTheOutputUnlessTheOptionsSayOtherwise) {
  const struct {
    ProgressOptions options;
    bool json;
    bool isTerminal;
    const char* told;
  } cases[] = {
      {{}, false, false, "none"},
      {{}, false, true, "text"},
      {{}, true, true, "none"},
      {{.quiet = true}, false, true, "none"},
      {{.quiet = true, .form = "none"}, false, true, "none"},
      {{.verbose = true}, false, false, "text choices"},
      {{.verbose = true}, true, false, "json choices"},
      {{.verbose = true, .form = "text"}, false, true, "text choices"},
      {{.verbose = true, .form = "json"}, false, false, "json choices"},
      {{.form = "none"}, false, true, "none"},
      {{.form = "text"}, false, false, "text"},
      {{.form = "json"}, false, false, "json choices"},
      {{.form = "json"}, true, true, "json choices"},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(toldBy(one.options, one.json, one.isTerminal), one.told)
        << one.options.quiet << one.options.verbose << one.options.form << one.json << one.isTerminal;
  }
}

TEST(ChosenProgress, RefusesWhatContradictsItself) {
  const struct {
    ProgressOptions options;
    bool json;
    const char* text;
  } cases[] = {
      {{.quiet = true, .verbose = true}, false, "--quiet and --verbose cannot be given together"},
      {{.quiet = true, .form = "text"}, false, "--quiet and --progress=text cannot be given together"},
      {{.quiet = true, .form = "json"}, false, "--quiet and --progress=json cannot be given together"},
      {{.verbose = true, .form = "none"}, false, "--verbose and --progress=none cannot be given together"},
      {{.form = "text"},
       true,
       "--json and --progress=text cannot be given together: each line of the errors is JSON then"},
  };
  for (const auto& one : cases) {
    EXPECT_THAT([&] { toldBy(one.options, one.json, true); }, ThrowsMessage<UsageError>(one.text));
  }
}

struct Ended {
  int status;
  std::string errors;
};

Ended run(std::vector<const char*> words) {
  words.insert(words.begin(), "qmfi");
  std::ostringstream out;
  std::ostringstream errors;
  const int status = runCommandLine(static_cast<int>(words.size()), words.data(), out, errors);
  return {status, errors.str()};
}

TEST(ProgressOptions, MayStandBeforeAndBehindTheCommand) {
  constexpr int wrongUsage = 2;
  for (const std::vector<const char*>& words :
       {std::vector{"-q", "-v", "snapshot", "list"}, std::vector{"snapshot", "--quiet", "list", "-v"},
        std::vector{"snapshot", "list", "-q", "--verbose"}}) {
    const Ended ended = run(words);
    EXPECT_EQ(ended.status, wrongUsage) << testing::PrintToString(words);
    EXPECT_EQ(ended.errors, "qmfi: --quiet and --verbose cannot be given together\n");
  }
  EXPECT_EQ(run({"explain", "--quiet"}).status, 0);
  EXPECT_EQ(run({"explain", "--verbose"}).errors, "");
  EXPECT_EQ(run({"explain", "--progress", "json"}).errors, "");
  EXPECT_EQ(run({"explain", "--progress", "loud"}).status, wrongUsage);
}

TEST(Notices, AreNotToldByAQuietCommandButByTheNextOne) {
  const DeferredSignals signals;
  std::raise(SIGTERM);
  testing::internal::CaptureStderr();
  EXPECT_EQ(run({"explain", "--quiet"}).status, 0);
  EXPECT_EQ(run({"explain"}).status, 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "qmfi: SIGTERM has come, and ends qmfi only now that its work is done\n");
  int signal = 0;
  sigwait(&DeferredSignals::all(), &signal);
  EXPECT_EQ(signal, SIGTERM);
}

}  // namespace
}  // namespace qmfi_host
