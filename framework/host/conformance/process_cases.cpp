// The process that the provider is loaded into, and its threads.
#include <algorithm>
#include <thread>

#include "conformance/conformance_case.h"
#include "conformance/examined_node.h"
#include "conformance/process_state.h"

namespace qmfi_host {

namespace {

// Everything that a host does without a file system, once.
void goRound(Examination& it) {
  it.started();
  const ProviderEntryPoints& calls = it.provider();
  const std::string& name = it.subject().name;
  ExaminedNode group(name, KFI_OBJID_OBJECT, name);
  ExaminedNode node("/proc", KFI_OBJID_PATH, name);
  kfi_domain* domains[] = {group.get()};
  char device[] = "/dev/null";
  char type[] = "no-such-type";
  int number = 0;
  qmfi_objid** objects = nullptr;
  kfi_provider_list* list = nullptr;
  const char* text = nullptr;
  it.calling("get_provider_info", [&] { return calls.fi_pgn_get_provider_info(&list); });
  qmfi_free_providerlist(list);
  it.calling("supports_fitype", [&] { return calls.fi_pgn_supports_fitype(node.get(), type); });
  it.calling("errmsg", [&] { return calls.fi_pgn_errmsg(6, &text); });
  it.calling("claim of /proc", [&] { return calls.fi_pgn_claim(node->fid_objid, &objects, &number); });
  it.calling("is_parent_pgn of /dev/null", [&] { return calls.fi_pgn_is_parent_pgn(device, &number, 0); });
  it.calling("check_node_existence", [&] { return calls.fi_pgn_check_node_existence(node.get(), &number); });
  it.calling("init_node of a group", [&] { return calls.fi_pgn_init_node(group.get(), nullptr, 0, nullptr); });
  it.calling("init_node of /proc", [&] { return calls.fi_pgn_init_node(node.get(), domains, 1, nullptr); });
  it.calling("quiesce of no list", [&] { return calls.fi_pgn_quiesce(nullptr, nullptr, 0, nullptr); });
  it.calling("unquiesce", [&] { calls.fi_pgn_unquiesce(nullptr, nullptr, 0); });
  it.takeMessages();
  it.calling("deinit_node", [&] { calls.fi_pgn_deinit_node(node.get()); });
  it.calling("deinit_node of a group", [&] { calls.fi_pgn_deinit_node(group.get()); });
  it.stop();
}

ConformanceCase keeps(const std::string& part) {
  const auto check = [part](Examination& it) {
    makeProcessStateUnusual();
    const std::string before = processState().at(part);
    goRound(it);
    const std::string after = processState().at(part);
    if (!mayChangeOnce(part)) it.expect(before == after, "the " + part + " is another: " + after);
    goRound(it);
    const std::string again = processState().at(part);
    it.expect(after == again, "the " + part + " is another after each round: " + again);
  };
  std::string name = "process." + part;
  std::replace(name.begin(), name.end(), ' ', '-');
  return {name, "A provider leaves the process of its host as it was: its " + part + ".", CaseNeeds::library, check};
}

void answersInEveryThread(Examination& it) {
  constexpr int threadCount = 4;
  constexpr int rounds = 50;
  it.started();
  const ProviderEntryPoints& calls = it.provider();
  std::vector<std::string> wrong(threadCount);
  const auto ask = [&](std::string& finding) {
    for (int i = 0; i < rounds && finding.empty(); ++i) {
      const std::string& name = it.subject().name;
      ExaminedNode node("/proc", KFI_OBJID_PATH, name);
      qmfi_objid** groups = nullptr;
      const char* text = nullptr;
      int number = -1;
      if (calls.fi_pgn_claim(node->fid_objid, &groups, &number) != 0) finding = "claim of /proc does not answer 0";
      if (calls.fi_pgn_errmsg(0, &text) != 0 || text == nullptr) finding = "errmsg does not give a sentence";
      if (calls.fi_pgn_check_node_existence(node.get(), &number) != 0 || number != 0) {
        finding = "check_node_existence of /proc does not store 0";
      }
    }
  };
  it.calling("calls from several threads at once", [&] {
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (std::string& finding : wrong) threads.emplace_back(ask, std::ref(finding));
    for (std::thread& thread : threads) thread.join();
  });
  for (const std::string& finding : wrong) it.expect(finding.empty(), finding + " in another thread than that of init");
  it.stop();
}

void stopsInAnotherThread(Examination& it) {
  it.started();
  it.calling("fini in another thread", [&] { std::thread([&] { it.provider().fi_pgn_fini(); }).join(); });
  it.started();
  it.stop();
}

}  // namespace

ConformanceCases processCases() {
  ConformanceCases cases = {
      {"process.round", "A host goes from init to fini, and nothing is printed meanwhile.", CaseNeeds::library,
       goRound},
      {"process.threads-at-once", "Every function may be called from any thread.", CaseNeeds::library,
       answersInEveryThread},
      {"process.fini-elsewhere", "fini may be called from another thread than init.", CaseNeeds::library,
       stopsInAnotherThread},
  };
  for (const char* const part : {"locale", "working directory", "environment", "signal actions", "blocked signals",
                                 "file mode mask", "descriptors", "threads"}) {
    cases.push_back(keeps(part));
  }
  return cases;
}

}  // namespace qmfi_host
