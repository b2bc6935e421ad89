// The entry points of a provider: one exported function for each operation that a framework can call.
//
// Written once for any provider. One source file of a provider defines FI_PLUGIN_PREFIX (its name) and FI_PLUGIN_CLASS
// (its class, derived from CFiPluginBase and default constructible) and then includes this header, which also defines
// the provider's name strings there. Every function may be called from any thread, except that init and fini are called
// once each with no other call in flight. Statuses of the frame itself: 1 the delayed initialisation failed, 3 an
// argument is missing, 6 an exception was caught, 7 init was given no version record.
#ifndef CFIAPIEXPORT_H
#define CFIAPIEXPORT_H

#include "cfiapilifecycle.h"
#include "cfiapiobjctl.h"
#include "cfiapisession.h"
#include "cfientryguard.h"

#include <iostream>
#include <new>
#include <string>

#ifndef FI_PLUGIN_CLASS
#error "define FI_PLUGIN_CLASS to the provider's class"
#endif

namespace qmfi_pdk_4_4 {

// Empty when memory is short.
inline std::wstring wideNameOrNone(const wchar_t* name) noexcept {
  try {
    return name;
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace qmfi_pdk_4_4

// A library that is being loaded has nobody to tell that memory is short: the first is not a copy, the last is short
// enough to need none.
ACE_String_Base<char> cfi_pgn_name_tstr(CFI_TEXT(FI_PLUGIN_PREFIX), nullptr, false);
std::wstring cfi_pgn_name_wstr(qmfi_pdk_4_4::wideNameOrNone(CFI_WIDE(CFI_TEXT(FI_PLUGIN_PREFIX))));
std::string cfi_pgn_name_str(CFI_TEXT(FI_PLUGIN_PREFIX));

extern "C" {
// NOLINTNEXTLINE(bugprone-macro-parentheses): these are a type and a list of types.
#define FI_ENTRY_POINT(suffix, result, parameters) result FI_PGN(suffix) parameters;
#include "cfientrypoints.def"
#undef FI_ENTRY_POINT
}

namespace qmfi_pdk_4_4 {

// The common entry point with the provider class of this plug-in.
template <typename Call>
int enterWithDelayedInit(const char* entryPoint, int line, Call&& call) {
  return enterPlugin<FI_PLUGIN_CLASS>(entryPoint, line, DelayedInit::run, call);
}

// The same without the delayed initialisation.
template <typename Call>
int enterAtOnce(const char* entryPoint, int line, Call&& call) {
  return enterPlugin<FI_PLUGIN_CLASS>(entryPoint, line, DelayedInit::skip, call);
}

}  // namespace qmfi_pdk_4_4

#define FI_PGN_PLACE(suffix) FI_PGN_TEXT(suffix), __LINE__

extern "C" {

using namespace qmfi_pdk_4_4;

int FI_PGN(fi_pgn_init)(kfi_context* context, kfi_version* version, char* fimName) {
  return guardEntryPoint(__LINE__, [&] { return startPlugin<FI_PLUGIN_CLASS>(context, version, fimName); });
}

void FI_PGN(fi_pgn_fini)() {
  guardEntryPoint(__LINE__, [] {
    stopPlugin<FI_PLUGIN_CLASS>(FI_PGN_TEXT(fi_pgn_fini), __LINE__);
    return 0;
  });
}

int FI_PGN(fi_pgn_claim)(qmfi_objid* object, qmfi_objid*** groups, int* count) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_claim),
                     [&](FI_PLUGIN_CLASS& plugin) { return plugin.claim(object, groups, count); });
}

int FI_PGN(fi_pgn_supports_fitype)(kfi_domain* domain, char* fiType) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_supports_fitype),
                     [&](FI_PLUGIN_CLASS& plugin) { return plugin.supportsFiType(domain, fiType); });
}

int FI_PGN(fi_pgn_deport_tree)(kfi_domain* primary, kfi_domain* alternate, kfi_accessnode* access) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_deport_tree),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.deportTree(primary, alternate, access); });
}

int FI_PGN(fi_pgn_import_tree)(kfi_domain* domain, qmfi_objid** objects, qmfi_objid** snapObjects, int count,
                               qmfi_objid** altObject) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_import_tree), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.importTreeNode(domain, objects, snapObjects, count, altObject);
  });
}

