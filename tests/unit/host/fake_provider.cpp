// Entry points that keep a journal.
#include "fake_provider.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "kfi.h"

using qmfi_host::ProviderMessage;

namespace {

FakeProvider* theProvider = nullptr;

std::string nameOf(const kfi_domain* domain) {
  return domain->fid_objid->vid_name;
}

// As every provider's, so that its freeing can be left to the host.
kfi_msg_info* makeMessage(const ProviderMessage& message, kfi_msg_info* next) {
  auto* const record = static_cast<kfi_msg_info*>(std::calloc(1, sizeof(kfi_msg_info)));
  record->kmi_id = strdup(message.id.c_str());
  record->kmi_args = strdup(message.text.c_str());
  record->kmi_next = next;
  return record;
}

int init(kfi_context* context, kfi_version* version, char* name) {
  version->kv_major = theProvider->version;
  const char* const language = *context->kcx_language;
  return theProvider->answer(std::string("init ") + name + " " + (language != nullptr ? language : "-"));
}

void fini() {
  theProvider->answer("fini");
}

int claim(qmfi_objid* object, qmfi_objid*** groups, int* count) {
  static qmfi_objid* group[1];
  group[0] = qmfi_get_objid("group", 5, 3);
  *groups = group;
  *count = 1;
  theProvider->statuses.try_emplace("claim", 1);
  return theProvider->answer(std::string("claim ") + object->vid_name);
}

int initNode(kfi_domain* node, kfi_domain** domains, int count, qmfi_objid*) {
  const std::string config = count > 0 ? " " + nameOf(domains[0]) : "";
  if (theProvider->leavesOut != "init_node") {
    node->fid_qnode = static_cast<kfi_quiescenode*>(qmfi_alloc_buf(sizeof(kfi_quiescenode)));
    node->fid_qnode->kqn_node = node;
  }
  return theProvider->answer("init_node " + nameOf(node) + config);
}

int initAltNode(kfi_domain* first, kfi_domain*, kfi_domain* target) {
  return theProvider->answer("init_altnode " + nameOf(first) + " " + nameOf(target));
}

void deinitNode(kfi_domain* node) {
  qmfi_free_buf(node->fid_qnode, sizeof(kfi_quiescenode));
  node->fid_qnode = nullptr;
  theProvider->answer("deinit_node " + nameOf(node));
}

int config(kfi_domain* node, int category, char*, kfi_confspec* spec) {
  return theProvider->answer("config " + nameOf(node) + " " + std::to_string(category) + " " + spec->kcs_name + "=" +
                             spec->kcs_value);
}

int subobjList(kfi_domain* node, qmfi_objid*** objects, int* count) {
  if (theProvider->leavesOut == "subobj_list") return theProvider->answer("subobj_list " + nameOf(node));
  const std::string device = "/dev" + nameOf(node);
  *objects = static_cast<qmfi_objid**>(qmfi_alloc_buf(sizeof(qmfi_objid*)));
  **objects = qmfi_get_objid(device.c_str(), static_cast<std::uint32_t>(device.size()), 3);
  *count = 1;
  return theProvider->answer("subobj_list " + nameOf(node));
}

std::string namesOf(kfi_quiescenode** nodes, int count) {
  std::string names;
  for (int i = 0; i < count; ++i) names += " " + nameOf(nodes[i]->kqn_node);
  return names;
}

int quiesce(kfi_quiescenode*, kfi_quiescenode** nodes, int count, char*) {
  return theProvider->answer("quiesce" + namesOf(nodes, count));
}

void unquiesce(kfi_quiescenode*, kfi_quiescenode** nodes, int count) {
  theProvider->answer("unquiesce" + namesOf(nodes, count));
}

int buildAltTree(kfi_domain* domain, char* session, qmfi_objid** objects, qmfi_objid** snapObjects, int count,
                 qmfi_objid** altObject) {
  const char* const asked = domain->fid_subobjs[0].kse_altname;
  const char* const alternate = theProvider->alternate.empty() ? asked : theProvider->alternate.c_str();
  if (theProvider->leavesOut != "build_alttree") {
    *altObject = qmfi_get_objid(alternate, static_cast<std::uint32_t>(std::strlen(alternate)), 1);
  }
  return theProvider->answer("build_alttree " + nameOf(domain) + " " + domain->fid_provider + " " +
                             std::to_string(std::strlen(session)) + " " + objects[0]->vid_name + " " +
                             snapObjects[0]->vid_name + " " + std::to_string(count));
}

int processProviderState(kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operation) {
  if (operation == KFI_PROVIDERSTATE_STORE) {
    return theProvider->answer("store " + nameOf(node) + " [" + blob->kb_buffer + "]");
  }
  const std::string text = "state of " + nameOf(node);
  blob->kb_length = text.size() + 1;
  blob->kb_buffer = static_cast<char*>(qmfi_alloc_buf(blob->kb_length));
  std::memcpy(blob->kb_buffer, text.c_str(), blob->kb_length);
  blob->kb_encoding = KFI_BLOB_TEXT;
  return theProvider->answer("fetch " + nameOf(node));
}

int deportTree(kfi_domain* primary, kfi_domain* alternate, kfi_accessnode*) {
  if (theProvider->onDeport) theProvider->onDeport(primary->fid_provider);
  return theProvider->answer("deport_tree " + nameOf(primary) + " " + nameOf(alternate));
}

int dispose(kfi_domain*, kfi_domain* alternate, kfi_splitnode*, kfi_disposition disposition) {
  return theProvider->answer("dispose " + nameOf(alternate) + " " + std::to_string(disposition));
}

int online(kfi_domain*, kfi_domain* node, int mode, kfi_disposition disposition) {
  return theProvider->answer("online " + nameOf(node) + " " + std::to_string(mode) + " " + std::to_string(disposition));
}

int checkNodeExistence(kfi_domain* node, int* exists) {
  *exists = theProvider->nodeExists ? 1 : 0;
  return theProvider->answer("check_node_existence " + nameOf(node));
}

int disableAccess(kfi_node_subobj_list* list, long flags) {
  return theProvider->answer("disable_access " + nameOf(list->kns_node) + " " + list->subobjs->kso_objid->vid_name +
                             " " + std::to_string(flags));
}

int enableAccess(kfi_node_subobj_list* list, long, int, int) {
  const kfi_domain* const node = list->kns_node;
  std::array<char, 16> attributes{};
  std::snprintf(attributes.data(), attributes.size(), "%x", node->fid_attr);
  return theProvider->answer("enable_access " + nameOf(node) + " " + attributes.data() + " " +
                             list->subobjs->kso_objid->vid_name);
}

void cacheEnable(kfi_domain* node) {
  theProvider->answer("cache_enable " + nameOf(node));
}

int getProviderInfo(kfi_provider_list** list) {
  const char* const types[] = {"one", "two"};
  if (theProvider->leavesOut != "get_provider_info") {
    *list = qmfi_build_providerlist_node("sample", {7, 1, 2, 3}, 16, 2, types, 2);
  }
  return theProvider->answer("get_provider_info");
}

std::string textOrDash(const char* text) {
  return text != nullptr ? text : "-";
}

int format(char** devices, int count, char* extra1, char* type, char* extra2, int flags, char***, int*) {
  return theProvider->answer("format " + std::string(devices[0]) + " " + std::to_string(count) + " " +
                             textOrDash(extra1) + " " + textOrDash(type) + " " + textOrDash(extra2) + " " +
                             std::to_string(flags));
}

int onlineResource(char** devices, int count, char* mountPoint, char* type, char* options, char* extra3, int extra4,
                   char*** paths, int* pathCount) {
  const std::string path = mountPoint != nullptr ? mountPoint : "/chosen";
  *paths = static_cast<char**>(std::calloc(1, sizeof(char*)));
  **paths = static_cast<char*>(qmfi_alloc_buf(path.size() + 1));
  std::memcpy(**paths, path.c_str(), path.size() + 1);
  *pathCount = 1;
  return theProvider->answer("online_resource " + std::string(devices[0]) + " " + std::to_string(count) + " " +
                             textOrDash(mountPoint) + " " + textOrDash(type) + " " + textOrDash(options) + " " +
                             textOrDash(extra3) + " " + std::to_string(extra4));
}

int isParentPgn(char* device, int* isParent, int) {
  *isParent = theProvider->ownDevice == device ? 1 : 0;
  return theProvider->answer("is_parent_pgn " + std::string(device));
}

int errMsg(int status, const char** text) {
  *text = status == 3 ? "An argument is invalid." : "The operation failed.";
  return 0;
}

int getLastError(kfi_msg_info** list) {
  *list = nullptr;
  for (auto message = theProvider->pushed.rbegin(); message != theProvider->pushed.rend(); ++message) {
    *list = makeMessage(*message, *list);
  }
  return 0;
}

int delLastError(kfi_msg_info** list) {
  while (*list != nullptr) {
    kfi_msg_info* const next = (*list)->kmi_next;
    std::free((*list)->kmi_id);
    std::free((*list)->kmi_args);
    std::free(*list);
    *list = next;
  }
  theProvider->pushed.clear();
  return 0;
}

int getLocaleMessage(int* length, kfi_msg_info* record, const char* language, char** text) {
  theProvider->language = language;
  if (!theProvider->hasTexts) return theProvider->textStatus;
  *text = strdup(record->kmi_args);
  *length = static_cast<int>(std::strlen(*text));
  return 0;
}

int delLocaleMessage(char** text) {
  std::free(*text);
  *text = nullptr;
  return 0;
}

}  // namespace

