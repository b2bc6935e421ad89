// The operations of a provider, with the arguments that no host gives left out.
#include <cstdlib>
#include <cstring>

#include "cfiscopeexit.h"
#include "provider/node.h"
#include "provider/provider.h"
#include "texts/translation.h"

namespace qmfi_host {

using qmfi_pdk_4_4::CFiScopeExit;

namespace {

std::string versionText(const kfi_version& version) {
  return std::to_string(version.kv_major) + "." + std::to_string(version.kv_minor) + "." +
         std::to_string(version.kv_patch) + "." + std::to_string(version.kv_build);
}

ProviderIdentity identityOf(const kfi_provider_list& record) {
  ProviderIdentity identity{record.kpl_name, versionText(record.kpl_version), {}, {}};
  identity.attributes.assign(std::begin(record.kpl_attr), std::end(record.kpl_attr));
  for (const kfi_string_list* type = record.kpl_fitypes; type != nullptr; type = type->ksl_next) {
    identity.fileSystemTypes.emplace_back(type->ksl_value);
  }
  return identity;
}

// The list of one node with its device, as the calls about access take it.
class AccessList {
 public:
  AccessList(Node& node, const std::string& device)
      : m_device{objectOf(device, ObjectKind::object), nullptr}, m_list{node.domain(), &m_device, nullptr} {}
  AccessList(const AccessList&) = delete;
  AccessList& operator=(const AccessList&) = delete;

  kfi_node_subobj_list* get() { return &m_list; }

 private:
  kfi_subobj_list m_device;
  kfi_node_subobj_list m_list;
};

// The path list that a provider hands out.
class PathList {
 public:
  PathList() = default;
  PathList(const PathList&) = delete;
  PathList& operator=(const PathList&) = delete;
  ~PathList() {
    for (int i = 0; i < count; ++i) qmfi_free_buf(paths[i], std::strlen(paths[i]) + 1);
    std::free(paths);
  }