int FI_PGN(fi_pgn_init_node)(kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* object) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_init_node),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.initNode(node, domains, count, object); });
}

int FI_PGN(fi_pgn_config)(kfi_domain* node, int category, char* text, kfi_confspec* spec) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_config), [&](FI_PLUGIN_CLASS& plugin) -> int {
    if (node == nullptr || spec == nullptr) {
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    return plugin.config(node, category, text, spec);
  });
}

int FI_PGN(fi_pgn_init_altnode)(kfi_domain* first, kfi_domain* second, kfi_domain* target) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_init_altnode), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.initAltNode(first, second, target, false);
  });
}

int FI_PGN(fi_pgn_init_remnode)(kfi_domain* first, kfi_domain* second, kfi_domain* target) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_init_remnode),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.initAltNode(first, second, target, true); });
}

int FI_PGN(fi_pgn_reaccess_tmpobj)(kfi_domain* domain, qmfi_objid* object, char* name, kfi_domain* other,
                                   char* otherName, kfi_intent intent) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_reaccess_tmpobj), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.reAccessTmpObj(domain, object, name, other, otherName, intent);
  });
}

int FI_PGN(fi_pgn_reaccess_altnode)(kfi_domain* domain, qmfi_objid* altObject, qmfi_objid* other, char* name,
                                    qmfi_objid** out1, qmfi_objid** out2, int count, kfi_intent intent) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_reaccess_altnode), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.reAccessAltNode(domain, altObject, other, name, out1, out2, count, intent);
  });
}

void FI_PGN(fi_pgn_deinit_node)(kfi_domain* node) {
  enterAtOnce(FI_PGN_PLACE(fi_pgn_deinit_node), [&](FI_PLUGIN_CLASS& plugin) { return plugin.deInitNode(node); });
}

int FI_PGN(fi_pgn_dispose)(kfi_domain* first, kfi_domain* node, kfi_splitnode* splitNode, kfi_disposition disposition) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_dispose), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.dispose(first, node, splitNode, disposition);
  });
}

int FI_PGN(fi_pgn_online)(kfi_domain* domain, kfi_domain* node, int mode, kfi_disposition disposition) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_online),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.online(domain, node, mode, disposition); });
}

int FI_PGN(fi_pgn_subobj_list)(kfi_domain* node, qmfi_objid*** objects, int* count) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_subobj_list), [&](FI_PLUGIN_CLASS& plugin) -> int {
    if (node == nullptr || objects == nullptr || count == nullptr) {
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    return plugin.subobjList(node, objects, count);
  });
}

int FI_PGN(fi_pgn_errmsg)(int status, const char** text) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_errmsg), [&](FI_PLUGIN_CLASS& plugin) { return plugin.errMsg(status, text); });
}

int FI_PGN(fi_pgn_build_alttree)(kfi_domain* domain, char* fiid, qmfi_objid** objects, qmfi_objid** snapObjects,
                                 int count, qmfi_objid** altObject) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_build_alttree), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.buildAltTree(domain, fiid, objects, snapObjects, count, altObject);
  });
}

int FI_PGN(fi_pgn_quiesce)(kfi_quiescenode* node, kfi_quiescenode** nodes, int count, char* options) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_quiesce), [&](FI_PLUGIN_CLASS& plugin) {
    const CFiNodeList<kfi_quiescenode> list(node, nodes, count);
    return plugin.quiesce(list.nodes(), list.count(), options);
  });
}

void FI_PGN(fi_pgn_unquiesce)(kfi_quiescenode* node, kfi_quiescenode** nodes, int count) {
  enterAtOnce(FI_PGN_PLACE(fi_pgn_unquiesce), [&](FI_PLUGIN_CLASS& plugin) {
    const CFiNodeList<kfi_quiescenode> list(node, nodes, count);
    return plugin.unquiesce(list.nodes(), list.count());
  });
}

int FI_PGN(fi_pgn_make)(kfi_splitnode* node, char* session, kfi_splitnode** nodes, int count, qmfi_objid*** objects,
                        int* objectCount) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_make), [&](FI_PLUGIN_CLASS& plugin) {
    return makeInSession(plugin, session, CFiSplitNodeList(node, nodes, count), objects, objectCount);
  });
}

int FI_PGN(fi_pgn_prepare)(kfi_splitnode* node, char* session, kfi_splitnode** nodes, int count, int flag) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_prepare), [&](FI_PLUGIN_CLASS& plugin) {
    return prepareInSession(plugin, session, CFiSplitNodeList(node, nodes, count), flag);
  });
}

