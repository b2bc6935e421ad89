// Names that are looked up, kept and handed out, and run no program.
#include <cstdlib>

#include "host_calls.h"
#include "hostile_names.h"
#include "name_sites.h"
#include "support/provider_model.h"

namespace faults {

namespace {

using Table = NameSite::Table;
using provider_model::keptOptions;
using provider_model::NodeState;
using provider_model::optionList;
using provider_model::restoredState;
using provider_model::stateText;

constexpr const char* notFound = "MSG_ERROR_SUBOBJ_NOT_FOUND";

void claim(NameCaller& caller, const Names& names) {
  qmfi_objid** groups = nullptr;
  int count = 0;
  qmfi_objid* const object = caller.identifier(names.mountPoint);
  caller.host.make("claim", [&] { return caller.host.call.claim(object, &groups, &count); });
  if (count == 1) caller.host.output(groups[0]->vid_name);
}

void expectClaim(ExpectedCalls& calls, const Names& names) {
  const std::string name = trimmed(names.mountPoint);
  if (name.empty()) return calls.fails("claim", "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", "std::out_of_range");
  const bool qualifies = name.front() == '/' && !name.starts_with("/dev/");
  qualifies&& isInTable(names) ? calls.returns("claim", 1, "qmfs-quiesce;") : calls.returns("claim", 0);
}

void exists(NameCaller& caller, const Names& names) {
  int answer = 7;
  kfi_domain& node = caller.node(names.mountPoint);
  caller.host.make("check_node_existence", [&] { return caller.host.call.check_node_existence(&node, &answer); });
  caller.host.output(std::to_string(answer));
}

void expectExists(ExpectedCalls& calls, const Names& names) {
  calls.returns("check_node_existence", 0, isInTable(names) ? "1;" : "0;");
}

void initialise(NameCaller& caller, const Names& names) {
  kfi_domain* configuration = &caller.host.configuration();
  kfi_domain& node = caller.node(names.mountPoint);
  caller.host.make("init_node", [&] { return caller.host.call.init_node(&node, &configuration, 1, nullptr); });
  listSubObjects(caller.host, node);
  fetchState(caller.host, node);
}

void expectNode(ExpectedCalls& calls, const std::string& call, const Names& names) {
  if (!isInTable(names)) {
    calls.fails(call, notFound, names.mountPoint);
    calls.returns("subobj_list", 0);
    return calls.refuses("process_providerstate");
  }
  const std::string options = keptOptions(optionList(names.options));
  calls.returns(call, 0);
  calls.returns("subobj_list", 0, names.device + ";");
  calls.returns("process_providerstate", 0,
                stateText({.options = options, .subObjects = {names.device}, .altObject = {}}) + ";");
}

void expectInitialise(ExpectedCalls& calls, const Names& names) {
  calls.returns("init_node", 0);
  expectNode(calls, "init_node", names);
}

void initialiseAlternate(NameCaller& caller, const Names& names) {
  kfi_domain& node = caller.node(names.mountPoint);
  caller.host.make("init_altnode", [&] { return caller.host.call.init_altnode(nullptr, nullptr, &node); });
  listSubObjects(caller.host, node);
  fetchState(caller.host, node);
}

void expectInitialiseAlternate(ExpectedCalls& calls, const Names& names) {
  expectNode(calls, "init_altnode", names);
}

std::string wholeState(const Names& names) {
  return stateText({.options = names.options, .subObjects = {names.device}, .altObject = names.alternate});
}

void keepState(NameCaller& caller, const Names& names) {
  kfi_domain& node = caller.node(names.mountPoint);
  storeState(caller.host, node, wholeState(names));
  fetchState(caller.host, node);
}

void expectKeepState(ExpectedCalls& calls, const Names& names) {
  const NodeState state = restoredState(wholeState(names), "");
  calls.returns("process_providerstate", 0);
  if (state.subObjects.empty()) return calls.refuses("process_providerstate");
  calls.returns("process_providerstate", 0, stateText(state) + ";");
}

// The text of a message about the name, in English.
void showMessage(NameCaller& caller, const Names& names) {
  Host& host = caller.host;
  host.call.init_altnode(nullptr, nullptr, &caller.node(names.mountPoint));
  kfi_msg_info* list = nullptr;
  host.make("get_last_error", [&] { return host.call.get_last_error(&list); });
  char* text = nullptr;
  int length = 0;
  host.make("get_locale_message", [&] { return host.call.get_locale_message(&length, list, "en", &text); });
  if (text != nullptr) host.output(text);
  host.call.del_locale_message(&text);
  host.call.del_last_error(&list);
}

void expectShowMessage(ExpectedCalls& calls, const Names& names) {
  const std::string shown = inMessage(names.mountPoint);
  calls.returns("get_last_error", 0, std::string(" ") + notFound + " " + shown);
  calls.returns("get_locale_message", 0, "No mounted qmfs file system was found for " + shown + ".;");
}

void reaccess(NameCaller& caller, const Names& names) {
  qmfi_objid* const object = caller.identifier(names.alternate);
  kfi_domain& node = caller.node(names.mountPoint);
  caller.host.make("reaccess_altnode", [&] {
    return caller.host.call.reaccess_altnode(&node, object, nullptr, nullptr, nullptr, nullptr, 0, 0);
  });
}

void expectReaccess(ExpectedCalls& calls, const Names& names) {
  if (existsOnDisk(names.alternate)) return calls.returns("reaccess_altnode", 0);
  calls.fails("reaccess_altnode", "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION",
              "reAccessAltNode(): stat failed for " + names.alternate);
}

void lookUp(NameCaller& caller, const char* name, int (*function)(const char*, char**, char**),
            const std::string& value) {
  char* found = nullptr;
  char* options = nullptr;
  caller.host.make(name, [&] { return function(value.c_str(), &found, &options); });
  if (found != nullptr) caller.host.output(found);
  if (options != nullptr) caller.host.output(options);
  std::free(found);
  std::free(options);
}

void lookUpAll(NameCaller& caller, const Names& names) {
  Host& host = caller.host;
  lookUp(caller, "qmfs_getmnt", host.call.qmfs_getmnt, names.device);
  lookUp(caller, "qmfs_getsubobj", host.call.qmfs_getsubobj, names.mountPoint);
  host.make("qmfs_check_claim", [&] { return host.call.qmfs_check_claim(names.mountPoint.c_str()); });
  qmfi_objid* object = nullptr;
  host.make("fipgn_get_objid", [&] { return host.call.fipgn_get_objid(names.mountPoint.c_str(), &object); });
  if (object != nullptr) host.output(object->vid_name);
}

void expectLookUpAll(ExpectedCalls& calls, const Names& names) {
  const bool found = isInTable(names);
  calls.returns("qmfs_getmnt", found ? 1 : 0, found ? names.mountPoint + ";" + names.options + ";" : "");
  calls.returns("qmfs_getsubobj", found ? 1 : 0, found ? names.device + ";" + names.options + ";" : "");
  calls.returns("qmfs_check_claim", found ? 1 : 0);
  const bool isEmpty = names.mountPoint.empty();
  calls.returns("fipgn_get_objid", isEmpty ? 1 : 0, isEmpty ? "" : names.mountPoint + ";");
}

void otherTypes(NameCaller& caller, const Names& names) {
  Host& host = caller.host;
  char* const type = host.text(names.options);
  char* devices[] = {host.text(names.device)};
  int supported = 7;
  kfi_domain& node = caller.node(names.mountPoint);
  node.fid_supported = &supported;
  host.make("supports_fitype", [&] { return host.call.supports_fitype(&node, type); });
  host.output(std::to_string(supported));
  char** paths = nullptr;
  int count = 0;
  host.make("format", [&] { return host.call.format(devices, 1, nullptr, type, nullptr, 1, &paths, &count); });
  host.make("online_resource",
            [&] { return host.call.online_resource(devices, 1, nullptr, type, nullptr, nullptr, 0, &paths, &count); });
}

void expectOtherTypes(ExpectedCalls& calls, const Names&) {
  calls.returns("supports_fitype", 0, "0;");
  calls.refuses("format");
  calls.refuses("online_resource");
}

void configure(NameCaller& caller, const Names& names) {
  Host& host = caller.host;
  kfi_domain& domain = host.configuration();
  kfi_confspec parameter{host.text(names.options), host.text("5"), nullptr};
  host.make("config", [&] { return host.call.config(&domain, 0, nullptr, &parameter); });
  parameter = {host.text("qmfsFreezeTimeout"), host.text(names.options), nullptr};
  host.make("config", [&] { return host.call.config(&domain, 0, nullptr, &parameter); });
  char* output = nullptr;
  int result = 7;
  const std::string input = "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=" + names.options + " value=" + names.options + " />";
  host.make("objctl", [&] { return host.call.objctl(host.text(names.options), host.text(input), &output, &result); });
  host.output(output != nullptr ? output : "null");
  std::free(output);
}

void expectConfigure(ExpectedCalls& calls, const Names&) {
  calls.returns("init_node", 0);
  calls.refuses("config");
  calls.returns("config", 0);
  calls.returns("objctl", 0, "<OBJCTL_ARG_LIST> </OBJCTL_ARG_LIST> ;");
}

void nameSession(NameCaller& caller, const Names& names) {
  Host& host = caller.host;
  kfi_splitnode node{host.text(names.alternate), &caller.node(names.mountPoint)};
  char* const session = host.text(names.options);
  host.make("preselect", [&] { return host.call.preselect(&node, session, nullptr, 0); });
  host.make("select", [&] { return host.call.select(&node, session, nullptr, 0); });
  host.make("prepare", [&] { return host.call.prepare(&node, session, nullptr, 0, 0); });
  host.make("update_snapshot_handle", [&] { return host.call.update_snapshot_handle(session, nullptr); });
}

void expectNameSession(ExpectedCalls& calls, const Names&) {
  constexpr int notSupported = 2;
  calls.returns("preselect", 0);
  for (const char* call : {"select", "prepare", "update_snapshot_handle"}) calls.returns(call, notSupported);
}

void quiesce(NameCaller& caller, const Names& names) {
  Host& host = caller.host;
  kfi_domain* configuration = &host.configuration();
  kfi_domain& node = caller.node(names.mountPoint);
  host.make("init_node", [&] { return host.call.init_node(&node, &configuration, 1, nullptr); });
  const int status = host.make("quiesce", [&] { return host.call.quiesce(node.fid_qnode, nullptr, 0, nullptr); });
  if (status == 0) host.makeVoid("unquiesce", [&] { host.call.unquiesce(node.fid_qnode, nullptr, 0); });
}

void expectQuiesce(ExpectedCalls& calls, const Names& names) {
  calls.returns("init_node", 0);
  isInTable(names) ? calls.returns("init_node", 0) : calls.fails("init_node", notFound, names.mountPoint);
  if (!existsOnDisk(names.mountPoint)) {
    return calls.fails("quiesce", "MSG_ERROR_FILE_OPEN_FOR_QUIESCE", names.mountPoint);
  }
  calls.returns("quiesce", 0);
  calls.returns("unquiesce", 0);
}

}  // namespace

std::vector<NameSite> quietNameSites() {
  const auto mountPoint = &Names::mountPoint;
  const auto device = &Names::device;
  const auto options = &Names::options;
  const auto alternate = &Names::alternate;
  return {
      {"claim", {mountPoint}, Table::mountPoint, claim, expectClaim},
      {"existence", {mountPoint}, Table::mountPoint, exists, expectExists},
      {"node", {mountPoint, device, options}, Table::mountPoint, initialise, expectInitialise},
      {"alternate node",
       {mountPoint, device, options},
       Table::mountPoint,
       initialiseAlternate,
       expectInitialiseAlternate},
      {"state", {device, options, alternate, mountPoint}, Table::empty, keepState, expectKeepState},
      {"message", {mountPoint}, Table::empty, showMessage, expectShowMessage},
      {"reaccess", {alternate}, Table::empty, reaccess, expectReaccess},
      {"look-ups", {mountPoint, device, options}, Table::mountPoint, lookUpAll, expectLookUpAll},
      {"type", {options}, Table::empty, otherTypes, expectOtherTypes},
      {"parameter", {options}, Table::empty, configure, expectConfigure},
      {"session", {mountPoint, options, alternate}, Table::empty, nameSession, expectNameSession},
      {"quiesce", {mountPoint}, Table::mountPoint, quiesce, expectQuiesce},
  };
}

}  // namespace faults