FakeProvider::FakeProvider(Journal& journal) : m_journal(journal) {
  theProvider = this;
  m_entryPoints.fi_pgn_init = init;
  m_entryPoints.fi_pgn_fini = fini;
  m_entryPoints.fi_pgn_claim = claim;
  m_entryPoints.fi_pgn_init_node = initNode;
  m_entryPoints.fi_pgn_init_altnode = initAltNode;
  m_entryPoints.fi_pgn_deinit_node = deinitNode;
  m_entryPoints.fi_pgn_config = config;
  m_entryPoints.fi_pgn_subobj_list = subobjList;
  m_entryPoints.fi_pgn_quiesce = quiesce;
  m_entryPoints.fi_pgn_unquiesce = unquiesce;
  m_entryPoints.fi_pgn_build_alttree = buildAltTree;
  m_entryPoints.fi_pgn_process_providerstate = processProviderState;
  m_entryPoints.fi_pgn_deport_tree = deportTree;
  m_entryPoints.fi_pgn_dispose = dispose;
  m_entryPoints.fi_pgn_online = online;
  m_entryPoints.fi_pgn_check_node_existence = checkNodeExistence;
  m_entryPoints.fi_pgn_disable_access = disableAccess;
  m_entryPoints.fi_pgn_enable_access = enableAccess;
  m_entryPoints.fi_pgn_cache_enable = cacheEnable;
  m_entryPoints.fi_pgn_get_provider_info = getProviderInfo;
  m_entryPoints.fi_pgn_format = format;
  m_entryPoints.fi_pgn_online_resource = onlineResource;
  m_entryPoints.fi_pgn_is_parent_pgn = isParentPgn;
  m_entryPoints.fi_pgn_errmsg = errMsg;
  m_entryPoints.fi_pgn_get_last_error = getLastError;
  m_entryPoints.fi_pgn_del_last_error = delLastError;
  m_entryPoints.fi_pgn_get_locale_message = getLocaleMessage;
  m_entryPoints.fi_pgn_del_locale_message = delLocaleMessage;
}

