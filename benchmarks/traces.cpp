// The trace log: scopes and records, beside the shortest way to write a line and beside spdlog.
#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "cfitracelog.h"
#include "in_process.h"
#include "support/temporary_directory.h"
#include "yardsticks/plain_trace.h"

namespace {

using namespace qmfi_pdk_4_4;
namespace fs = std::filesystem;

constexpr const char* command = "/bin/mkdir -p  /srv/data_alt20261121060708";

class LogDirectory : public TemporaryDirectory {
 public:
  // Logs that are written without end would fill the disk.
  void empty() const {
    for (const auto& file : fs::directory_iterator(path())) fs::resize_file(file.path(), 0);
  }
};

CFiTraceLogSPtr openLog(const LogDirectory& directory, int level) {
  CFiTraceLogSPtr log(true);
  ACE_String_Base<char> place(directory.path().c_str());
  ACE_String_Base<char> second;
  log->initialize(ACE_String_Base<char>("ours"), place, second, level, false);
  return log;
}

void compareScopes(const CFiTraceLogSPtr& log, const std::shared_ptr<spdlog::logger>& other) {
  const auto ours = [=](benchmark::State& state) {
    for (auto round : state) {
      const CFiTraceLogFunction scope(log, "buildAltTree", 104, "providers/qmfs/qmfs_plugin_alttree.cpp");
      benchmark::ClobberMemory();
    }
  };
  const auto theirs = [=](benchmark::State& state) {
    for (auto round : state) {
      other->debug("Entering Function {} [{}, {}]", "buildAltTree", 104, "qmfs_plugin_alttree.cpp");
      benchmark::ClobberMemory();
    }
  };
  bench::compare("3", "trace scope, filtered", ours, {{"one filtered call of spdlog", theirs, 0.3}}, {.noise = true});
}

void compareRecords(const LogDirectory& directory, const CFiTraceLogSPtr& log,
                    const std::shared_ptr<spdlog::logger>& other, int threads) {
  const auto emptying = [&directory](const bench::Work& work) -> bench::Work {
    return [work, &directory](benchmark::State& state) {
      if (state.thread_index() == 0) directory.empty();
      work(state);
    };
  };
  const auto ours = [=](benchmark::State& state) {
    for (auto round : state) log->trace(CFI_TRACE_PROGRESS, "Command : %s", command);
  };
  const auto plain = [path = directory.path() + "/plain.log"](benchmark::State& state) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    for (auto round : state) {
      if (!bench::writeLine(file, 3, "Command : %s", command)) return state.SkipWithError("not written");
    }
    close(file);
  };
  const auto theirs = [=](benchmark::State& state) {
    for (auto round : state) other->info("Command : {}", command);
  };
  const double farther = threads > 1 ? 0.85 : 0;
  bench::Settings settings = bench::settingsFor(threads);
  settings.noise = true;
  bench::compare(
      "4", "trace record, " + std::to_string(threads) + (threads > 1 ? " threads" : " thread"), emptying(ours),
      {{"formatting and one write", emptying(plain), 1.05}, {"spdlog flushing", emptying(theirs), farther}}, settings);
}

}  // namespace

int main(int count, char** words) {
  const LogDirectory directory;
  const CFiTraceLogSPtr log = openLog(directory, CFI_TRACE_PROGRESS);
  const auto other = spdlog::basic_logger_mt("other", directory.path() + "/spdlog.log");
  other->set_pattern("%Y-%m-%dT%H:%M:%S.%fZ %P.%t L%l %v", spdlog::pattern_time_type::utc);
  other->set_level(spdlog::level::info);
  other->flush_on(spdlog::level::info);
  compareScopes(log, other);
  compareRecords(directory, log, other, 1);
  compareRecords(directory, log, other, 2);
  return bench::runComparisons(count, words);
}
