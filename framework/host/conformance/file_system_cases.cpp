// Claim, state, freeze and thaw of real file systems.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <thread>

#include "cfimounttable.h"
#include "conformance/conformance_case.h"
#include "conformance/examined_freeze.h"
#include "failure/host_error.h"
#include "system/descriptor.h"
#include "system/pipe.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

using qmfi_system::Descriptor;

constexpr std::chrono::seconds ampleTimeout(20);
constexpr std::chrono::seconds shortTimeout(1);
// How much later than its time-out a freeze may end.
constexpr std::chrono::milliseconds grace(4000);

void claimsItsOwn(Examination& it) {
  ExaminedNodes nodes(it, ampleTimeout);
  for (const FileSystemPlace& place : it.subject().places) {
    it.expect(nodes.provider().claim(place.mountPoint).claimed, "claim of " + place.mountPoint + " does not answer 1");
    it.expect(nodes.provider().ownsContentOf(place.device), "is_parent_pgn of " + place.device + " does not store 1");
  }
  for (const auto& node : nodes.nodes()) {
    it.expect(nodes.provider().isMounted(*node), "check_node_existence of " + node->name() + " does not store 1");
  }
}

void tellsDevices(Examination& it) {
  ExaminedNodes nodes(it, ampleTimeout);
  for (std::size_t i = 0; i < it.subject().places.size(); ++i) {
    const std::vector<std::string> objects = nodes.node(i).subObjects();
    it.require(!objects.empty(), "subobj_list of " + nodes.node(i).name() + " hands out nothing");
    const auto expected = qmfi_pdk_4_4::blockDeviceNumber(it.subject().places[i].device);
    it.expect(qmfi_pdk_4_4::blockDeviceNumber(objects.front()) == expected,
              "the first sub-object of " + nodes.node(i).name() + ", " + objects.front() + ", is not its device");
  }
}

std::vector<NodeState> fetchedStates(Examination& it) {
  ExaminedNodes nodes(it, ampleTimeout);
  std::vector<NodeState> states;
  for (const auto& node : nodes.nodes()) states.push_back(node->fetchState());
  return states;
}

// Given back to a node of a later run, and asked for once more.
void keepsStates(Examination& it) {
  const std::vector<NodeState> states = fetchedStates(it);
  Provider later(it.provider(), it.subject().name, "", it.subject().descriptor);
  for (std::size_t i = 0; i < states.size(); ++i) {
    const std::string& mountPoint = it.subject().places[i].mountPoint;
    it.require(!states[i].empty(), "there is no state of " + mountPoint);
    Node node(later, mountPoint);
    node.storeState(states[i]);
    it.expect(node.fetchState() == states[i], "the state of " + mountPoint + " is another one after it was stored");
    it.expect(!node.subObjects().empty(), "a node of " + mountPoint + " has no device after its state was stored");
  }
}

void freezes(Examination& it) {
  const auto fileSystems = openPlaces(it.subject());
  ExaminedNodes nodes(it, ampleTimeout);
  constexpr int times = 3;
  for (int i = 0; i < times; ++i) {
    const int answer = nodes.freeze();
    if (answer == 0) expectFrozen(it, fileSystems, "although quiesce answers 0");
    nodes.thaw();
    it.require(answer == 0, "quiesce answers " + std::to_string(answer));
    expectThawed(it, fileSystems, "after unquiesce");
  }
}

// Numbers that are written to one file system after the other, over and over.
class OrderedWriter {
 public:
  explicit OrderedWriter(const Subject& subject) {
    for (const FileSystemPlace& place : subject.places) {
      m_files.emplace_back(open(place.mountPoint.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR));
      if (!m_files.back().valid()) throw systemError(translate("no file can be made in {0}", place.mountPoint));
      write(m_files.back(), 0);
    }
    m_thread = std::thread([this] { run(); });
  }
  OrderedWriter(const OrderedWriter&) = delete;
  OrderedWriter& operator=(const OrderedWriter&) = delete;
  // Returns only when nothing is frozen.
  ~OrderedWriter() {
    m_isOver = true;
    m_thread.join();
  }

  // Waits until it has gone round once more.
  void waitForRound() const {
    const std::uint64_t before = m_round;
    while (m_round < before + 2) std::this_thread::yield();
  }

  // What stands in the files.
  std::vector<std::uint64_t> numbers() const {
    std::vector<std::uint64_t> numbers(m_files.size());
    for (std::size_t i = 0; i < m_files.size(); ++i) {
      if (pread(m_files[i].get(), &numbers[i], sizeof numbers[i], 0) != sizeof numbers[i]) numbers[i] = UINT64_MAX;
    }
    return numbers;
  }

