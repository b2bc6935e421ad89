// No space from one write on, for some writes or for good, in each storage that qmfi uses; then there is space again,
// and qmfi recovers. What exists can be deleted before there is.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <tuple>
#include <utility>

#include "call_record.h"
#include "snapshot_campaigns.h"
#include "snapshot_runs.h"
#include "support/supervision/storage_calls.h"
#include "support/text_file.h"

namespace faults {

namespace {

constexpr std::size_t quickCases = 1000;

// For how many writes there is no space.
constexpr std::uint64_t forGood = std::numeric_limits<std::uint64_t>::max();

// When a file system tells that it is full: at once, or when what was written is to be written out.
enum class Told { atOnce, late };

// From the first to before the last of the calls that need room none of them gets it; counts from 1.
class NoSpace : public CallWatcher {
 public:
  NoSpace(const Storage& storage, Told told, int error, std::uint64_t first, std::uint64_t length)
      : m_storage(storage), m_told(told), m_error(error), m_first(first), m_length(length) {}

  Decision before(const SystemCall& call) override {
    if (m_told == Told::late ? !m_storage.isWrittenOut(call) : !m_storage.mustGrow(call)) return {};
    ++m_count;
    if (m_count < m_first || m_count - m_first >= m_length) return {};
    return {.kind = Decision::Kind::fail, .error = m_error, .tellMore = true};
  }
  std::uint64_t count() const { return m_count; }

 private:
  const Storage& m_storage;
  const Told m_told;
  const int m_error;
  const std::uint64_t m_first;
  const std::uint64_t m_length;
  std::uint64_t m_count = 0;
};

struct NamedStorage {
  const char* name;
  Storage storage;
};

const std::vector<NamedStorage>& storages() {
  static const std::vector<NamedStorage> all = {
      {"state", Storage({"/var/lib/qmfi"})},
      {"log", Storage({"/var/log/qmfi"})},
      {"volumes", Storage({"/qmfs-pool"})},
      {"alternates", Storage({"/run/qmfi"})},
      {"everything", Storage({"/var/lib/qmfi", "/var/log/qmfi", "/qmfs-pool", "/run/qmfi"})},
  };
  return all;
}

// How often each storage would be asked for space.
class Counters : public CallWatcher {
 public:
  struct Counted {
    const NamedStorage* storage;
    Told told;
    NoSpace counter;
  };

  Counters() {
    for (const NamedStorage& storage : storages()) {
      for (const Told told : {Told::atOnce, Told::late}) {
        m_all.push_back({&storage, told, NoSpace(storage.storage, told, 0, forGood, 0)});
      }
    }
  }
  Decision before(const SystemCall& call) override {
    for (Counted& counted : m_all) counted.counter.before(call);
    return {};
  }
  const std::vector<Counted>& all() const { return m_all; }

 private:
  std::vector<Counted> m_all;
};

// Most of the calls of a creation have been made then, and the file systems are thawed.
constexpr int callsBeforeEnd = 100;

class CountCalls : public CallWatcher {
 public:
  Decision before(const SystemCall& /*call*/) override {
    ++m_count;
    return {};
  }
  int count() const { return m_count; }

 private:
  int m_count = 0;
};

// What the command leaves of the snapshot: it makes or removes it unless it fails, keeps it whatever happens, or does
// nothing with snapshots.
enum class Effect { makes, removes, keeps, none };

struct Command {
  const char* name;
  Effect effect;
  std::function<void(SnapshotRuns& runs)> prepare;
  std::function<Ended(SnapshotRuns& runs, CallWatcher* watcher)> run;
};

Command commandOf(Step step, Effect effect, std::vector<Step> before) {
  return {nameOf(step), effect,
          [before = std::move(before)](SnapshotRuns& runs) {
            for (const Step one : before) runs.require(one);
          },
          [step](SnapshotRuns& runs, CallWatcher* watcher) { return runs.run(step, watcher); }};
}

Ended recover(SnapshotRuns& runs, CallWatcher* watcher) {
  return runs.recover(watcher);
}

// calls: about how many the interrupted command has made before it is killed.
std::vector<Command> allCommands(int callsOfCreation, int callsOfUnmount) {
  return {
      commandOf(Step::create, Effect::makes, {}),
      commandOf(Step::remove, Effect::removes, {Step::create}),
      commandOf(Step::unmount, Effect::keeps, {Step::create}),
      commandOf(Step::mount, Effect::keeps, {Step::create, Step::unmount}),
      commandOf(Step::show, Effect::keeps, {Step::create}),
      commandOf(Step::list, Effect::keeps, {Step::create}),
      commandOf(Step::disable, Effect::none, {}),
      commandOf(Step::enable, Effect::none, {Step::disable}),
      {"recover a creation", Effect::removes,
       [callsOfCreation](SnapshotRuns& runs) {
         EndAtCall end(callsOfCreation - callsBeforeEnd);
         runs.run(Step::create, &end);
       },
       recover},
      {"recover an unmount", Effect::keeps,
       [callsOfUnmount](SnapshotRuns& runs) {
         runs.require(Step::create);
         EndAtCall end(callsOfUnmount - callsBeforeEnd);
         runs.run(Step::unmount, &end);
       },
       recover},
  };
}

struct SpaceCase {
  std::size_t fileSystems;
  const Command* command;
  const NamedStorage* storage;
  Told told;
  int error;
  std::uint64_t first;
  std::uint64_t length;