int FI_PGN(fi_pgn_select)(kfi_splitnode* node, char* session, kfi_splitnode** nodes, int count) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_select), [&](FI_PLUGIN_CLASS& plugin) {
    return selectInSession(plugin, session, CFiSplitNodeList(node, nodes, count));
  });
}

int FI_PGN(fi_pgn_preselect)(kfi_splitnode* node, char* session, kfi_splitnode** nodes, int count) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_preselect), [&](FI_PLUGIN_CLASS&) {
    return preselectInSession(session, CFiSplitNodeList(node, nodes, count));
  });
}

int FI_PGN(fi_pgn_isready)(kfi_splitnode* node, char* session, kfi_splitnode** nodes, int count) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_isready), [&](FI_PLUGIN_CLASS& plugin) {
    const CFiSplitNodeList list(node, nodes, count);
    return plugin.isReady(session, list.nodes(), list.count());
  });
}

int FI_PGN(fi_pgn_cache_disable)(kfi_domain* domain) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_cache_disable),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.cacheDisable(domain, 0); });
}

void FI_PGN(fi_pgn_cache_enable)(kfi_domain* domain) {
  enterAtOnce(FI_PGN_PLACE(fi_pgn_cache_enable),
              [&](FI_PLUGIN_CLASS& plugin) { return plugin.cacheEnable(domain, 0); });
}

int FI_PGN(fi_pgn_interpose)(kfi_domain* domain, qmfi_objid** objects, qmfi_objid*** outObjects, int* count) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_interpose), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.interpose(domain, objects, outObjects, count);
  });
}

int FI_PGN(fi_pgn_getattr)(kfi_domain* first, kfi_domain* second, kfi_splitnode* splitNode,
                           kfi_attributes* attributes) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_getattr), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.getAttr(first, second, splitNode, attributes);
  });
}

int FI_PGN(fi_pgn_get_provider_info)(kfi_provider_list** list) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_get_provider_info), [&](FI_PLUGIN_CLASS& plugin) -> int {
    if (list == nullptr) {
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    *list = nullptr;
    return plugin.getProviderInfo(list);
  });
}

int FI_PGN(fi_pgn_enumerate_nodes)(kfi_node_list** list, int* count, int kind, char* name) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_enumerate_nodes), [&](FI_PLUGIN_CLASS& plugin) -> int {
    if (list == nullptr) {
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    return plugin.enumerateNodes(list, count, kind, name);
  });
}

int FI_PGN(fi_pgn_enumerate_associations)(kfi_assoc_list** list) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_enumerate_associations),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.enumerateAssociations(list); });
}

int FI_PGN(fi_pgn_enumerate_group_nodes)(kfi_group_node_list** list) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_enumerate_group_nodes),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.enumerateGroupNodes(list); });
}

int FI_PGN(fi_pgn_enumerate_fims)(kfi_fim_list** list) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_enumerate_fims),
                     [&](FI_PLUGIN_CLASS& plugin) { return plugin.enumerateFims(list); });
}

int FI_PGN(fi_pgn_isvalid_node_association)(kfi_assoc* association, int* valid) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_isvalid_node_association), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.isValidNodeAssociation(association, valid);
  });
}

int FI_PGN(fi_pgn_get_associated_nodes)(kfi_node* node, kfi_node_list** list) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_get_associated_nodes),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.getAssociatedNodes(node, list); });
}

int FI_PGN(fi_pgn_check_node_existence)(kfi_domain* node, int* exists) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_check_node_existence),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.checkNodeExistence(node, exists); });
}

int FI_PGN(fi_pgn_objctl)(char* name, char* input, char** output, int* result) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_objctl), [&](FI_PLUGIN_CLASS& plugin) {
    return controlObject(plugin, name, input, output, result);
  });
}

int FI_PGN(fi_pgn_process_providerstate)(kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operation) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_process_providerstate), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.processProviderState(node, blob, operation);
  });
}

int FI_PGN(fi_pgn_get_last_error)(kfi_msg_info** list) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_get_last_error),
                     [&](FI_PLUGIN_CLASS& plugin) { return plugin.getLastError(list); });
}

int FI_PGN(fi_pgn_del_last_error)(kfi_msg_info** list) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_del_last_error),
                     [&](FI_PLUGIN_CLASS& plugin) { return plugin.delLastError(list); });
}

