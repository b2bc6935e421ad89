// The calls of one of many threads: its nodes, and the calls about nodes, snapshots, sessions and messages.
#include "thread_calls.h"

#include <cstdlib>

namespace faults {

namespace {

constexpr int refused = 6;

void claim(Worker& worker) {
  for (const std::string& name : {worker.mountPoint, worker.shared.mountPoint}) {
    qmfi_objid** groups = nullptr;
    int count = 0;
    worker.expect("claim", 1, worker.call.claim(worker.provider.object(name), &groups, &count));
  }
}

void supportsType(Worker& worker) {
  int supported = 7;
  kfi_domain node = worker.named(worker.name);
  node.fid_supported = &supported;
  std::string type = "qmfs";
  worker.expect("supports_fitype", 0, worker.call.supports_fitype(&node, type.data()));
}

void initialiseNode(Worker& worker) {
  kfi_domain node = worker.named(worker.mountPoint);
  kfi_domain* configuration = &worker.configuration;
  worker.expect("init_node", 0, worker.call.init_node(&node, &configuration, 1, nullptr));
  worker.call.deinit_node(&node);
  worker.expect("deinit_node", 0, 0);
}

void initialiseAlternates(Worker& worker) {
  kfi_domain node = worker.named(worker.mountPoint);
  worker.expect("init_altnode", 0, worker.call.init_altnode(&worker.node, nullptr, &node));
  worker.call.deinit_node(&node);
  worker.expect("init_remnode", 0, worker.call.init_remnode(&worker.node, nullptr, &node));
  worker.call.deinit_node(&node);
}

void configure(Worker& worker) {
  std::string name = "qmfsFreezeTimeout";
  std::string value = "5";
  kfi_confspec timeout{name.data(), value.data(), nullptr};
  worker.expect("config", 0, worker.call.config(&worker.configuration, 0, nullptr, &timeout));
}

void reaccess(Worker& worker) {
  qmfi_objid* const object = worker.provider.object(worker.mountPoint);
  const int status = worker.call.reaccess_altnode(&worker.alternate, object, nullptr, nullptr, nullptr, nullptr, 0, 0);
  worker.expect("reaccess_altnode", 0, status);
}

void keepWhatIsThere(Worker& worker) {
  constexpr int keep = 0;
  constexpr int neitherOnNorOff = 3;
  constexpr int enableNothing = 1;
  worker.expect("dispose", 0, worker.call.dispose(nullptr, &worker.node, nullptr, keep));
  worker.expect("online", 0, worker.call.online(nullptr, &worker.node, neitherOnNorOff, keep));
  worker.expect("enable_access", 0, worker.call.enable_access(nullptr, 0, 0, enableNothing));
  worker.expect("format", 0, worker.call.format(nullptr, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr));
}

void listSubObjects(Worker& worker) {
  qmfi_objid** objects = nullptr;
  int count = 0;
  worker.expect("subobj_list", 0, worker.call.subobj_list(&worker.node, &objects, &count));
  worker.call.qmfi_free_buf(objects, static_cast<std::size_t>(count) * sizeof(void*));
}

// One thread at a time may have file systems frozen; the others are refused.
void quiesce(Worker& worker) {
  kfi_quiescenode* const node = worker.node.fid_qnode;
  const int status = worker.call.quiesce(node, nullptr, 0, nullptr);
  worker.expect("quiesce", status == refused ? refused : 0, status);
  if (status != 0) return;
  worker.call.unquiesce(node, nullptr, 0);
  worker.expect("unquiesce", 0, 0);
}

void exists(Worker& worker) {
  int exists = 0;
  worker.expect("check_node_existence", 0, worker.call.check_node_existence(&worker.node, &exists));
  worker.expect("check_node_existence", 1, exists);
  std::string path = worker.mountPoint;
  worker.expect("is_parent_pgn", 0, worker.call.is_parent_pgn(path.data(), &exists, 0));
}

void keepState(Worker& worker) {
  constexpr int fetch = 1;
  constexpr int store = 0;
  kfi_blob blob{};
  worker.expect("process_providerstate", 0, worker.call.process_providerstate(&worker.node, &blob, fetch));
  kfi_domain node = worker.named(worker.name + "_state");
  worker.expect("process_providerstate", 0, worker.call.process_providerstate(&node, &blob, store));
  worker.call.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
  worker.call.deinit_node(&node);
}

// Messages of all threads come in one list.
void message(Worker& worker) {
  kfi_domain node = worker.named("/not/mounted");
  worker.expect("init_altnode", 6, worker.call.init_altnode(nullptr, nullptr, &node));
  worker.call.deinit_node(&node);
  kfi_msg_info* list = nullptr;
  worker.expect("get_last_error", 0, worker.call.get_last_error(&list));
  char* text = nullptr;
  int length = 0;
  if (list != nullptr) {
    worker.expect("get_locale_message", 0, worker.call.get_locale_message(&length, list, "de_AT", &text));
    worker.expect("del_locale_message", 0, worker.call.del_locale_message(&text));
  }
  worker.expect("del_last_error", 0, worker.call.del_last_error(&list));
  const char* sentence = nullptr;
  worker.expect("errmsg", 0, worker.call.errmsg(1088, &sentence));
}

void session(Worker& worker) {
  constexpr int notSupported = 2;
  kfi_splitnode node{worker.mountPoint.data(), &worker.node};
  char* const session = worker.name.data();
  qmfi_objid** objects = nullptr;
  int count = 0;
  auto& call = worker.call;
  worker.expect("preselect", 0, call.preselect(&node, session, nullptr, 0));
  worker.expect("select", notSupported, call.select(&node, session, nullptr, 0));
  worker.expect("prepare", notSupported, call.prepare(&node, session, nullptr, 0, 0));
  worker.expect("make", notSupported, call.make(&node, session, nullptr, 0, &objects, &count));
  worker.expect("isready", notSupported, call.isready(&node, session, nullptr, 0));
  worker.expect("verify_qscombos", notSupported, call.verify_qscombos(&node, nullptr, 0));
  worker.expect("set_import_options", notSupported, call.set_import_options(&node, nullptr, 0, nullptr, 0, nullptr));
  worker.expect("update_snapshot_handle", notSupported, call.update_snapshot_handle(session, nullptr));
}

void information(Worker& worker) {
  kfi_provider_list* list = nullptr;
  worker.expect("get_provider_info", 0, worker.call.get_provider_info(&list));
  worker.call.qmfi_free_providerlist(list);
  std::string input = "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=name value=value type=string /> </OBJCTL_ARG_LIST>";
  std::string operation = "operation";
  char* output = nullptr;
  int result = 0;
  worker.expect("objctl", 0, worker.call.objctl(operation.data(), input.data(), &output, &result));
  std::free(output);
}

void mountedResource(Worker& worker) {
  worker.bringOnline(worker.shared.device, worker.shared.mountPoint);
}

void lookUp(Worker& worker) {
  char* found = nullptr;
  char* options = nullptr;
  worker.expect("qmfs_getmnt", 1, worker.call.qmfs_getmnt(worker.shared.device.c_str(), &found, &options));
  std::free(found);
  std::free(options);
  worker.expect("qmfs_getsubobj", 1, worker.call.qmfs_getsubobj(worker.mountPoint.c_str(), &found, &options));
  std::free(found);
  std::free(options);
  worker.expect("qmfs_check_claim", 1, worker.call.qmfs_check_claim(worker.mountPoint.c_str()));
  qmfi_objid* object = nullptr;
  worker.expect("fipgn_get_objid", 0, worker.call.fipgn_get_objid(worker.name.c_str(), &object));
}

}  // namespace

const std::vector<ThreadCall>& quickThreadCalls() {
  static const std::vector<ThreadCall> calls = {
      claim,     supportsType, initialiseNode,  initialiseAlternates,
      configure, reaccess,     keepWhatIsThere, listSubObjects,
      quiesce,   exists,       keepState,       message,
      session,   information,  mountedResource, lookUp,
  };
  return calls;
}

Worker::Worker(Provider& theProvider, const SharedNames& sharedNames, const std::string& ownMountPoint,
               std::uint64_t seed, Record& record)
    : provider(theProvider),
      call(theProvider.call),
      shared(sharedNames),
      mountPoint(ownMountPoint),
      name(ownMountPoint + "_session"),
      m_random(seed),
      m_record(record) {
  configuration = named(mountPoint + "_configuration");
  node = named(mountPoint);
  alternate = named(mountPoint + "_alternate");
  restored = named(mountPoint + "_restored");
  kfi_domain* list = &configuration;
  expect("init_node", 0, call.init_node(&configuration, nullptr, 0, nullptr));
  expect("init_node", 0, call.init_node(&node, &list, 1, nullptr));
  std::string state = "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/spare</SUBOBJ>\n";
  kfi_blob blob{state.size() + 1, state.data(), 1};
  expect("process_providerstate", 0, call.process_providerstate(&restored, &blob, 0));
}

Worker::~Worker() {
  for (kfi_domain* one : {&node, &alternate, &restored, &configuration}) call.deinit_node(one);
}

void Worker::bringOnline(std::string device, std::string place) {
  char* devices[] = {device.data()};
  char** paths = nullptr;
  int count = 0;
  const int status = call.online_resource(devices, 1, place.data(), nullptr, nullptr, nullptr, 0, &paths, &count);
  expect("online_resource", 0, status);
  if (status != 0) return;
  call.qmfi_free_buf(paths[0], place.size() + 1);
  std::free(paths);
}

kfi_domain Worker::named(const std::string& nodeName) {
  kfi_domain made{};
  made.fid_objid = provider.object(nodeName);
  made.fid_provider = const_cast<char*>("qmfsfi");
  return made;
}

void Worker::expect(const char* entryPoint, int expected, int status) {
  ++m_callsMade;
  ++m_record.calls[entryPoint];
  if (status == expected) return;
  m_record.failures.push_back(mountPoint + ": " + entryPoint + " gave " + std::to_string(status) + " instead of " +
                              std::to_string(expected));
}

void Worker::work(int calls) {
  constexpr std::uint64_t oneOf = 200;
  constexpr std::uint64_t runProgram = 1;
  constexpr std::uint64_t askBase = 100;
  for (const int last = m_callsMade + calls; m_callsMade < last;) {
    const std::uint64_t kind = m_random() % oneOf;
    const auto& list = kind < runProgram ? commandThreadCalls()
                       : kind < askBase  ? baseThreadCalls()
                                         : quickThreadCalls();
    list[m_random() % list.size()](*this);
  }
}

}  // namespace faults