 private:
  static void write(const Descriptor& file, std::uint64_t number) {
    if (pwrite(file.get(), &number, sizeof number, 0) != sizeof number) return;
  }

  void run() {
    for (std::uint64_t number = 1; !m_isOver; ++number) {
      for (const Descriptor& file : m_files) write(file, number);
      m_round = number;
    }
  }

  std::vector<Descriptor> m_files{};
  std::atomic<bool> m_isOver = false;
  std::atomic<std::uint64_t> m_round = 0;
  std::thread m_thread{};
};

bool isInOrder(const std::vector<std::uint64_t>& numbers) {
  for (std::size_t i = 1; i < numbers.size(); ++i) {
    if (numbers[i] > numbers[i - 1]) return false;
  }
  return numbers.front() - numbers.back() <= 1;
}

// What is written to one file system after another one cannot be there without it.
void keepsOrder(Examination& it) {
  ExaminedNodes nodes(it, ampleTimeout);
  const OrderedWriter writer(it.subject());
  constexpr int times = 5;
  constexpr std::chrono::milliseconds pause(20);
  for (int i = 0; i < times; ++i) {
    writer.waitForRound();
    const int answer = nodes.freeze();
    const std::vector<std::uint64_t> first = writer.numbers();
    std::this_thread::sleep_for(pause);
    const std::vector<std::uint64_t> second = writer.numbers();
    nodes.thaw();
    it.require(answer == 0, "quiesce answers " + std::to_string(answer));
    it.require(first == second, "something was written between quiesce and unquiesce");
    it.require(isInOrder(first), "what was written later is frozen in, and what was written before it is not");
  }
}

void refusesSecondFreeze(Examination& it) {
  const auto fileSystems = openPlaces(it.subject());
  ExaminedNodes nodes(it, ampleTimeout);
  const int answer = nodes.freeze();
  const int second = nodes.freeze();
  expectFrozen(it, fileSystems, "after a second quiesce, which has to do nothing");
  nodes.thaw();
  it.expect(answer == 0, "quiesce answers " + std::to_string(answer));
  it.expect(second == 6, "a second quiesce answers " + std::to_string(second) + ", not 6");
  expectThawed(it, fileSystems, "after unquiesce");
}

void freezesAllOrNone(Examination& it) {
  const auto fileSystems = openPlaces(it.subject());
  ExaminedNodes nodes(it, ampleTimeout);
  MountedFileSystem& held = *fileSystems.back();
  const unsigned long seconds = static_cast<unsigned long>(ampleTimeout.count());
  if (ioctl(held.freezable().descriptor, it.subject().places.back().freezeRequest, seconds) != 0) {
    throw systemError(translate("{0} cannot be frozen", held.mountPoint()));
  }
  const int answer = nodes.freeze();
  const bool isFirstFrozen = isFrozen(*fileSystems.front());
  if (answer == 0) nodes.thaw();
  held.thaw();
  it.expect(answer != 0, "quiesce answers 0 although somebody else has frozen " + held.mountPoint());
  it.expect(!isFirstFrozen, fileSystems.front()->mountPoint() + " is left frozen by a quiesce that failed");
  const int again = nodes.freeze();
  nodes.thaw();
  it.expect(again == 0, "quiesce answers " + std::to_string(again) + " after one that failed");
}

void survivesForeignThaw(Examination& it) {
  const auto fileSystems = openPlaces(it.subject());
  ExaminedNodes nodes(it, ampleTimeout);
  const int answer = nodes.freeze();
  fileSystems.back()->thaw();
  nodes.thaw();
  it.require(answer == 0, "quiesce answers " + std::to_string(answer));
  expectThawed(it, fileSystems, "after unquiesce");
  const int again = nodes.freeze();
  nodes.thaw();
  it.expect(again == 0, "quiesce answers " + std::to_string(again) + " after a thaw by somebody else");
}

void thawsAtTheEnd(Examination& it) {
  const auto fileSystems = openPlaces(it.subject());
  // Given back to nobody: fini has ended the provider, and the process ends soon.
  ExaminedNodes& nodes = *std::make_unique<ExaminedNodes>(it, ampleTimeout).release();
  const int answer = nodes.freeze();
  it.stop();
  it.expect(answer == 0, "quiesce answers " + std::to_string(answer));
  expectThawed(it, fileSystems, "after fini");
}

