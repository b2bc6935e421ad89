// A driver that fails: freezes and thaws of up to eight file systems, together and one by one, with a failure at each
// place and each of eight error numbers; freezes that end by themselves; file systems that somebody else froze or
// thawed.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <functional>

#include "campaigns.h"
#include "driver_model.h"
#include "host.h"
#include "support/process_state.h"

namespace faults {

namespace {

constexpr std::array errors = {EIO, EBUSY, EINVAL, EPERM, ENOTTY, ENOMEM, EINTR, ETIMEDOUT};

// What the contract says of one case.
struct Expectation {
  int status = 0;
  std::vector<std::string> quiesceMessages = {};
  std::vector<std::string> thawMessages = {};
  std::vector<int> stillFrozen = {};  // numbers of the file systems that a failed quiesce leaves to their time-outs
  std::vector<int> stillOpen = {};    // of those whose descriptors it leaves open
};

struct DriverCase {
  std::string name;
  int fileSystems;
  bool serial;
  std::function<void(Machine&)> trouble;
  std::function<void(Machine&)> whileFrozen;
  Expectation expectation;
};

void noTrouble(Machine&) {}

std::string message(const char* id, const Machine& machine, int number) {
  return std::string(id) + " [\"" + machine.fileSystem(number) + "\"]";
}

class DriverCampaign {
 public:
  DriverCampaign(Campaign& campaign, Machine& machine, int mostFileSystems)
      : m_campaign(campaign), m_machine(machine), m_most(std::min(mostFileSystems, machine.fileSystems())) {}

  void run() {
    for (int count = 1; count <= m_most; ++count) {
      failingFreezes(count);
      failingThaws(count);
      others(count);
      failingOpens(count);
    }
  }

 private:
  void failingFreezes(int count);
  void failingThaws(int count);
  void others(int count);
  void failingOpens(int count);
  void runCase(const DriverCase& one);
  void quiesceAndThaw(Host& host, const DriverCase& one);

  std::string named(const std::string& what, int count, int place) const {
    return what + " " + std::to_string(place + 1) + " of " + std::to_string(count);
  }
  // Required: of the file systems that were frozen before the failing one, the last is left to its time-out.
  static std::vector<int> leftFrozen(int place) { return place > 0 ? std::vector{place - 1} : std::vector<int>(); }