FakeProvider::~FakeProvider() {
  theProvider = nullptr;
}

namespace {

// The whole call is found before its name.
template <typename Value>
const Value* found(const std::map<std::string, Value>& answers, const std::string& call) {
  for (const std::string& key : {call, call.substr(0, call.find(' '))}) {
    if (const auto answer = answers.find(key); answer != answers.end()) return &answer->second;
  }
  return nullptr;
}

}  // namespace

int FakeProvider::answer(const std::string& call) {
  m_journal.record(call);
  if (const auto* const own = found(messages, call)) pushed.insert(pushed.begin(), own->begin(), own->end());
  const int* const status = found(statuses, call);
  return status != nullptr ? *status : 0;
}

namespace {

class FakeSplit : public qmfi_host::GroupSplit {
 public:
  FakeSplit(Journal& journal, const FakeSplitter& splitter, std::vector<qmfi_host::SplitPlan> plans)
      : m_journal(journal), m_splitter(splitter), m_plans(std::move(plans)) {}

  void flush() override {
    for (const qmfi_host::SplitPlan& plan : m_plans) m_journal.record("flush " + plan.device);
  }

  int split(std::chrono::steady_clock::time_point deadline) noexcept override {
    m_splitter.deadline = deadline;
    for (const qmfi_host::SplitPlan& plan : m_plans) {
      m_journal.record("split " + plan.device);
      if (m_splitter.onSplit) m_splitter.onSplit();
      if (m_splitter.splitError != 0) break;
    }
    return m_splitter.splitError;
  }

  void requireSplit() override {
    const int error = m_splitter.splitError;
    const std::string what = "the volume " + m_plans.front().device + " could not be split";
    if (error != 0) throw qmfi_host::systemError(what, error);
    if (!m_splitter.lateFailure.empty()) throw qmfi_host::HostError(m_splitter.lateFailure);
  }