void endsFreezeInTime(Examination& it) {
  if (!it.subject().descriptor.timeout) it.skip("its descriptor names no time-out");
  const auto fileSystems = openPlaces(it.subject());
  ExaminedNodes nodes(it, shortTimeout);
  const int answer = nodes.freeze();
  expectThawedWithin(it, fileSystems, shortTimeout + grace, "long after the time-out");
  nodes.thaw();
  it.expect(answer == 0, "quiesce answers " + std::to_string(answer));
}

// A process that freezes and then does nothing more.
class Freezer {
 public:
  explicit Freezer(Examination& it) : m_pipe(qmfi_system::makePipe()), m_process(fork()) {
    if (m_process < 0) throw systemError(translate("no process can be started to freeze in"));
    if (m_process == 0) work(it);
    m_pipe.writeEnd.reset();
    char answer = 0;
    m_hasFrozen = read(m_pipe.readEnd.get(), &answer, 1) == 1 && answer == 'y';
  }
  Freezer(const Freezer&) = delete;
  Freezer& operator=(const Freezer&) = delete;
  ~Freezer() {
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
  }

  bool hasFrozen() const { return m_hasFrozen; }
  void send(int signal) const { kill(m_process, signal); }

 private:
  [[noreturn]] void work(Examination& it) {
    try {
      ExaminedNodes nodes(it, shortTimeout);
      const char answer = nodes.freeze() == 0 ? 'y' : 'n';
      if (write(m_pipe.writeEnd.get(), &answer, 1) == 1) pause();
    } catch (...) {
      _exit(1);
    }
    _exit(0);
  }

  qmfi_system::Pipe m_pipe;
  pid_t m_process;
  bool m_hasFrozen = false;
};

// Whatever becomes of the host, its file systems do not stand still for ever.
void endsFreezeOfHost(Examination& it, int signal, const std::string& when) {
  if (!it.subject().descriptor.timeout) it.skip("its descriptor names no time-out");
  const auto fileSystems = openPlaces(it.subject());
  const Freezer freezer(it);
  it.require(freezer.hasFrozen(), "quiesce fails in a process of its own");
  freezer.send(signal);
  expectThawedWithin(it, fileSystems, shortTimeout + grace, when);
}

void endsFreezeOfKilledHost(Examination& it) {
  endsFreezeOfHost(it, SIGKILL, "long after its host was killed");
}

void endsFreezeOfStoppedHost(Examination& it) {
  endsFreezeOfHost(it, SIGSTOP, "long after its host was stopped");
}

}  // namespace

ConformanceCases fileSystemCases() {
  const std::string outlived = "A freeze ends by its time-out, also when nobody is left to end it.";
  return {
      {"file-systems.claim", "The provider claims its mounted file systems, and owns their devices.",
       CaseNeeds::fileSystem, claimsItsOwn},
      {"file-systems.device", "The first sub-object of a node is its device.", CaseNeeds::fileSystem, tellsDevices},
      {"file-systems.state", "A node's state goes out as a text and comes back in a later run.", CaseNeeds::fileSystem,
       keepsStates},
      {"file-systems.freeze", "quiesce answers 0 when all are frozen, and unquiesce thaws all.", CaseNeeds::fileSystem,
       freezes},
      {"file-systems.second-freeze", "quiesce answers 6 and does nothing while another one is outstanding.",
       CaseNeeds::fileSystem, refusesSecondFreeze},
      {"file-systems.foreign-thaw", "unquiesce survives that somebody else has thawed.", CaseNeeds::fileSystem,
       survivesForeignThaw},
      {"file-systems.fini", "fini thaws what is still frozen.", CaseNeeds::fileSystem, thawsAtTheEnd},
      {"file-systems.time-out", outlived, CaseNeeds::fileSystem, endsFreezeInTime},
      {"file-systems.killed-host", outlived, CaseNeeds::fileSystem, endsFreezeOfKilledHost},
      {"file-systems.stopped-host", outlived, CaseNeeds::fileSystem, endsFreezeOfStoppedHost},
      {"file-systems.all-or-none", "Where one cannot be frozen quiesce fails, and none is left frozen.",
       CaseNeeds::fileSystems, freezesAllOrNone},
      {"file-systems.order",
       "All are frozen at one moment: nothing is in one of them that came after what is missing "
       "in another.",
       CaseNeeds::fileSystems, keepsOrder},
  };
}

}  // namespace qmfi_host
