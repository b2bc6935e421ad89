// What a provider says of itself, and of statuses.
#include <algorithm>
#include <climits>
#include <cstring>

#include "cfiscopeexit.h"
#include "conformance/conformance_case.h"

namespace qmfi_host {

namespace {

using qmfi_pdk_4_4::CFiScopeExit;

std::string textOrEmpty(const char* text) {
  return text != nullptr ? text : "";
}

std::vector<std::string> typesOf(Examination& it) {
  kfi_provider_list* list = nullptr;
  const CFiScopeExit release([&] { qmfi_free_providerlist(list); });
  it.expectStatus("get_provider_info", {0}, [&] { return it.provider().fi_pgn_get_provider_info(&list); });
  it.require(list != nullptr, "get_provider_info hands out no list");
  it.expect(textOrEmpty(list->kpl_name) == it.subject().name,
            "the list names the provider \"" + textOrEmpty(list->kpl_name) + "\"");
  std::vector<std::string> types;
  for (const kfi_string_list* type = list->kpl_fitypes; type != nullptr; type = type->ksl_next) {
    types.push_back(textOrEmpty(type->ksl_value));
  }
  return types;
}

void tellsWhatItIs(Examination& it) {
  it.started();
  const std::vector<std::string> types = typesOf(it);
  it.expect(!types.empty(), "the list names no file-system type");
  it.expect(std::count(types.begin(), types.end(), "") == 0, "the list has a type without a name");
  it.stop();
}

// What supports_fitype stores: -1 when it is nothing.
int supports(Examination& it, std::string type) {
  int stored = -1;
  kfi_domain node{};
  node.fid_supported = &stored;
  it.expectStatus("supports_fitype of \"" + type + "\"", {0},
                  [&] { return it.provider().fi_pgn_supports_fitype(&node, type.data()); });
  return stored;
}

void supportsItsTypes(Examination& it) {
  it.started();
  for (const std::string& type : typesOf(it)) {
    const int stored = supports(it, type);
    it.expect(stored == 0 || stored == 1, "supports_fitype of the own type " + type + " stores no answer");
  }
  it.stop();
}

void supportsNoOtherType(Examination& it) {
  it.started();
  for (const std::string type : {"no-such-type", "", " "}) {
    it.expect(supports(it, type) == 0, "supports_fitype does not store 0 for \"" + type + "\"");
  }
  it.stop();
}

void answersWithoutAPlaceForTheType(Examination& it) {
  it.started();
  kfi_domain node{};
  std::string type = "no-such-type";
  const ProviderEntryPoints& calls = it.provider();
  it.expectStatus("supports_fitype without a place", {0},
                  [&] { return calls.fi_pgn_supports_fitype(&node, type.data()); });
  it.expectStatus("supports_fitype without a node", {0},
                  [&] { return calls.fi_pgn_supports_fitype(nullptr, type.data()); });
  it.expectStatus("supports_fitype without a type", {0}, [&] { return calls.fi_pgn_supports_fitype(&node, nullptr); });
  it.stop();
}

void explainsStatuses(Examination& it) {
  it.started();
  constexpr int beyondAll = 1100;
  std::vector<int> statuses = {-1, INT_MIN, INT_MAX};
  for (int status = 0; status < beyondAll; ++status) statuses.push_back(status);
  for (const int status : statuses) {
    const char* text = nullptr;
    const std::string what = "errmsg of " + std::to_string(status);
    it.expectStatus(what, {0}, [&] { return it.provider().fi_pgn_errmsg(status, &text); });
    it.require(!textOrEmpty(text).empty(), what + " gives no sentence");
  }
  it.stop();
}

// The sentence is never freed, so that hosts keep the pointer.
void keepsSentences(Examination& it) {
  it.started();
  const char* first = nullptr;
  it.provider().fi_pgn_errmsg(0, &first);
  const std::string kept = textOrEmpty(first);
  for (int status = 1; status < 8; ++status) {
    const char* other = nullptr;
    it.calling("errmsg of " + std::to_string(status), [&] { return it.provider().fi_pgn_errmsg(status, &other); });
  }
  it.expect(kept == textOrEmpty(first), "the sentence of status 0 is another one after the next calls");
  it.stop();
}

}  // namespace

ConformanceCases identityCases() {
  return {
      {"identity.list", "get_provider_info hands out the provider's name and its types.", CaseNeeds::library,
       tellsWhatItIs},
      {"identity.own-types", "supports_fitype answers 0 and stores 1 or 0 for each of the provider's types.",
       CaseNeeds::library, supportsItsTypes},
      {"identity.other-types", "supports_fitype answers 0 and stores 0 for any other type.", CaseNeeds::library,
       supportsNoOtherType},
      {"identity.no-place", "supports_fitype answers 0 without a node, a place for the answer, or a type.",
       CaseNeeds::library, answersWithoutAPlaceForTheType},
      {"identity.statuses", "errmsg has a sentence for every number.", CaseNeeds::library, explainsStatuses},
      {"identity.sentences-stay", "A sentence of errmsg is never freed.", CaseNeeds::library, keepsSentences},
  };
}

}  // namespace qmfi_host