 private:
  Journal& m_journal;
  const FakeSplitter& m_splitter;
  std::vector<qmfi_host::SplitPlan> m_plans;
};

class FakeDevice : public qmfi_host::SnapshotDevice {
 public:
  FakeDevice(Journal& journal, std::string device) : m_journal(journal), m_device(std::move(device)) {}
  ~FakeDevice() override { m_journal.record("let go " + m_device); }

 private:
  Journal& m_journal;
  std::string m_device;
};

}  // namespace

void FakeSplitter::record(const std::string& call) const {
  m_journal.record(call);
  if (call == failingCall) throw qmfi_host::HostError(call + " failed");
}

void FakeSplitter::requireUsable() const {
  record("use");
}

// The volume consists of something that is not on the file systems of the tests.
qmfi_host::SplitPlan FakeSplitter::plan(const std::string& device, const std::string& snapshotId) const {
  record("plan " + device);
  return {device, device + "-" + snapshotId, "/dev/null", "/dev/null-" + snapshotId, {}, name()};
}

std::unique_ptr<qmfi_host::GroupSplit> FakeSplitter::prepare(const std::vector<qmfi_host::SplitPlan>& plans) const {
  for (const qmfi_host::SplitPlan& plan : plans) record("prepare " + plan.device);
  return std::make_unique<FakeSplit>(m_journal, *this, plans);
}

std::unique_ptr<qmfi_host::SnapshotDevice> FakeSplitter::attach(const qmfi_host::SplitPlan& plan) const {
  record("attach " + plan.device);
  return std::make_unique<FakeDevice>(m_journal, plan.device);
}

void FakeSplitter::detach(const qmfi_host::SplitPlan& plan) const {
  record("detach " + plan.device);
}

qmfi_host::VolumeStatus FakeSplitter::look(const qmfi_host::SplitPlan& plan, qmfi_host::LookAt what) const {
  const auto volume = volumes.find(plan.device);
  if (volume == volumes.end()) return {};
  qmfi_host::VolumeStatus status = volume->second;
  if (what == qmfi_host::LookAt::everything) return status;
  status.storage.clear();
  status.occupied = status.needs = status.free = 0;
  return status;
}

void FakeSplitter::keepRecord(const qmfi_host::SplitPlan& plan, const std::string& text) const {
  record("keep " + plan.device);
  kept[plan.device] = text;
}

std::vector<qmfi_host::KeptRecord> FakeSplitter::records() const {
  return found;
}

void FakeSplitter::release(const qmfi_host::SplitPlan& plan) const {
  record("release " + plan.device);
}

namespace {

class FakeFileSystem : public qmfi_host::MountedFileSystem {
 public:
  FakeFileSystem(const FakeFileSystems& all, std::string mountPoint)
      : m_all(all), m_mountPoint(std::move(mountPoint)) {}

  const std::string& mountPoint() const override { return m_mountPoint; }
  qmfi_pdk_4_4::CFiFreezableFileSystem freezable() const override { return {-1}; }
  void flush() override {}
  int freezeAgain() noexcept override { return m_all.onSecondFreeze ? m_all.onSecondFreeze(m_mountPoint) : EBUSY; }
  qmfi_pdk_4_4::CFiThawAnswer thaw() noexcept override {
    m_all.thawed.push_back(m_mountPoint);
    return {false, m_all.thawError};
  }

 private:
  const FakeFileSystems& m_all;
  std::string m_mountPoint;
};

}  // namespace

std::unique_ptr<qmfi_host::MountedFileSystem> FakeFileSystems::open(const qmfi_host::FileSystemPlace& place) const {
  return std::make_unique<FakeFileSystem>(*this, place.mountPoint);
}

void FakeDirectories::record(const std::string& call) const {
  m_journal.record(call);
  if (call == failingCall) throw qmfi_host::HostError(call + " failed");
}

std::string FakeDirectories::plan(const std::filesystem::path& directory, const std::string& snapshotName,
                                  const std::string& mountPoint) const {
  return directory.string() + "/" + snapshotName + mountPoint;
}

void FakeDirectories::claim(const qmfi_host::Snapshot& snapshot) const {
  record("claim " + snapshot.name);
}

void FakeDirectories::make(const qmfi_host::Snapshot&, const qmfi_host::SnapshotNode& node) const {
  record("make " + node.alternate);
}

void FakeDirectories::secure(const qmfi_host::SnapshotNode& node) const {
  record("secure " + node.alternate);
}