  std::string text() const {
    const std::string extent = length == forGood ? "from write " : "for " + std::to_string(length) + " writes from ";
    return std::string(command->name) + " of " + std::to_string(fileSystems) + ": " + strerrorname_np(error) + " " +
           extent + std::to_string(first) + (told == Told::late ? " written out" : "") + " for " + storage->name;
  }
};

class SpaceRuns {
 public:
  SpaceRuns(Campaign& campaign, const Extent& extent)
      : m_campaign(campaign),
        m_mountPoints(extent.mountPoints),
        m_runs(madeReady(campaign, m_mountPoints), extent.mountPoints),
        m_commands(allCommands(callsOf(Step::create, {}), callsOf(Step::unmount, {Step::create}))) {}

  std::vector<SpaceCase> allCases();
  void run(const SpaceCase& one);

 private:
  static Campaign& madeReady(Campaign& campaign, const std::vector<std::string>& mountPoints);
  int callsOf(Step step, const std::vector<Step>& before);
  void choose(std::size_t fileSystems);
  void addCases(std::size_t fileSystems, const Command& command, std::vector<SpaceCase>& cases);
  void expectKnown(const SpaceCase& one, const Ended& ended, const std::string& left);
  void deleteWithoutSpace(const SpaceCase& one);
  void expectOrder();
  void expectOriginals();
  void expectWhole();

