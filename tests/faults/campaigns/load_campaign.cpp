// Loading and unloading: whatever a host did with the plug-in between, it is really unmapped afterwards, and nothing of
// it stays in the process.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "campaigns.h"
#include "machine.h"
#include "provider.h"
#include "support/allocation_faults.h"

namespace faults {

namespace {

// What a host does between loading and unloading.
struct Life {
  const char* name;
  void (*live)(Campaign& campaign, Machine& machine, Provider& provider);
  // Nodes that are not de-initialised before the stop keep what their slots hold, and nobody can release it any more.
  bool leavesNodes = false;
};

void expectStatus(Campaign& campaign, int expected, int status, const char* call) {
  campaign.expectEqual<std::int64_t>(expected, status, call);
}

// What the slots of nodes hold that were not de-initialised. A sanitizer that looks for lost memory, at the very end of
// the program too, finds it here.
std::vector<void*>& leftInSlots() {
  static auto& left = *new std::vector<void*>();
  return left;
}

// A file system's node and the configuration domain, initialised. What the host got for them goes with it, whether or
// not the plug-in is told that they are no longer used.
class HostNodes {
 public:
  HostNodes(Campaign& campaign, Machine& machine, Provider& provider) : m_provider(provider) {
    m_configuration.fid_objid = provider.object("configuration");
    m_node.fid_objid = provider.object(machine.fileSystem(0));
    kfi_domain* const configuration = &m_configuration;
    kfi_domain* list[] = {configuration};
    expectStatus(campaign, 0, provider.call.init_node(&m_configuration, nullptr, 0, nullptr), "init_node");
    expectStatus(campaign, 0, provider.call.init_node(&m_node, list, 1, nullptr), "init_node");
  }
  ~HostNodes() {
    for (kfi_domain* node : {&m_configuration, &m_node}) {
      if (node->fid_private != nullptr) leftInSlots().push_back(node->fid_private);
      if (node->fid_qnode == nullptr) continue;
      std::free(node->fid_qnode->kqn_fitype);
      m_provider.call.qmfi_free_buf(node->fid_qnode, sizeof *node->fid_qnode);
    }
  }
  HostNodes(const HostNodes&) = delete;
  HostNodes& operator=(const HostNodes&) = delete;

  void deinitialise() {
    for (kfi_domain* node : {&m_configuration, &m_node}) m_provider.call.deinit_node(node);
  }
  int quiesce() { return m_provider.call.quiesce(m_node.fid_qnode, nullptr, 0, nullptr); }