int FI_PGN(fi_pgn_get_locale_message)(int* length, kfi_msg_info* record, const char* language, char** text) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_get_locale_message),
                     [&](FI_PLUGIN_CLASS& plugin) { return plugin.getLocaleMessage(length, record, language, text); });
}

int FI_PGN(fi_pgn_del_locale_message)(char** text) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_del_locale_message),
                     [&](FI_PLUGIN_CLASS& plugin) { return plugin.delLocaleMessage(text); });
}

int FI_PGN(fi_pgn_enable_access)(kfi_node_subobj_list* list, long flags, int level, int options) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_enable_access), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.enableAccess(list, flags, level, options);
  });
}

int FI_PGN(fi_pgn_disable_access)(kfi_node_subobj_list* list, long flags) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_disable_access),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.disableAccess(list, flags); });
}

int FI_PGN(fi_pgn_restore)(qmfi_objid** from, qmfi_objid** to, long count, char* session, char* options, char*** names,
                           long* nameCount, long flags, long* handle) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_restore), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.restore(from, to, count, session, options, names, nameCount, flags, handle);
  });
}

int FI_PGN(fi_pgn_resync)(qmfi_objid** from, qmfi_objid** to, long count, char* session, char* options, long flags,
                          long* handle) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_resync), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.resync(from, to, count, session, options, flags, handle);
  });
}

int FI_PGN(fi_pgn_get_status)(qmfi_objid** from, qmfi_objid** to, long count, char* session, long flags, long* status) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_get_status), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.getStatus(from, to, count, session, flags, status);
  });
}

int FI_PGN(fi_pgn_pre_prepare)(kfi_domain* domain) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_pre_prepare),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.prePrepare(domain); });
}

int FI_PGN(fi_pgn_query_valid_secondaries)(char* name, qmfi_objid*** objects, long* count) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_query_valid_secondaries), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.queryValidSecondaries(name, objects, count);
  });
}

int FI_PGN(fi_pgn_res_status)(qmfi_objid* object, long flags, long* status, kfi_msg_info** messages) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_res_status), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.resourceStatus(object, flags, status, messages);
  });
}

int FI_PGN(fi_pgn_revisit_pgn_nodes)(kfi_pgn_node_list* list) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_revisit_pgn_nodes),
                     [&](FI_PLUGIN_CLASS& plugin) { return plugin.revisitPluginNodes(list); });
}

int FI_PGN(fi_pgn_verify_qscombos)(kfi_splitnode* node, kfi_splitnode** nodes, int count) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_verify_qscombos), [&](FI_PLUGIN_CLASS& plugin) {
    const CFiSplitNodeList list(node, nodes, count);
    return plugin.verifyQSCombos(list.nodes(), list.count());
  });
}

int FI_PGN(fi_pgn_set_import_options)(kfi_splitnode* node, kfi_splitnode** nodes, int count, kfi_host_infn* hosts,
                                      int hostCount, void* options) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_set_import_options), [&](FI_PLUGIN_CLASS& plugin) {
    const CFiSplitNodeList list(node, nodes, count);
    return plugin.setImportOptions(list.nodes(), list.count(), hosts, hostCount, options);
  });
}

int FI_PGN(fi_pgn_start_build_alttree)(kfi_domain* domain, qmfi_objid** objects, void* options) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_start_build_alttree), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.startBuildAltTree(domain, objects, options);
  });
}

int FI_PGN(fi_pgn_translate_resource_names)(char** names, int count, char** translated) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_translate_resource_names), [&](FI_PLUGIN_CLASS& plugin) -> int {
    // Required: only the call without names is let through.
    if (names == nullptr || translated == nullptr || count != 0) {
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    return plugin.translateResourceNames(names, 0, translated);
  });
}

int FI_PGN(fi_pgn_enumerate_enclosures)(kfi_enclosure_node_list** list, int* count, char* name) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_enumerate_enclosures),
                     [&](FI_PLUGIN_CLASS& plugin) { return plugin.enumerateEnclosures(list, count, name); });
}

int FI_PGN(fi_pgn_import_resource)(char** devices, char* name, char* type, char* options, int flags, char** path,
                                   char* host) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_import_resource), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.importResource(devices, name, type, options, flags, path, host);
  });
}

