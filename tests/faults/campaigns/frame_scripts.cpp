// Scripts: identity, errors, sessions, object control, and the operations that the provider leaves to its base.
#include <algorithm>

#include "base_calls.h"
#include "scripts.h"

namespace faults {

namespace {

void nothing(Machine&) {}

void missingPackage(Machine& machine) {
  machine.programs.answer("/bin/grep", Answer().exits(1));
}

void identity(Host& host) {
  if (!host.start()) return;
  kfi_provider_list* list = nullptr;
  host.make("get_provider_info", [&] { return host.call.get_provider_info(&list); });
  host.output(list != nullptr ? list->kpl_name : "null");
  if (list != nullptr) host.output(list->kpl_fitypes->ksl_value);
  host.call.qmfi_free_providerlist(list);
  kfi_domain& node = host.node("/some/mount/point");
  int supported = 7;
  node.fid_supported = &supported;
  host.make("supports_fitype", [&] { return host.call.supports_fitype(&node, host.text("qmfs")); });
  host.output(std::to_string(supported));
}

void notInstalled(Host& host) {
  host.start();
}

std::string described(const kfi_msg_info& record) {
  return std::string(record.kmi_id) + "(" + record.kmi_args + ") " + record.kmi_file;
}

// Makes two messages without recording the calls: that would take them.
void pushMessages(Host& host) {
  qmfi_objid blank{host.text("  "), 2, 1};
  for (int i = 0; i < 2; ++i) {
    qmfi_objid** groups = nullptr;
    int count = 0;
    host.call.claim(&blank, &groups, &count);
  }
}

void errors(Host& host) {
  if (!host.start()) return;
  pushMessages(host);
  kfi_msg_info* list = nullptr;
  host.make("get_last_error", [&] { return host.call.get_last_error(&list); });
  for (const kfi_msg_info* record = list; record != nullptr; record = record->kmi_next) host.output(described(*record));
  char* text = nullptr;
  int length = 0;
  if (list != nullptr) {
    host.make("get_locale_message", [&] { return host.call.get_locale_message(&length, list, "de_AT", &text); });
    host.output(text != nullptr ? text : "null");
    host.make("del_locale_message", [&] { return host.call.del_locale_message(&text); });
  }
  host.make("del_last_error", [&] { return host.call.del_last_error(&list); });
  const char* sentence = nullptr;
  host.make("errmsg", [&] { return host.call.errmsg(1088, &sentence); });
  host.output(sentence != nullptr ? sentence : "null");
}

void sessions(Host& host) {
  if (!host.start()) return;
  kfi_domain& first = host.node("/first/mount/point/of/the/session");
  kfi_domain& second = host.node("/second/mount/point/of/the/session");
  first.fid_name = first.fid_objid->vid_name;
  kfi_splitnode nodes[] = {{host.text("the first node of the session"), &first},
                           {host.text("the second node of the session"), &second}};
  kfi_splitnode* list[] = {&nodes[0], &nodes[1]};
  char* const session = host.text("the identifier of the session");
  host.make("preselect", [&] { return host.call.preselect(nullptr, session, list, 2); });
  host.make("select", [&] { return host.call.select(nullptr, session, list, 2); });
  host.make("prepare", [&] { return host.call.prepare(nullptr, session, list, 2, 0); });
  qmfi_objid** objects = nullptr;
  int count = 0;
  host.make("make", [&] { return host.call.make(nullptr, session, list, 2, &objects, &count); });
  host.output(std::to_string(count));
  host.make("isready", [&] { return host.call.isready(&nodes[0], session, nullptr, 0); });
  host.make("verify_qscombos", [&] { return host.call.verify_qscombos(&nodes[0], nullptr, 0); });
  host.make("set_import_options", [&] { return host.call.set_import_options(nullptr, list, 2, nullptr, 0, nullptr); });
  host.make("update_snapshot_handle", [&] { return host.call.update_snapshot_handle(session, nullptr); });
}

void objectControl(Host& host) {
  if (!host.start()) return;
  char* const input = host.text(
      "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=an_argument_with_a_name value=its_value_is_longer_than_most type=string /> "
      "</OBJCTL_ARG_LIST>");
  char* output = nullptr;
  int result = 7;
  host.make("objctl", [&] { return host.call.objctl(host.text("an operation"), input, &output, &result); });
  host.output(output != nullptr ? output : "null");
  host.output(std::to_string(result));
  std::free(output);
}

void operationsOfTheBase(Host& host) {
  if (!host.start()) return;
  const auto make = [&](const char* name, const auto& call) { host.make(name, call); };
  kfi_domain& node = host.node("/a/mount/point");
  callNodesOfTheBase(host.call, &node, make);
  host.make("init_remnode", [&] { return host.call.init_remnode(nullptr, nullptr, &node); });
  callEnumerationsOfTheBase(host.call, make);
  callResourcesOfTheBase(host.call, host.text("a name"), make);
}

}  // namespace

std::vector<Script> frameScripts() {
  return {
      {"identity", nothing, identity},
      {"not installed", missingPackage, notInstalled},
      {"errors", nothing, errors},
      {"sessions", nothing, sessions},
      {"object control", nothing, objectControl},
      {"operations of the base", nothing, operationsOfTheBase},
  };
}

}  // namespace faults