  Campaign& m_campaign;
  const std::vector<std::string> m_mountPoints;
  SnapshotRuns m_runs;
  const std::vector<Command> m_commands;
};

std::string content(const std::string& mountPoint) {
  return "kept on " + mountPoint;
}

Campaign& SpaceRuns::madeReady(Campaign& campaign, const std::vector<std::string>& mountPoints) {
  setenv("QMFI_TRACE_LEVEL", "6", 1);
  for (const std::string& mountPoint : mountPoints) std::ofstream(mountPoint + "/original") << content(mountPoint);
  return campaign;
}

int SpaceRuns::callsOf(Step step, const std::vector<Step>& before) {
  choose(1);
  for (const Step one : before) m_runs.require(one);
  CountCalls calls;
  m_runs.run(step, &calls);
  expectOrder();
  return calls.count();
}

void SpaceRuns::choose(std::size_t fileSystems) {
  m_runs.setMountPoints({m_mountPoints.begin(), m_mountPoints.begin() + static_cast<std::ptrdiff_t>(fileSystems)});
}

void SpaceRuns::addCases(std::size_t fileSystems, const Command& command, std::vector<SpaceCase>& cases) {
  Counters counters;
  command.prepare(m_runs);
  command.run(m_runs, &counters);
  if (command.effect == Effect::none) m_runs.enableAll();
  expectOrder();
  const auto lengths = m_campaign.quick() ? std::vector{forGood} : std::vector<std::uint64_t>{forGood, 1, 2, 5, 15, 40};
  for (const Counters::Counted& counted : counters.all()) {
    for (std::uint64_t first = 1; first <= counted.counter.count(); ++first) {
      for (const int error : {ENOSPC, EDQUOT}) {
        for (const std::uint64_t length : lengths) {
          cases.push_back({fileSystems, &command, counted.storage, counted.told, error, first, length});
        }
      }
    }
  }
}

std::vector<SpaceCase> SpaceRuns::allCases() {
  std::vector<SpaceCase> cases;
  for (std::size_t fileSystems = 1; fileSystems <= m_mountPoints.size(); ++fileSystems) {
    choose(fileSystems);
    for (const Command& command : m_commands) addCases(fileSystems, command, cases);
  }
  return cases;
}

void SpaceRuns::run(const SpaceCase& one) {
  choose(one.fileSystems);
  one.command->prepare(m_runs);
  NoSpace full(one.storage->storage, one.told, one.error, one.first, one.length);
  const Ended ended = one.command->run(m_runs, &full);
  m_campaign.count(ended.status == 0 ? "succeeded" : "failed_as_they_should");
  if (full.count() < one.first) m_campaign.count("writes_not_met_again");
  const std::string left = m_runs.state();
  expectKnown(one, ended, left);
  const bool isFull = one.told == Told::atOnce && one.length == forGood && one.first % 2 == 0;
  if (isFull && (left == "ready" || left == "unmounted")) deleteWithoutSpace(one);
  if (one.command->effect == Effect::none) m_runs.enableAll();
  expectOrder();
}

// Nothing is forgotten, and what is said is true.
void SpaceRuns::expectKnown(const SpaceCase& one, const Ended& ended, const std::string& left) {
  const std::string what =
      "status " + std::to_string(ended.status) + ", but the snapshot is \"" + left + "\": " + ended.errors;
  switch (one.command->effect) {
    case Effect::makes:
      return m_campaign.expect((ended.status == 0) == (left == "ready"), what);
    case Effect::removes:
      return m_campaign.expect(ended.status != 0 || left.empty(), what);
    case Effect::keeps:
      return m_campaign.expect(!left.empty(), what);
    case Effect::none:
      return m_campaign.expect(left.empty(), what);
  }
}

// A disk that is full is no reason to keep a snapshot.
void SpaceRuns::deleteWithoutSpace(const SpaceCase& one) {
  NoSpace full(one.storage->storage, one.told, one.error, 1, forGood);
  const Ended ended = m_runs.run(Step::remove, &full);
  m_campaign.expectEqual<std::int64_t>(0, ended.status, "deletion without space: " + ended.errors);
  m_campaign.count("deleted_without_space");
}

void SpaceRuns::expectOrder() {
  std::string left = m_runs.state();
  if (!left.empty() && left != "ready" && left != "unmounted") {
    m_runs.requireRecovery();
    left = m_runs.state();
    m_campaign.expect(left.empty() || left == "unmounted", "the snapshot is \"" + left + "\" after a recovery");
  }
  if (left == "unmounted") m_runs.require(Step::mount);
  if (!left.empty()) {
    expectWhole();
    m_runs.require(Step::remove);
  }
  expectOriginals();
  m_runs.expectNothingLeft();
}

void SpaceRuns::expectOriginals() {
  for (const std::string& mountPoint : m_runs.mountPoints()) {
    m_campaign.expectEqual(content(mountPoint), textOf(mountPoint + "/original"), "file of " + mountPoint);
  }
}

void SpaceRuns::expectWhole() {
  for (const std::string& mountPoint : m_runs.mountPoints()) {
    const std::string copy = m_runs.alternateOf(mountPoint);
    m_campaign.expectEqual(content(mountPoint), textOf(copy + "/original"), "file of " + copy);
  }
}

// Cases that differ come first, so that a short form has something of every command in every storage.
std::vector<SpaceCase> mixed(std::vector<SpaceCase> cases) {
  std::shuffle(cases.begin(), cases.end(), std::mt19937(1));
  std::map<std::tuple<const Command*, const NamedStorage*, Told, std::size_t>, int> ranks;
  std::vector<std::pair<int, SpaceCase>> ranked;
  ranked.reserve(cases.size());
  for (const SpaceCase& one : cases) {
    ranked.emplace_back(ranks[{one.command, one.storage, one.told, one.fileSystems}]++, one);
  }
  std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (std::size_t i = 0; i < cases.size(); ++i) cases[i] = ranked[i].second;
  return cases;
}

}  // namespace

void runSpaceCampaign(Campaign& campaign, const Extent& extent) {
  SpaceRuns runs(campaign, extent);
  const std::vector<SpaceCase> cases = mixed(runs.allCases());
  const std::size_t wanted = campaign.quick() ? quickCases : cases.size();
  for (std::size_t i = 0; i < std::min(cases.size(), wanted); ++i) {
    if (!extent.has(i)) continue;
    campaign.begin(std::to_string(i) + ": " + cases[i].text());
    runs.run(cases[i]);
  }
}

}  // namespace faults
