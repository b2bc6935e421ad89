// The entry points of a provider: the functions that cfientrypoints.def lists, with what each does, takes and answers.
//
// Written once for any provider. One source file of a provider defines FI_PLUGIN_PREFIX (its name) and FI_PLUGIN_CLASS
// (its class, derived from CFiPluginBase and default constructible) and then includes this header, which also defines
// the provider's name strings there.
#ifndef CFIAPIEXPORT_H
#define CFIAPIEXPORT_H

#include <iostream>
#include <new>
#include <string>

#include "cfiapilifecycle.h"
#include "cfiapiobjctl.h"
#include "cfiapisession.h"
#include "cfientryguard.h"

#ifndef FI_PLUGIN_CLASS
#error "define FI_PLUGIN_CLASS to the provider's class"
#endif

namespace qmfi_pdk_4_4 {

// A copy of a name, which is not null; empty when memory is short.
inline std::wstring wideNameOrNone(const wchar_t* name) noexcept {
  try {
    return name;
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace qmfi_pdk_4_4

// Each is the provider's name. A library that is being loaded has nobody to tell that memory is short: the first is not
// a copy, the last is short enough to need none.
ACE_String_Base<char> cfi_pgn_name_tstr(CFI_TEXT(FI_PLUGIN_PREFIX), nullptr, false);
std::wstring cfi_pgn_name_wstr(qmfi_pdk_4_4::wideNameOrNone(CFI_WIDE(CFI_TEXT(FI_PLUGIN_PREFIX))));
std::string cfi_pgn_name_str(CFI_TEXT(FI_PLUGIN_PREFIX));

extern "C" {
// NOLINTNEXTLINE(bugprone-macro-parentheses): these are a type and a list of parameters.
#define FI_ENTRY_POINT(suffix, result, parameters) result FI_PGN(suffix) parameters;
#include "cfientrypoints.def"
}

namespace qmfi_pdk_4_4 {

// The entry point with the provider class of this plug-in.
template <typename Call>
int enter(const char* entryPoint, int line, CFiEntry entry, Call&& call) {
  return enterPlugin<FI_PLUGIN_CLASS>(entryPoint, line, entry, call);
}

}  // namespace qmfi_pdk_4_4

#define FI_PGN_PLACE(suffix) FI_PGN_TEXT(suffix), __LINE__

extern "C" {

using namespace qmfi_pdk_4_4;

// Those that hand their arguments on as they are.
// NOLINTBEGIN(bugprone-macro-parentheses): these are types and lists.
#define FI_FORWARDED(suffix, result, when, slot, operation, answer, parameters, arguments)                  \
  result FI_PGN(suffix) parameters {                                                                        \
    return static_cast<result>(enter(FI_PGN_PLACE(suffix), CFiEntry::when,                                  \
                                     [&](FI_PLUGIN_CLASS& plugin) { return plugin.operation arguments; })); \
  }
// NOLINTEND(bugprone-macro-parentheses)
#include "cfientrypoints.def"

int FI_PGN(fi_pgn_init)(kfi_context* context, kfi_version* version, char* fimName) {
  return guardEntryPoint(__LINE__, [&] { return startPlugin<FI_PLUGIN_CLASS>(context, version, fimName); });
}

void FI_PGN(fi_pgn_fini)() {
  guardEntryPoint(__LINE__, [] {
    stopPlugin<FI_PLUGIN_CLASS>(FI_PGN_TEXT(fi_pgn_fini), __LINE__);
    return 0;
  });
}

int FI_PGN(fi_pgn_config)(kfi_domain* node, int category, char* text, kfi_confspec* spec) {
  return enter(FI_PGN_PLACE(fi_pgn_config), CFiEntry::delayed, [&](FI_PLUGIN_CLASS& plugin) -> int {
    if (node == nullptr || spec == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    return plugin.config(node, category, text, spec);
  });
}

int FI_PGN(fi_pgn_init_altnode)(kfi_domain* first, kfi_domain* second, kfi_domain* target) {
  return enter(FI_PGN_PLACE(fi_pgn_init_altnode), CFiEntry::delayed,
               [&](FI_PLUGIN_CLASS& plugin) { return plugin.initAltNode(first, second, target, false); });
}

int FI_PGN(fi_pgn_init_remnode)(kfi_domain* first, kfi_domain* second, kfi_domain* target) {
  return enter(FI_PGN_PLACE(fi_pgn_init_remnode), CFiEntry::delayed,
               [&](FI_PLUGIN_CLASS& plugin) { return plugin.initAltNode(first, second, target, true); });
}

int FI_PGN(fi_pgn_subobj_list)(kfi_domain* node, qmfi_objid*** objects, int* count) {
  return enter(FI_PGN_PLACE(fi_pgn_subobj_list), CFiEntry::delayed, [&](FI_PLUGIN_CLASS& plugin) -> int {
    if (node == nullptr || objects == nullptr || count == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    return plugin.subobjList(node, objects, count);
  });
}

int FI_PGN(fi_pgn_quiesce)(kfi_quiescenode* node, kfi_quiescenode** nodes, int count, char* options) {
  return enter(FI_PGN_PLACE(fi_pgn_quiesce), CFiEntry::delayed, [&](FI_PLUGIN_CLASS& plugin) {
    const CFiNodeList<kfi_quiescenode> list(node, nodes, count);
    return plugin.quiesce(list.nodes(), list.count(), options);
  });
}

void FI_PGN(fi_pgn_unquiesce)(kfi_quiescenode* node, kfi_quiescenode** nodes, int count) {
  enter(FI_PGN_PLACE(fi_pgn_unquiesce), CFiEntry::atOnce, [&](FI_PLUGIN_CLASS& plugin) {
    const CFiNodeList<kfi_quiescenode> list(node, nodes, count);
    return plugin.unquiesce(list.nodes(), list.count());
  });
}

int FI_PGN(fi_pgn_make)(kfi_splitnode* node, char* session, kfi_splitnode** nodes, int count, qmfi_objid*** objects,
                        int* objectCount) {
  return enter(FI_PGN_PLACE(fi_pgn_make), CFiEntry::delayed, [&](FI_PLUGIN_CLASS& plugin) {
    return makeInSession(plugin, session, CFiSplitNodeList(node, nodes, count), objects, objectCount);
  });
}

int FI_PGN(fi_pgn_prepare)(kfi_splitnode* node, char* session, kfi_splitnode** nodes, int count, int flag) {
  return enter(FI_PGN_PLACE(fi_pgn_prepare), CFiEntry::delayed, [&](FI_PLUGIN_CLASS& plugin) {
    return prepareInSession(plugin, session, CFiSplitNodeList(node, nodes, count), flag);
  });
}

int FI_PGN(fi_pgn_select)(kfi_splitnode* node, char* session, kfi_splitnode** nodes, int count) {
  return enter(FI_PGN_PLACE(fi_pgn_select), CFiEntry::delayed, [&](FI_PLUGIN_CLASS& plugin) {
    return selectInSession(plugin, session, CFiSplitNodeList(node, nodes, count));
  });
}

int FI_PGN(fi_pgn_preselect)(kfi_splitnode* node, char* session, kfi_splitnode** nodes, int count) {
  return enter(FI_PGN_PLACE(fi_pgn_preselect), CFiEntry::delayed,
               [&](FI_PLUGIN_CLASS&) { return preselectInSession(session, CFiSplitNodeList(node, nodes, count)); });
}

int FI_PGN(fi_pgn_isready)(kfi_splitnode* node, char* session, kfi_splitnode** nodes, int count) {
  return enter(FI_PGN_PLACE(fi_pgn_isready), CFiEntry::delayed, [&](FI_PLUGIN_CLASS& plugin) {
    const CFiSplitNodeList list(node, nodes, count);
    return plugin.isReady(session, list.nodes(), list.count());
  });
}

int FI_PGN(fi_pgn_cache_disable)(kfi_domain* domain) {
  return enter(FI_PGN_PLACE(fi_pgn_cache_disable), CFiEntry::delayed,
               [&](FI_PLUGIN_CLASS& plugin) { return plugin.cacheDisable(domain, 0); });
}

void FI_PGN(fi_pgn_cache_enable)(kfi_domain* domain) {
  enter(FI_PGN_PLACE(fi_pgn_cache_enable), CFiEntry::atOnce,
        [&](FI_PLUGIN_CLASS& plugin) { return plugin.cacheEnable(domain, 0); });
}

int FI_PGN(fi_pgn_get_provider_info)(kfi_provider_list** list) {
  return enter(FI_PGN_PLACE(fi_pgn_get_provider_info), CFiEntry::atOnce, [&](FI_PLUGIN_CLASS& plugin) -> int {
    if (list == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    *list = nullptr;
    return plugin.getProviderInfo(list);
  });
}

int FI_PGN(fi_pgn_enumerate_nodes)(kfi_node_list** list, int* count, int kind, char* name) {
  return enter(FI_PGN_PLACE(fi_pgn_enumerate_nodes), CFiEntry::atOnce, [&](FI_PLUGIN_CLASS& plugin) -> int {
    if (list == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    return plugin.enumerateNodes(list, count, kind, name);
  });
}

int FI_PGN(fi_pgn_objctl)(char* name, char* input, char** output, int* result) {
  return enter(FI_PGN_PLACE(fi_pgn_objctl), CFiEntry::delayed,
               [&](FI_PLUGIN_CLASS& plugin) { return controlObject(plugin, name, input, output, result); });
}

int FI_PGN(fi_pgn_verify_qscombos)(kfi_splitnode* node, kfi_splitnode** nodes, int count) {
  return enter(FI_PGN_PLACE(fi_pgn_verify_qscombos), CFiEntry::delayed, [&](FI_PLUGIN_CLASS& plugin) {
    const CFiSplitNodeList list(node, nodes, count);
    return plugin.verifyQSCombos(list.nodes(), list.count());
  });
}

int FI_PGN(fi_pgn_set_import_options)(kfi_splitnode* node, kfi_splitnode** nodes, int count, kfi_host_infn* hosts,
                                      int hostCount, void* options) {
  return enter(FI_PGN_PLACE(fi_pgn_set_import_options), CFiEntry::delayed, [&](FI_PLUGIN_CLASS& plugin) {
    const CFiSplitNodeList list(node, nodes, count);
    return plugin.setImportOptions(list.nodes(), list.count(), hosts, hostCount, options);
  });
}

int FI_PGN(fi_pgn_translate_resource_names)(char** names, int count, char** translated) {
  return enter(FI_PGN_PLACE(fi_pgn_translate_resource_names), CFiEntry::delayed, [&](FI_PLUGIN_CLASS& plugin) -> int {
    // Required: only the call without names is let through.
    if (names == nullptr || translated == nullptr || count != 0) return CFI_STATUS_INVALID_ARGUMENT;
    return plugin.translateResourceNames(names, 0, translated);
  });
}

int FI_PGN(fi_pgn_update_snapshot_handle)(char* session, void* handle) {
  return enter(FI_PGN_PLACE(fi_pgn_update_snapshot_handle), CFiEntry::delayed,
               [&](FI_PLUGIN_CLASS& plugin) { return updateHandleInSession(plugin, session, handle); });
}

}  // extern "C"

#endif