int FI_PGN(fi_pgn_format)(char** devices, int count, char* extra1, char* type, char* extra2, int flags, char*** paths,
                          int* pathCount) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_format), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.format(devices, count, extra1, type, extra2, flags, paths, pathCount);
  });
}

int FI_PGN(fi_pgn_enumerate_host_nodes)(kfi_host_node_list** list, int* count, char* name) {
  return enterAtOnce(FI_PGN_PLACE(fi_pgn_enumerate_host_nodes),
                     [&](FI_PLUGIN_CLASS& plugin) { return plugin.enumerateHostNodes(list, count, name); });
}

int FI_PGN(fi_pgn_online_resource)(char** devices, int count, char* mountPoint, char* type, char* options, char* extra3,
                                   int extra4, char*** paths, int* pathCount) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_online_resource), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.onlineResource(devices, count, mountPoint, type, options, extra3, extra4, paths, pathCount);
  });
}

int FI_PGN(fi_pgn_deport_resource)(char* name, char* type, char* options, char* host, int flags) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_deport_resource), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.deportResource(name, type, options, host, flags);
  });
}

int FI_PGN(fi_pgn_is_parent_pgn)(char* device, int* isParent, int reserved) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_is_parent_pgn),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.isParentPgn(device, isParent, reserved); });
}

int FI_PGN(fi_pgn_unformat)(char** devices, int count, int flags) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_unformat),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.unformat(devices, count, flags); });
}

int FI_PGN(fi_pgn_pre_deport_resource)(char* name, int flags, char* options) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_pre_deport_resource),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.preDeportResource(name, flags, options); });
}

int FI_PGN(fi_pgn_refresh_tree)(kfi_domain* domain, int kind, int flags, kfi_resource* resources, int count,
                                int* status, void* options, int reserved) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_refresh_tree), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.refreshTree(domain, kind, flags, resources, count, status, options, reserved);
  });
}

int FI_PGN(fi_pgn_get_backupset)(kfi_domain* domain, int kind, char** names, int count, kfi_bkupset* set) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_get_backupset), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.getBackupset(domain, kind, names, count, set);
  });
}

int FI_PGN(fi_pgn_get_app_status)(kfi_domain* domain, int kind, void* status) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_get_app_status),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.getAppStatus(domain, kind, status); });
}

int FI_PGN(fi_pgn_set_op_status)(kfi_domain* domain, int status) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_set_op_status),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.setOpStatus(domain, status); });
}

int FI_PGN(fi_pgn_set_comp_status)(kfi_domain* domain, int kind, char* name, int status) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_set_comp_status), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.setCompStatus(domain, kind, name, status);
  });
}

int FI_PGN(fi_pgn_set_restorepaths)(kfi_domain* domain, char* paths, int count) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_set_restorepaths),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.setRestorepaths(domain, paths, count); });
}

int FI_PGN(fi_pgn_createSnapReplicaNode)(kfi_domain* domain, kfi_snapreplica_ele* element) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_createSnapReplicaNode),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.createSnapReplicaNode(domain, element); });
}

int FI_PGN(fi_pgn_update_snapshot_id)(kfi_domain* first, kfi_domain* second, kfi_snapreplica_ele* element, int flags) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_update_snapshot_id), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.updateSnapshotId(first, second, element, flags);
  });
}

int FI_PGN(fi_pgn_getSnapshotSetId)(kfi_domain* domain, char** id) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_getSnapshotSetId),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.getSnapshotSetId(domain, id); });
}

int FI_PGN(fi_pgn_update_snapshot_handle)(char* session, void* handle) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_update_snapshot_handle),
                              [&](FI_PLUGIN_CLASS& plugin) { return updateHandleInSession(plugin, session, handle); });
}

int FI_PGN(fi_pgn_get_snapdiff)(kfi_domain* domain, kfi_snapreplica_ele* first, kfi_snapreplica_ele* second,
                                TrieNode_* differences) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_get_snapdiff), [&](FI_PLUGIN_CLASS& plugin) {
    return plugin.getSnapdiff(domain, first, second, differences);
  });
}

int FI_PGN(fi_pgn_post_deport)(kfi_domain* first, kfi_domain* second) {
  return enterWithDelayedInit(FI_PGN_PLACE(fi_pgn_post_deport),
                              [&](FI_PLUGIN_CLASS& plugin) { return plugin.postDeport(first, second); });
}

}  // extern "C"

#endif