 private:
  Provider& m_provider;
  kfi_domain m_configuration{};
  kfi_domain m_node{};
};

void start(Campaign& campaign, Provider& provider) {
  expectStatus(campaign, 0, provider.start(), "init");
}

void ordinary(Campaign& campaign, Machine& machine, Provider& provider) {
  start(campaign, provider);
  HostNodes nodes(campaign, machine, provider);
  nodes.deinitialise();
  provider.stop();
}

void neverStarted(Campaign&, Machine&, Provider&) {}

void calledBeforeStart(Campaign& campaign, Machine& machine, Provider& provider) {
  qmfi_objid** groups = nullptr;
  int count = 0;
  qmfi_objid* const object = provider.object(machine.fileSystem(0));
  expectStatus(campaign, 1, provider.call.claim(object, &groups, &count), "claim");
}

void neverStopped(Campaign& campaign, Machine& machine, Provider& provider) {
  start(campaign, provider);
  HostNodes nodes(campaign, machine, provider);
  nodes.deinitialise();
}

void withoutPackage(Campaign& campaign, Machine& machine, Provider& provider) {
  machine.programs.answer("/bin/grep", Answer().exits(1));
  expectStatus(campaign, 30, provider.start(), "init");
  provider.stop();
}

void withoutPrograms(Campaign& campaign, Machine& machine, Provider& provider) {
  for (const char* program : {"/bin/rpm", "/bin/grep"}) machine.programs.remove(program);
  expectStatus(campaign, 30, provider.start(), "init");
  for (const char* program : {"/bin/rpm", "/bin/grep"}) machine.programs.install(program);
}

void withoutVersion(Campaign& campaign, Machine&, Provider& provider) {
  std::string framework = "faults";
  expectStatus(campaign, 7, provider.call.init(nullptr, nullptr, framework.data()), "init");
}

void startedAgain(Campaign& campaign, Machine& machine, Provider& provider) {
  for (int i = 0; i < 3; ++i) ordinary(campaign, machine, provider);
}

void nodesOutliveTheStop(Campaign& campaign, Machine& machine, Provider& provider) {
  start(campaign, provider);
  HostNodes nodes(campaign, machine, provider);
  provider.stop();
  nodes.deinitialise();
}

void nodesStayInitialised(Campaign& campaign, Machine& machine, Provider& provider) {
  start(campaign, provider);
  const HostNodes nodes(campaign, machine, provider);
  provider.stop();
}

void nodesStayAndNothingIsStopped(Campaign& campaign, Machine& machine, Provider& provider) {
  start(campaign, provider);
  const HostNodes nodes(campaign, machine, provider);
}

void stoppedWhileQuiesced(Campaign& campaign, Machine& machine, Provider& provider) {
  start(campaign, provider);
  HostNodes nodes(campaign, machine, provider);
  expectStatus(campaign, 0, nodes.quiesce(), "quiesce");
  provider.stop();
  nodes.deinitialise();
}

void unloadedWhileQuiesced(Campaign& campaign, Machine& machine, Provider& provider) {
  start(campaign, provider);
  HostNodes nodes(campaign, machine, provider);
  expectStatus(campaign, 0, nodes.quiesce(), "quiesce");
}

void sessionsAndMessagesStay(Campaign& campaign, Machine&, Provider& provider) {
  start(campaign, provider);
  kfi_domain domain{};
  domain.fid_objid = provider.object("/not/mounted");
  std::string name = "session";
  kfi_splitnode node{name.data(), &domain};
  expectStatus(campaign, 0, provider.call.preselect(&node, name.data(), nullptr, 0), "preselect");
  expectStatus(campaign, 6, provider.call.init_altnode(nullptr, nullptr, &domain), "init_altnode");
  provider.call.deinit_node(&domain);
  campaign.expect(provider.callbacks() == 1, "the message did not come through");
}

constexpr Life lives[] = {
    {"ordinary", ordinary},
    {"never started", neverStarted},
    {"called before its start", calledBeforeStart},
    {"never stopped", neverStopped},
    {"package not installed", withoutPackage},
    {"programs missing", withoutPrograms},
    {"no version", withoutVersion},
    {"started again", startedAgain},
    {"nodes outlive the stop", nodesOutliveTheStop, true},
    {"nodes stay initialised", nodesStayInitialised, true},
    {"nodes stay and nothing is stopped", nodesStayAndNothingIsStopped, true},
    {"stopped while quiesced", stoppedWhileQuiesced, true},
    {"unloaded while quiesced", unloadedWhileQuiesced, true},
    {"sessions and messages stay", sessionsAndMessagesStay},
};

// How many pieces the process's address space has, which grows when something of a library stays mapped.
int mappings() {
  std::ifstream maps("/proc/self/maps");
  int count = 0;
  for (std::string line; std::getline(maps, line);) ++count;
  return count;
}

void runLife(Campaign& campaign, Machine& machine, const Life& life) {
  campaign.begin(life.name);
  machine.reset();
  {
    Provider provider;
    campaign.expect(isMapped("libqmfsfi.so") && isMapped("libqmfi_pdk"), "the plug-in is not mapped when loaded");
    life.live(campaign, machine, provider);
  }
  for (const char* library : {"libqmfsfi.so", "libqmfi_pdk"}) {
    campaign.expect(!isMapped(library), std::string(library) + " stays mapped");
  }
  campaign.expectNone(machine.differences());
}

}  // namespace

void runLoadCampaign(Campaign& campaign) {
  const int rounds = campaign.quick() ? 1000 : 10000;
  Machine machine;
  // What libraries make once and keep is made here.
  for (const Life& life : lives) runLife(campaign, machine, life);
  const int mappingsBefore = mappings();
  for (int round = 0; round < rounds; ++round) {
    const Life& life = lives[static_cast<std::size_t>(round) % std::size(lives)];
    if (!campaign.wants(life.name)) continue;
    const std::int64_t blocksBefore = livingBlocks();
    runLife(campaign, machine, life);
    const std::int64_t blocks = livingBlocks() - blocksBefore;
    campaign.expect(blocks == 0 || life.leavesNodes, std::to_string(blocks) + " blocks of memory are left behind");
    campaign.count("loads");
  }
  campaign.expect(!leakSanitizerFindsLeaks(), "memory is lost");
  // A sanitizer, which takes the counting of blocks away, maps memory of its own as it needs it.
  const bool isSanitized = livingBlocks() == 0;
  if (!isSanitized) campaign.expectEqual<std::int64_t>(mappingsBefore, mappings(), "mappings of the process");
}

}  // namespace faults