  char** paths = nullptr;
  int count = 0;
};

}  // namespace

ProviderIdentity Provider::identity() {
  const std::string what = translate("the provider does not say what it is");
  kfi_provider_list* list = nullptr;
  const CFiScopeExit release([&] { qmfi_free_providerlist(list); });
  run(m_name, what, [&](const ProviderEntryPoints& calls) { return calls.fi_pgn_get_provider_info(&list); });
  if (list == nullptr) throw HostError(what).about(m_name);
  return identityOf(*list);
}

ClaimAnswer Provider::claim(const std::string& path) {
  qmfi_objid** groups = nullptr;
  int count = 0;
  takeMessages();
  const int answer = m_entryPoints.fi_pgn_claim(objectOf(path, ObjectKind::path), &groups, &count);
  if (answer == 0) return {};
  if (answer != KFI_CLAIMED) {
    ProviderError error = failure(translate("{0} could not be claimed", path), answer);
    error.about(path);
    throw ProviderError(error);
  }
  ClaimAnswer own{true, {}};
  for (int i = 0; i < count; ++i) own.groups.emplace_back(groups[i]->vid_name);
  return own;
}

bool Provider::ownsContentOf(const std::string& device) {
  int own = 0;
  std::string name = device;
  run(device, translate("{0} could not be looked up", device),
      [&](const ProviderEntryPoints& calls) { return calls.fi_pgn_is_parent_pgn(name.data(), &own, 0); });
  return own != 0;
}

int Provider::quiesce(std::vector<kfi_quiescenode*>& nodes) noexcept {
  return m_entryPoints.fi_pgn_quiesce(nullptr, nodes.data(), static_cast<int>(nodes.size()), nullptr);
}

void Provider::unquiesce(std::vector<kfi_quiescenode*>& nodes) noexcept {
  m_entryPoints.fi_pgn_unquiesce(nullptr, nodes.data(), static_cast<int>(nodes.size()));
}

std::string Provider::buildAlternate(Node& primary, const std::string& session, const std::string& device,
                                     const std::string& snapshotDevice) {
  std::string sessionName = session;
  qmfi_objid* object = objectOf(device, ObjectKind::object);
  qmfi_objid* snapshotObject = objectOf(snapshotDevice, ObjectKind::object);
  qmfi_objid* alternate = nullptr;
  run(primary.name(), translate("the snapshot of {0} could not be mounted", primary.name()),
      [&](const ProviderEntryPoints& calls) {
        return calls.fi_pgn_build_alttree(primary.domain(), sessionName.data(), &object, &snapshotObject, 1,
                                          &alternate);
      });
  if (alternate == nullptr) {
    throw HostError(
        translate("the provider {0} does not say where the snapshot of {1} is mounted", m_name, primary.name()))
        .about(primary.name());
  }
  return alternate->vid_name;
}

void Provider::online(Node& primary, Node& alternate) {
  run(alternate.name(), translate("{0} could not be mounted", alternate.name()), [&](const ProviderEntryPoints& calls) {
    return calls.fi_pgn_online(primary.domain(), alternate.domain(), KFI_ONLINE_BRING, KFI_DISPOSITION_KEEP);
  });
}

void Provider::takeOffline(Node& primary, Node& alternate) {
  run(alternate.name(), translate("{0} could not be unmounted", alternate.name()),
      [&](const ProviderEntryPoints& calls) {
        return calls.fi_pgn_dispose(primary.domain(), alternate.domain(), nullptr, KFI_DISPOSITION_REMOVE);
      });
}

void Provider::unmountOnly(Node& primary, Node& alternate) {
  run(alternate.name(), translate("{0} could not be unmounted", alternate.name()),
      [&](const ProviderEntryPoints& calls) {
        return calls.fi_pgn_online(primary.domain(), alternate.domain(), KFI_ONLINE_TAKE_OFFLINE, KFI_DISPOSITION_KEEP);
      });
}

void Provider::deport(Node& primary, Node& alternate) {
  run(alternate.name(), translate("{0} could not be unmounted", alternate.name()),
      [&](const ProviderEntryPoints& calls) {
        return calls.fi_pgn_deport_tree(primary.domain(), alternate.domain(), nullptr);
      });
}

bool Provider::isMounted(Node& node) {
  int exists = 0;
  run(node.name(), translate("{0} could not be looked up", node.name()),
      [&](const ProviderEntryPoints& calls) { return calls.fi_pgn_check_node_existence(node.domain(), &exists); });
  return exists != 0;
}

void Provider::disableAccess(Node& node, const std::string& device, bool force) {
  AccessList list(node, device);
  run(node.name(), translate("{0} could not be taken out of use", node.name()), [&](const ProviderEntryPoints& calls) {
    return calls.fi_pgn_disable_access(list.get(), force ? KFI_ACCESS_BY_FORCE : 0);
  });
}

void Provider::enableAccess(Node& node, const std::string& device) {
  node.domain()->fid_attr = KFI_ATTR_FILE_SYSTEM_NODE | KFI_ATTR_ACCESS_DISABLED;
  AccessList list(node, device);
  run(node.name(), translate("{0} could not be brought back into use", node.name()),
      [&](const ProviderEntryPoints& calls) { return calls.fi_pgn_enable_access(list.get(), 0, 0, 0); });
}

// It has no status: a failure is known by its messages.
void Provider::enableCache(Node& node) {
  takeMessages();
  m_entryPoints.fi_pgn_cache_enable(node.domain());
  throwIfMessages(translate("the cache of {0} could not be enabled", node.name()));
}

void Provider::disableCache(Node& node) {
  run(node.name(), translate("the cache of {0} could not be disabled", node.name()),
      [&](const ProviderEntryPoints& calls) { return calls.fi_pgn_cache_disable(node.domain()); });
}

void Provider::format(const std::string& device) {
  std::string name = device;
  char* devices[] = {name.data()};
  char** paths = nullptr;
  int count = 0;
  run(device, translate("{0} could not be formatted", device), [&](const ProviderEntryPoints& calls) {
    return calls.fi_pgn_format(devices, 1, nullptr, nullptr, nullptr, KFI_FORMAT_DEVICE, &paths, &count);
  });
}

std::vector<std::string> Provider::bringOnline(const std::string& device, const std::optional<std::string>& mountPoint,
                                               const std::optional<std::string>& options) {
  std::string name = device;
  std::string directory = mountPoint.value_or("");
  std::string optionList = "mountOptions=" + options.value_or("");
  char* devices[] = {name.data()};
  PathList mounted;
  run(device, translate("{0} could not be brought online", device), [&](const ProviderEntryPoints& calls) {
    return calls.fi_pgn_online_resource(devices, 1, mountPoint ? directory.data() : nullptr, nullptr,
                                        options ? optionList.data() : nullptr, nullptr, 0, &mounted.paths,
                                        &mounted.count);
  });
  return {mounted.paths, mounted.paths + mounted.count};
}

}  // namespace qmfi_host