  Campaign& m_campaign;
  Machine& m_machine;
  const int m_most;
};

void DriverCampaign::failingFreezes(int count) {
  for (const int error : errors) {
    const auto failAll = [error](Machine&) { driverModel().fail(DriverRequestKind::freezeAll, 1, error); };
    const std::string with = " with error " + std::to_string(error);
    runCase({"freeze-all of " + std::to_string(count) + with, count, false, failAll, noTrouble, {.status = 6}});
    runCase({"serial freeze of " + std::to_string(count) + " after freeze-all failed" + with,
             count,
             true,
             failAll,
             noTrouble,
             {}});
    for (int place = 0; place < count; ++place) {
      const auto fail = [failAll, place, error](Machine& machine) {
        failAll(machine);
        driverModel().fail(DriverRequestKind::freeze, place + 1, error);
      };
      runCase({named("serial freeze", count, place) + with,
               count,
               true,
               fail,
               noTrouble,
               {.status = 6,
                .quiesceMessages = {message("MSG_ERROR_FREEZE", m_machine, place)},
                .stillFrozen = leftFrozen(place)}});
    }
  }
}

void DriverCampaign::failingThaws(int count) {
  for (const int error : errors) {
    for (int place = 0; place < count; ++place) {
      const auto fail = [place, error](Machine&) { driverModel().fail(DriverRequestKind::thaw, place + 1, error); };
      Expectation expectation{.stillFrozen = {place}};
      // A freeze that has ended by its time-out is no failure.
      if (error != ETIMEDOUT) expectation.thawMessages = {message("MSG_ERROR_THAW", m_machine, place)};
      runCase({named("thaw", count, place) + " with error " + std::to_string(error), count, false, noTrouble, fail,
               expectation});
    }
  }
}

void DriverCampaign::others(int count) {
  for (int place = 0; place < count; ++place) {
    const std::string directory = m_machine.fileSystem(place);
    const auto freeze = [directory](Machine&) { driverModel().freezeFromOutside(directory.c_str()); };
    const auto thaw = [directory](Machine&) { driverModel().thawFromOutside(directory.c_str()); };
    runCase({named("frozen by somebody else", count, place),
             count,
             false,
             freeze,
             noTrouble,
             {.status = 6, .stillFrozen = {place}}});
    std::vector<int> left = leftFrozen(place);
    left.push_back(place);
    runCase({named("frozen by somebody else, serially", count, place),
             count,
             true,
             freeze,
             noTrouble,
             {.status = 6, .quiesceMessages = {message("MSG_ERROR_FREEZE", m_machine, place)}, .stillFrozen = left}});
    runCase({named("thawed by somebody else", count, place),
             count,
             false,
             noTrouble,
             thaw,
             {.thawMessages = {message("MSG_ERROR_THAW", m_machine, place)}}});
  }
  runCase({"all time-outs of " + std::to_string(count) + " pass while frozen",
           count,
           false,
           noTrouble,
           [](Machine& machine) { machine.passTimeouts(); },
           {}});
  if (m_machine.isReal()) return;
  for (int place = 0; place < count; ++place) {
    const auto pass = [place](Machine&) { driverModel().passTimeoutsAtThaw(place + 1); };
    runCase({named("time-outs pass at thaw", count, place), count, false, noTrouble, pass, {}});
  }
}

void DriverCampaign::failingOpens(int count) {
  if (m_machine.isReal()) return;
  for (int place = 0; place < count; ++place) {
    const std::string directory = m_machine.fileSystem(place);
    const auto remove = [directory](Machine&) { std::filesystem::rename(directory, directory + "_away"); };
    // Required: the descriptor that was opened last stays open.
    runCase({named("open", count, place),
             count,
             false,
             remove,
             noTrouble,
             {.status = 6,
              .quiesceMessages = {message("MSG_ERROR_FILE_OPEN_FOR_QUIESCE", m_machine, place)},
              .stillOpen = leftFrozen(place)}});
  }
}

void DriverCampaign::quiesceAndThaw(Host& host, const DriverCase& one) {
  std::vector<kfi_quiescenode*> nodes;
  for (int number = 0; number < one.fileSystems; ++number) {
    nodes.push_back(host.initialisedNode(m_machine.fileSystem(number)).fid_qnode);
  }
  one.trouble(m_machine);
  const int status =
      host.make("quiesce", [&] { return host.call.quiesce(nullptr, nodes.data(), one.fileSystems, nullptr); });
  m_campaign.expectEqual<std::int64_t>(one.expectation.status, status, "status");
  m_campaign.expectEqual(one.expectation.quiesceMessages, host.transcript().back().messages, "messages of quiesce");
  if (status != 0) return;
  one.whileFrozen(m_machine);
  host.makeVoid("unquiesce", [&] { host.call.unquiesce(nullptr, nodes.data(), one.fileSystems); });
  m_campaign.expectEqual(one.expectation.thawMessages, host.transcript().back().messages, "messages of unquiesce");
}

void DriverCampaign::runCase(const DriverCase& one) {
  if (!m_campaign.wants(one.name)) return;
  m_campaign.begin((m_machine.isReal() ? "real: " : "") + one.name);
  m_campaign.count(m_machine.isReal() ? "real" : "stand-in");
  m_machine.reset();
  // Short enough for a test that waits for its end.
  m_machine.configure(std::string("[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT = 2\nQUIESCENCE_SERIAL_QUIESCENCE = ") +
                      (one.serial ? "1\n" : "0\n"));
  Host host(m_machine);
  m_campaign.expect(host.start(), "the plug-in does not start");
  quiesceAndThaw(host, one);
  for (const int number : one.expectation.stillOpen) {
    m_campaign.expect(!descriptorsOf(m_machine.fileSystem(number)).empty(),
                      m_machine.fileSystem(number) + " was to be left open");
    host.mayStay.descriptors.push_back(m_machine.fileSystem(number));
  }
  for (const std::string& fileSystem : m_machine.missingFileSystems()) {
    std::filesystem::rename(fileSystem + "_away", fileSystem);
  }
  for (const int number : one.expectation.stillFrozen) {
    const int error = driverModel().thawAgain(m_machine.fileSystem(number).c_str());
    m_campaign.expect(error == 0,
                      m_machine.fileSystem(number) + " was to be left frozen; a thaw answers " + std::to_string(error));
  }
  host.stop();
  m_campaign.expectNone(m_machine.differences(host.mayStay));
}

}  // namespace

void runDriverCampaign(Campaign& campaign) {
  const int most = campaign.quick() ? 4 : 8;
  {
    Machine machine(most);
    DriverCampaign(campaign, machine, most).run();
  }
  if (campaign.options().volumes.empty()) return;
  Machine machine(campaign.options().volumes);
  DriverCampaign(campaign, machine, most).run();
}

}  // namespace faults
