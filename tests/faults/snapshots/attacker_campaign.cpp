// A user without rights who owns a directory above the mount point does something just before each call of qmfi that
// takes a path, or races it; root's files and mounts are as they were, and he gets nowhere.
#include <algorithm>
#include <map>
#include <random>
#include <utility>

#include "attacked_place.h"
#include "attacker.h"
#include "path_calls.h"
#include "snapshot_campaigns.h"
#include "snapshot_runs.h"

namespace faults {

namespace {

using Words = std::vector<std::string>;

constexpr std::size_t quickCases = 900;
constexpr std::size_t fullCases = 24000;
constexpr std::size_t quickRaces = 8;
constexpr std::size_t fullRaces = 100;

// What the attacker goes for, after what makes it possible.
struct AttackedCommand {
  Words words;
  std::vector<Words> before;
  bool unmounted = false;  // the file system is not mounted then
  bool refused = false;    // at a place that is not root's alone
};

std::vector<AttackedCommand> commandsFor(const std::string& device) {
  const Words create = {"snapshot", "create", "--freeze-timeout", "2", "--name", "fault", attackedMountPoint};
  const Words unmount = {"snapshot", "unmount", "fault"};
  Words elsewhere = create;
  elsewhere.insert(elsewhere.end(), {"--alternate-dir", std::string(attackersPlace) + "/snapshots"});
  Words ownState = create;
  ownState.insert(ownState.begin(), {"--state-dir", std::string(attackersPlace) + "/state"});
  return {
      {create, {}},
      {{"snapshot", "delete", "fault"}, {create}},
      {unmount, {create}},
      {{"snapshot", "mount", "fault"}, {create, unmount}},
      {{"snapshot", "show", "fault"}, {create}},
      {{"snapshot", "list"}, {create}},
      {{"recover"}, {create}},
      {{"thaw", attackedMountPoint}, {}},
      {{"claim", attackedMountPoint}, {}},
      {elsewhere, {}, false, true},
      {ownState, {}, false, true},
      {{"cache", "enable", attackedMountPoint}, {}, false, true},
      {{"cache", "disable", attackedMountPoint}, {}, false, true},
      {{"access", "disable", attackedMountPoint, "--force"}, {}, false, true},
      {{"access", "enable", attackedMountPoint}, {}, false, true},
      {{"resource", "online", device, attackedMountPoint, "--force"}, {}, true, true},
  };
}

std::string textOf(const Words& words) {
  std::string text = "qmfi";
  for (const std::string& word : words) text += " " + word;
  return text;
}

struct AttackCase {
  const AttackedCommand* command;
  PathCall call;
  Trick trick;
  int length;  // how many further calls with paths it lasts; 0 to the end

  std::string text() const {
    return textOf(command->words) + ": " + nameOf(trick) + " before " + call.text() +
           (length == 0 ? std::string() : ", for " + std::to_string(length));
  }
};

class AttackerCampaign {
 public:
  AttackerCampaign(Campaign& campaign, const Extent& extent)
      : m_campaign(campaign),
        m_extent(extent),
        m_place(extent.mountPoints),
        m_runs(campaign, {attackedMountPoint}),
        m_commands(commandsFor(m_place.device())) {}

  void run() {
    const std::size_t wanted = m_campaign.quick() ? quickCases : fullCases;
    const std::vector<AttackCase> cases = mixed(allCases());
    m_campaign.count("cases_known", cases.size());
    for (std::size_t i = 0; i < std::min(cases.size(), wanted); ++i) {
      if (m_extent.has(i)) runCase(i, cases[i]);
    }
    const std::size_t races = m_campaign.quick() ? quickRaces : fullRaces;
    for (std::size_t i = wanted; i < wanted + races; ++i) {
      if (m_extent.has(i)) runRace(i);
    }
  }

 private:
  std::vector<AttackCase> allCases();
  static std::vector<AttackCase> mixed(std::vector<AttackCase> cases);
  void prepare(const AttackedCommand& command);
  void runCase(std::size_t number, const AttackCase& one);
  void runRace(std::size_t number);
  void expectEnd(const AttackedCommand& command, const Ended& ended, std::uint64_t failuresBefore);
  void expectNothing(const std::string& report) { m_campaign.expect(report.empty(), "the attacker: " + report); }
  void finish();

