// A host that drives the plug-in through a script of calls.
#include "host.h"

#include "support/mutex_faults.h"

namespace faults {

Host::Host(Machine& theMachine) : machine(theMachine), call(provider.call) {}

Host::~Host() {
  stop();
}

bool Host::start() {
  m_started = true;
  m_status = provider.start();
  record("init");
  if (whenStarted) whenStarted();
  return m_status == 0;
}

void Host::stop() {
  for (kfi_domain& node : m_nodes) {
    if (node.fid_private == nullptr && node.fid_qnode == nullptr) continue;
    makeVoid("deinit_node", [&] { call.deinit_node(&node); });
  }
  m_nodes.clear();
  m_configuration = nullptr;
  if (!m_started) return;
  m_started = false;
  provider.stop();
  m_transcript.push_back({.entryPoint = "fini"});
}

void Host::record(const char* entryPoint) {
  CallRecord made{.entryPoint = entryPoint, .status = m_status};
  made.faultHappened = allocationFaultHappened() || mutexFaultHappened();
  made.messages = provider.takeMessages();
  made.tracedFailure = m_status != 0 && machine.tracedFailure();
  m_transcript.push_back(std::move(made));
}

kfi_domain& Host::node(const std::string& name) {
  kfi_domain& made = m_nodes.emplace_back();
  made.fid_objid = provider.object(name);
  made.fid_provider = text("qmfsfi");
  return made;
}

kfi_domain& Host::configuration() {
  if (m_configuration == nullptr) {
    m_configuration = &node("configuration");
    make("init_node", [&] { return call.init_node(m_configuration, nullptr, 0, nullptr); });
  }
  return *m_configuration;
}

kfi_domain& Host::initialisedNode(const std::string& mountPoint) {
  kfi_domain* domain = &configuration();
  kfi_domain& made = node(mountPoint);
  make("init_node", [&] { return call.init_node(&made, &domain, 1, nullptr); });
  const kfi_quiescenode* const quiesceNode = made.fid_qnode;
  output(quiesceNode != nullptr ? quiesceNode->kqn_fitype : "no quiesce node");
  return made;
}

char* Host::text(std::string_view value) {
  const SoundRegion region;
  return m_texts.emplace_back(value).data();
}

}  // namespace faults
