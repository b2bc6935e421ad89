// Calls about one node.
#include "provider/node.h"

#include <algorithm>
#include <utility>

#include "cfiscopeexit.h"
#include "texts/translation.h"

namespace qmfi_host {

using qmfi_pdk_4_4::CFiScopeExit;

qmfi_objid* objectOf(const std::string& name, ObjectKind kind) {
  qmfi_objid* const object =
      qmfi_get_objid(name.c_str(), static_cast<std::uint32_t>(name.size()), static_cast<std::int32_t>(kind));
  if (object == nullptr) throw HostError(translate("\"{0}\" cannot be the name of an object", name));
  return object;
}

Node::Node(Provider& provider, const std::string& name, ObjectKind kind)
    : m_provider(provider), m_name(name), m_providerName(provider.name()) {
  m_domain.fid_objid = objectOf(name, kind);
  m_domain.fid_name = m_domain.fid_objid->vid_name;
  m_domain.fid_provider = m_providerName.data();
}

Node::~Node() {
  m_provider.m_entryPoints.fi_pgn_deinit_node(&m_domain);
}

void Node::initialise(Node* config) {
  kfi_domain* domains[] = {config != nullptr ? config->domain() : nullptr};
  m_provider.run(m_name, translate("{0} could not be initialised", m_name), [&](const ProviderEntryPoints& provider) {
    return provider.fi_pgn_init_node(&m_domain, config != nullptr ? domains : nullptr, config != nullptr ? 1 : 0,
                                     m_domain.fid_objid);
  });
}

void Node::initialiseAlternate(Node& primary) {
  m_provider.run(m_name, translate("{0} could not be initialised", m_name), [&](const ProviderEntryPoints& provider) {
    return provider.fi_pgn_init_altnode(primary.domain(), primary.domain(), &m_domain);
  });
}

void Node::configure(const std::string& parameter, const std::string& value) {
  std::string name = parameter;
  std::string text = value;
  kfi_confspec spec{name.data(), text.data(), nullptr};
  m_provider.run(
      m_name, translate("the parameter {0} could not be set", parameter),
      [&](const ProviderEntryPoints& provider) { return provider.fi_pgn_config(&m_domain, 0, nullptr, &spec); });
}

std::vector<std::string> Node::subObjects() {
  qmfi_objid** objects = nullptr;
  int count = 0;
  const CFiScopeExit release([&] { qmfi_free_buf(objects, static_cast<std::size_t>(count) * sizeof(void*)); });
  m_provider.run(
      m_name, translate("the devices of {0} could not be listed", m_name),
      [&](const ProviderEntryPoints& provider) { return provider.fi_pgn_subobj_list(&m_domain, &objects, &count); });
  std::vector<std::string> names;
  std::transform(objects, objects + count, std::back_inserter(names),
                 [](const qmfi_objid* object) { return object->vid_name; });
  return names;
}

kfi_quiescenode* Node::quiesceNode() const {
  if (m_domain.fid_qnode != nullptr) return m_domain.fid_qnode;
  throw HostError(
      translate("the provider {0} does not say how {1} is frozen: it made no quiesce node", m_provider.name(), m_name));
}

void Node::nameAlternate(const std::string& alternate) {
  m_alternate = alternate;
  m_entries[0] = {m_name.data(), m_alternate.data()};
  m_domain.fid_subobjs = m_entries.data();
}

NodeState Node::fetchState() {
  kfi_blob blob{};
  const CFiScopeExit release([&] { qmfi_free_buf(blob.kb_buffer, blob.kb_length); });
  m_provider.run(m_name, translate("the state of {0} could not be fetched", m_name),
                 [&](const ProviderEntryPoints& provider) {
                   return provider.fi_pgn_process_providerstate(&m_domain, &blob, KFI_PROVIDERSTATE_FETCH);
                 });
  if (blob.kb_buffer == nullptr || blob.kb_length == 0) return {};
  return NodeState(blob.kb_buffer, blob.kb_length - 1);
}

void Node::storeState(const NodeState& state) {
  NodeState text = state;
  kfi_blob blob{text.size() + 1, text.data(), KFI_BLOB_TEXT, 0};
  m_provider.run(m_name, translate("the state of {0} could not be restored", m_name),
                 [&](const ProviderEntryPoints& provider) {
                   return provider.fi_pgn_process_providerstate(&m_domain, &blob, KFI_PROVIDERSTATE_STORE);
                 });
}

}  // namespace qmfi_host