  Campaign& m_campaign;
  const Extent& m_extent;
  AttackedPlace m_place;
  SnapshotRuns m_runs;
  const std::vector<AttackedCommand> m_commands;
};

std::vector<AttackCase> AttackerCampaign::allCases() {
  std::vector<AttackCase> cases;
  for (const AttackedCommand& command : m_commands) {
    m_campaign.begin("recording " + textOf(command.words));
    prepare(command);
    PathCallRecorder recorder;
    m_runs.run(command.words, &recorder);
    finish();
    for (const PathCall& call : recorder.calls()) {
      for (int trick = 0; trick < static_cast<int>(Trick::count); ++trick) {
        for (const int length : {0, 1, 3}) cases.push_back({&command, call, static_cast<Trick>(trick), length});
      }
    }
  }
  return cases;
}

// Cases that differ come first: each trick of each command, before calls on the attacker's own paths.
std::vector<AttackCase> AttackerCampaign::mixed(std::vector<AttackCase> cases) {
  std::shuffle(cases.begin(), cases.end(), std::mt19937(1));
  std::stable_partition(cases.begin(), cases.end(), [](const AttackCase& one) {
    return one.call.path.empty() || one.call.path.find(attackersHome) != std::string::npos;
  });
  std::map<std::pair<const AttackedCommand*, Trick>, int> ranks;
  std::vector<std::pair<int, AttackCase>> ranked;
  for (AttackCase& one : cases) {
    // What is refused has few ways to go wrong.
    const int weight = one.command->refused ? 4 : 1;
    ranked.emplace_back(weight * ranks[{one.command, one.trick}]++, std::move(one));
  }
  std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<AttackCase> result;
  result.reserve(ranked.size());
  for (auto& [rank, one] : ranked) result.push_back(std::move(one));
  return result;
}

void AttackerCampaign::prepare(const AttackedCommand& command) {
  for (const Words& words : command.before) m_runs.require(words);
  if (command.unmounted) m_place.unmount();
  m_place.remember();
}

void AttackerCampaign::runCase(std::size_t number, const AttackCase& one) {
  m_campaign.begin(std::to_string(number) + ": " + one.text());
  const std::uint64_t failuresBefore = m_campaign.failures();
  prepare(*one.command);
  {
    Attacker attacker(m_place.otherMountPoint());
    ActFromCall trick(one.call, [&](int sinceFirst) {
      if (sinceFirst == 0) expectNothing(attacker.play(one.trick));
      if (one.length == 0) return true;
      if (sinceFirst == one.length) expectNothing(attacker.putBack());
      return sinceFirst == one.length;
    });
    const Ended ended = m_runs.run(one.command->words, &trick);
    m_campaign.count(trick.acted() ? "attacks" : "calls_not_met_again");
    m_place.expectNothingOfRootsInHome(m_campaign);
    expectNothing(attacker.play(Trick::breaksIn));
    expectNothing(attacker.putBack());
    expectEnd(*one.command, ended, failuresBefore);
  }
  finish();
}

// The whole life of a snapshot, and what is refused.
void AttackerCampaign::runRace(std::size_t number) {
  for (const AttackedCommand& command : m_commands) {
    m_campaign.begin(std::to_string(number) + ": race of " + textOf(command.words));
    const std::uint64_t failuresBefore = m_campaign.failures();
    prepare(command);
    {
      Attacker attacker(m_place.otherMountPoint());
      attacker.beginRace(static_cast<unsigned>(number));
      const Ended ended = m_runs.run(command.words);
      m_place.expectNothingOfRootsInHome(m_campaign);
      expectNothing(attacker.endRace());
      expectEnd(command, ended, failuresBefore);
    }
    finish();
  }
}

void AttackerCampaign::expectEnd(const AttackedCommand& command, const Ended& ended, std::uint64_t failuresBefore) {
  m_place.expectAsBefore(m_campaign);
  m_place.expectHarmlessSnapshot(m_campaign);
  m_campaign.count(ended.status == 0 ? "succeeded" : "failed_as_they_should");
  if (command.refused) m_campaign.expect(ended.status != 0, "was not refused");
  m_campaign.expect(("\n" + ended.errors + ended.output).find("\nqmfi: forged") == std::string::npos,
                    "his name is a line of its own");
  if (ended.status == 0) return;
  // The last two are where his links lead to.
  const Words objects = {attackersHome, m_place.device(), "fault",      victimDirectory, m_place.otherMountPoint(),
                         "/orders",     "claim /:",       "claim /srv:"};
  const bool named = std::any_of(objects.begin(), objects.end(), [&](const std::string& object) {
    return (ended.errors + ended.output).find(object) != std::string::npos;
  });
  m_campaign.expect(named, "failed without a name: \"" + ended.errors + "\"");
  if (m_campaign.failures() > failuresBefore) m_campaign.note("it said: " + ended.errors);
}

void AttackerCampaign::finish() {
  m_place.mount();
  m_runs.expectOrder();
}

}  // namespace

void runAttackerCampaign(Campaign& campaign, const Extent& extent) {
  AttackerCampaign(campaign, extent).run();
}

}  // namespace faults
