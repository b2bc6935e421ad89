// Arguments that make no sense, and outputs that stay as they were.
#include "conformance/conformance_case.h"
#include "conformance/examined_node.h"

namespace qmfi_host {

namespace {

// A value that no provider stores by chance.
template <typename Type>
Type* marker() {
  static Type room{};
  return &room;
}

constexpr int markedCount = -4711;

// An output with a mark, which a call that answers 3 leaves alone.
template <typename Type>
struct Marked {
  Type* value = marker<Type>();
  int count = markedCount;

  bool isUntouched() const { return value == marker<Type>() && count == markedCount; }
};

using Refused = std::function<int(const ProviderEntryPoints&)>;

template <typename Output>
void expectRefused(Examination& it, const std::string& what, Output& output, const Refused& call) {
  it.expectStatus(what, {2, 3}, [&] { return call(it.provider()); });
  it.expect(output.isUntouched(), what + " has written to its output");
}

void claimKeepsOutputs(Examination& it) {
  it.started();
  Marked<qmfi_objid*> groups;
  qmfi_objid nameless{nullptr, 0, KFI_OBJID_PATH};
  expectRefused(it, "claim of no object", groups, [&](const ProviderEntryPoints& calls) {
    return calls.fi_pgn_claim(nullptr, &groups.value, &groups.count);
  });
  expectRefused(it, "claim of an object without a name", groups, [&](const ProviderEntryPoints& calls) {
    return calls.fi_pgn_claim(&nameless, &groups.value, &groups.count);
  });
  it.stop();
}

void nodeCallsKeepOutputs(Examination& it) {
  it.started();
  Marked<qmfi_objid*> objects;
  Marked<char> text;
  kfi_domain unnamed{};
  expectRefused(it, "check_node_existence of no node", text, [&](const ProviderEntryPoints& calls) {
    return calls.fi_pgn_check_node_existence(nullptr, &text.count);
  });
  expectRefused(it, "check_node_existence of a node without a name", text, [&](const ProviderEntryPoints& calls) {
    return calls.fi_pgn_check_node_existence(&unnamed, &text.count);
  });
  expectRefused(it, "subobj_list of no node", objects, [&](const ProviderEntryPoints& calls) {
    return calls.fi_pgn_subobj_list(nullptr, &objects.value, &objects.count);
  });
  expectRefused(it, "is_parent_pgn of no device", text,
                [&](const ProviderEntryPoints& calls) { return calls.fi_pgn_is_parent_pgn(nullptr, &text.count, 0); });
  it.stop();
}

void messageCallsKeepOutputs(Examination& it) {
  it.started();
  Marked<char> text;
  expectRefused(it, "get_locale_message of no message", text, [&](const ProviderEntryPoints& calls) {
    return calls.fi_pgn_get_locale_message(&text.count, nullptr, nullptr, &text.value);
  });
  it.stop();
}

void freezeNeedsNodes(Examination& it) {
  it.started();
  const ProviderEntryPoints& calls = it.provider();
  kfi_quiescenode* none[] = {nullptr};
  for (const int count : {0, -1, 1}) {
    it.expectStatus("quiesce of no list with a count of " + std::to_string(count), {3},
                    [&] { return calls.fi_pgn_quiesce(nullptr, nullptr, count, nullptr); });
  }
  it.expectStatus("quiesce of a list with a count of 0", {3},
                  [&] { return calls.fi_pgn_quiesce(nullptr, none, 0, nullptr); });
  it.expectStatus("quiesce of a list with a count of -1", {3},
                  [&] { return calls.fi_pgn_quiesce(nullptr, none, -1, nullptr); });
  it.expectStatus("quiesce of a null node", {3}, [&] { return calls.fi_pgn_quiesce(nullptr, none, 1, nullptr); });
  it.stop();
}

// It has no answer, and nothing to do.
void thawsNothing(Examination& it) {
  it.started();
  kfi_quiescenode* none[] = {nullptr};
  const ProviderEntryPoints& calls = it.provider();
  it.calling("unquiesce without a quiesce", [&] { calls.fi_pgn_unquiesce(nullptr, nullptr, 0); });
  it.calling("unquiesce of a list without a quiesce", [&] { calls.fi_pgn_unquiesce(nullptr, none, 1); });
  it.calling("unquiesce with a count of -1", [&] { calls.fi_pgn_unquiesce(nullptr, nullptr, -1); });
  it.expect(it.takeMessages().empty(), "unquiesce without a quiesce leaves a message");
  it.stop();
}

void doesNothingInOtherModes(Examination& it) {
  it.started();
  const ProviderEntryPoints& calls = it.provider();
  ExaminedNode node("/proc", KFI_OBJID_PATH, it.subject().name);
  for (const int mode : {0, 3, -1}) {
    it.expectStatus("online with mode " + std::to_string(mode), {0, 2},
                    [&] { return calls.fi_pgn_online(nullptr, node.get(), mode, KFI_DISPOSITION_KEEP); });
  }
  it.expectStatus("dispose that keeps", {0, 2},
                  [&] { return calls.fi_pgn_dispose(nullptr, node.get(), nullptr, KFI_DISPOSITION_KEEP); });
  it.expectStatus("format without its flag", {0, 2},
                  [&] { return calls.fi_pgn_format(nullptr, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr); });
  it.expectStatus("deport_tree of no alternate", {0, 2},
                  [&] { return calls.fi_pgn_deport_tree(node.get(), nullptr, nullptr); });
  it.stop();
}

void formatsNoOtherType(Examination& it) {
  it.started();
  char type[] = "no-such-type";
  char device[] = "/dev/null";
  char* devices[] = {device};
  it.expectStatus("format of another type", {2, 3}, [&] {
    return it.provider().fi_pgn_format(devices, 1, nullptr, type, nullptr, KFI_FORMAT_DEVICE, nullptr, nullptr);
  });
  it.stop();
}

// Its answer says that the call was made; what came of it stands in the result.
void tellsResultOfObjctl(Examination& it) {
  it.started();
  char name[] = "no such thing";
  char* output = nullptr;
  int result = markedCount;
  it.expectStatus("objctl of a name that is not known", {0},
                  [&] { return it.provider().fi_pgn_objctl(name, nullptr, &output, &result); });
  it.expect(result != markedCount, "objctl stores no result");
  it.expect(result != 0, "objctl has done what it cannot know");
  it.stop();
}

}  // namespace

ConformanceCases argumentCases() {
  const std::string untouched = "A call that answers 3 writes no output.";
  return {
      {"arguments.claim", untouched, CaseNeeds::library, claimKeepsOutputs},
      {"arguments.nodes", untouched, CaseNeeds::library, nodeCallsKeepOutputs},
      {"arguments.messages", untouched, CaseNeeds::library, messageCallsKeepOutputs},
      {"arguments.quiesce", "quiesce answers 3 without nodes, and freezes nothing.", CaseNeeds::library,
       freezeNeedsNodes},
      {"arguments.unquiesce", "Without a quiesce before it unquiesce does nothing.", CaseNeeds::library, thawsNothing},
      {"arguments.modes", "Modes, dispositions and flags that ask for nothing are answered with 0.", CaseNeeds::library,
       doesNothingInOtherModes},
      {"arguments.format", "format answers 3 for another type.", CaseNeeds::library, formatsNoOtherType},
      {"arguments.objctl", "objctl answers 0 whatever the operation's status is, and stores that.", CaseNeeds::library,
       tellsResultOfObjctl},
  };
}

}  // namespace qmfi_host
