// Nodes that need no file system.
#include <algorithm>

#include "conformance/conformance_case.h"
#include "conformance/examined_node.h"

namespace qmfi_host {

namespace {

qmfi_objid* pathObject(const std::string& path) {
  return qmfi_get_objid(path.c_str(), static_cast<std::uint32_t>(path.size()), KFI_OBJID_PATH);
}

std::vector<std::string> strangePaths() {
  constexpr std::size_t beyondAll = 100000;
  return {"/proc", "/no/such/directory", "relative", "/dev/null", "/\xff\xfe", "/" + std::string(beyondAll, 'x')};
}

std::string shown(const std::string& path) {
  constexpr std::size_t enough = 40;
  return path.size() > enough ? "a path of " + std::to_string(path.size()) + " bytes" : path;
}

void claimsNothingElse(Examination& it) {
  it.started();
  qmfi_objid* none = nullptr;
  for (const std::string& path : strangePaths()) {
    qmfi_objid** groups = &none;
    int count = -1;
    const std::string what = "claim of " + shown(path);
    it.expectStatus(what, {0}, [&] { return it.provider().fi_pgn_claim(pathObject(path), &groups, &count); });
    it.expect(groups == &none && count == -1, what + " has written to its outputs");
  }
  it.stop();
}

void findsNothingElse(Examination& it) {
  it.started();
  for (const char* const path : {"/proc", "/no/such/directory", "relative"}) {
    ExaminedNode node(path, KFI_OBJID_PATH, it.subject().name);
    int exists = -1;
    const std::string what = "check_node_existence of " + std::string(path);
    it.expectStatus(what, {0}, [&] { return it.provider().fi_pgn_check_node_existence(node.get(), &exists); });
    it.expect(exists == 0, what + " stores " + std::to_string(exists) + ", not 0");
  }
  it.stop();
}

void ownsNoOtherDevice(Examination& it) {
  it.started();
  for (std::string device : {"/dev/null", "/no/such/device", " "}) {
    int isParent = -1;
    const std::string what = "is_parent_pgn of " + device;
    it.expectStatus(what, {0}, [&] { return it.provider().fi_pgn_is_parent_pgn(device.data(), &isParent, 0); });
    it.expect(isParent == 0, what + " stores " + std::to_string(isParent) + ", not 0");
  }
  it.stop();
}

void initialisesNoOtherNode(Examination& it) {
  it.started();
  const std::string& name = it.subject().name;
  ExaminedNode group(name, KFI_OBJID_OBJECT, name);
  ExaminedNode node("/proc", KFI_OBJID_PATH, name);
  kfi_domain* domains[] = {group.get()};
  const ProviderEntryPoints& calls = it.provider();
  it.expectStatus("init_node of a group", {0},
                  [&] { return calls.fi_pgn_init_node(group.get(), nullptr, 0, nullptr); });
  it.expectStatus("init_node of /proc", {6}, [&] { return calls.fi_pgn_init_node(node.get(), domains, 1, nullptr); });
  it.stop();
}

void givesQuiesceNodes(Examination& it) {
  it.started();
  const std::string& name = it.subject().name;
  ExaminedNode group(name, KFI_OBJID_OBJECT, name);
  int next = 0;
  group->fid_qnode_next = &next;
  const ProviderEntryPoints& calls = it.provider();
  it.expectStatus("init_node of a group", {0},
                  [&] { return calls.fi_pgn_init_node(group.get(), nullptr, 0, nullptr); });
  it.require(group->fid_qnode != nullptr, "init_node gives the node no quiesce node");
  it.expect(group->fid_qnode->kqn_node == group.get(), "the quiesce node is one of another node");
  it.expect(group->fid_qnode->kqn_fitype != nullptr, "the quiesce node has no type");
  it.expect(group->fid_qnode_next == nullptr, "init_node does not clear the next quiesce node");
  it.expect(group->fid_name != nullptr && name == group->fid_name, "init_node does not set the node's name");
  it.calling("deinit_node", [&] { calls.fi_pgn_deinit_node(group.get()); });
  it.expect(group->fid_qnode == nullptr, "deinit_node leaves the quiesce node");
  it.expect(group->fid_private == nullptr, "deinit_node leaves private data");
  it.calling("deinit_node once more", [&] { calls.fi_pgn_deinit_node(group.get()); });
  it.stop();
}

void initialisesAgain(Examination& it) {
  it.started();
  constexpr int times = 5;
  const std::string& name = it.subject().name;
  ExaminedNode group(name, KFI_OBJID_OBJECT, name);
  const ProviderEntryPoints& calls = it.provider();
  for (int i = 0; i < times; ++i) {
    it.expectStatus("init_node of a group, once more", {0},
                    [&] { return calls.fi_pgn_init_node(group.get(), nullptr, 0, nullptr); });
    it.require(group->fid_qnode != nullptr, "init_node gives the node no quiesce node");
    it.calling("deinit_node", [&] { calls.fi_pgn_deinit_node(group.get()); });
  }
  it.stop();
}

int configure(Examination& it, ExaminedNode& group, int category, std::string parameter, std::string value) {
  kfi_confspec spec{parameter.data(), value.data(), nullptr};
  return it.status("config of " + parameter + " in category " + std::to_string(category),
                   [&] { return it.provider().fi_pgn_config(group.get(), category, nullptr, &spec); });
}

void refusesOtherParameters(Examination& it) {
  it.started();
  constexpr int noCategory = 7;
  const std::string& name = it.subject().name;
  ExaminedNode group(name, KFI_OBJID_OBJECT, name);
  it.calling("init_node", [&] { return it.provider().fi_pgn_init_node(group.get(), nullptr, 0, nullptr); });
  it.expect(configure(it, group, 0, "noSuchParameter", "1") == 3, "config takes a parameter that is not declared");
  const auto& timeout = it.subject().descriptor.timeout;
  if (timeout) {
    it.expect(configure(it, group, noCategory, timeout->parameter, "1") == 3,
              "config takes a category that is not known");
    it.expect(configure(it, group, 0, timeout->parameter, "1") == 0,
              "config refuses " + timeout->parameter + ", the time-out that the descriptor names");
  }
  it.stop();
}

void hasNoSubObjects(Examination& it) {
  it.started();
  const std::string& name = it.subject().name;
  ExaminedNode group(name, KFI_OBJID_OBJECT, name);
  qmfi_objid* none = nullptr;
  qmfi_objid** objects = &none;
  int count = -1;
  const ProviderEntryPoints& calls = it.provider();
  it.calling("init_node", [&] { return calls.fi_pgn_init_node(group.get(), nullptr, 0, nullptr); });
  it.expectStatus("subobj_list of a group", {0},
                  [&] { return calls.fi_pgn_subobj_list(group.get(), &objects, &count); });
  it.expect(objects == nullptr && count == 0, "subobj_list of a group hands out sub-objects");
  it.stop();
}

// A blob comes from elsewhere, and may be anything.
void survivesStrangeStates(Examination& it) {
  it.started();
  constexpr std::size_t large = 1 << 20;
  std::string zeros(64, '\0');
  for (std::string text : {std::string(), std::string("nonsense"), std::string(large, 'x'), zeros,
                           std::string("\xff\xfe=\x01;%n%s"), std::string("device=/dev/null")}) {
    ExaminedNode node("/proc", KFI_OBJID_PATH, it.subject().name);
    kfi_blob blob{text.size() + 1, text.data(), KFI_BLOB_TEXT, 0};
    const ProviderEntryPoints& calls = it.provider();
    it.calling("process_providerstate, storing a strange text of " + std::to_string(text.size()) + " bytes",
               [&] { return calls.fi_pgn_process_providerstate(node.get(), &blob, KFI_PROVIDERSTATE_STORE); });
    it.calling("deinit_node after a strange state", [&] { calls.fi_pgn_deinit_node(node.get()); });
  }
  it.stop();
}

}  // namespace

ConformanceCases nodeCases() {
  return {
      {"nodes.claim", "claim answers 0 for what is not the provider's, and writes no output then.", CaseNeeds::library,
       claimsNothingElse},
      {"nodes.existence", "check_node_existence stores 0 where the provider has nothing mounted.", CaseNeeds::library,
       findsNothingElse},
      {"nodes.parent", "is_parent_pgn answers 0 and stores 0 for what is no device of the provider's.",
       CaseNeeds::library, ownsNoOtherDevice},
      {"nodes.not-mounted", "init_node answers 6 where nothing of the provider's type is mounted.", CaseNeeds::library,
       initialisesNoOtherNode},
      {"nodes.quiesce-node", "init_node gives a node its quiesce node, and deinit_node takes all back.",
       CaseNeeds::library, givesQuiesceNodes},
      {"nodes.again", "A node can be initialised again after deinit_node.", CaseNeeds::library, initialisesAgain},
      {"nodes.config", "config answers 3 for another category, or a parameter that is not declared.",
       CaseNeeds::library, refusesOtherParameters},
      {"nodes.sub-objects", "subobj_list hands out null and 0 where a node has no sub-objects.", CaseNeeds::library,
       hasNoSubObjects},
      {"nodes.strange-states", "What comes back as a state is checked like anything from outside.", CaseNeeds::library,
       survivesStrangeStates},
  };
}

}  // namespace qmfi_host
