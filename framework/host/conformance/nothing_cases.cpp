// Every entry point with nothing but null pointers, and any numbers.
#include <climits>
#include <map>
#include <type_traits>

#include "conformance/conformance_case.h"

namespace qmfi_host {

namespace {

// With null for every pointer and the number for everything else; 0 where the function has no result.
template <typename Result, typename... Parameters>
int callWith(int number, Result (*function)(Parameters...)) {
  const auto argument = [number]<typename Parameter>(std::type_identity<Parameter>) -> Parameter {
    if constexpr (std::is_pointer_v<Parameter>) {
      return nullptr;
    } else {
      return static_cast<Parameter>(number);
    }
  };
  if constexpr (std::is_void_v<Result>) {
    function(argument(std::type_identity<Parameters>())...);
    return 0;
  } else {
    return function(argument(std::type_identity<Parameters>())...);
  }
}

// What may be answered beside 3, for a null pointer that would have to be followed, and 2, for what is not supported.
const std::map<std::string, std::vector<int>> otherAnswers = {
    {"fi_pgn_init", {7}},              // the version record is missing
    {"fi_pgn_supports_fitype", {0}},   // always
    {"fi_pgn_deport_tree", {0}},       // there is no alternate node
    {"fi_pgn_init_altnode", {6}},      // as the next one an error of its own
    {"fi_pgn_init_remnode", {6}},      //
    {"fi_pgn_reaccess_altnode", {0}},  // an intent that looks at nothing
    {"fi_pgn_dispose", {0}},           // a disposition that does nothing
    {"fi_pgn_online", {0}},            // a mode that does nothing
    {"fi_pgn_build_alttree", {6}},     //
    {"fi_pgn_enable_access", {0, 6}},  // an option that does nothing, or no list
    {"fi_pgn_disable_access", {6}},    //
    {"fi_pgn_format", {0}},            // without the flag that does something
};

std::vector<int> answersOf(const std::string& entryPoint, bool hasAnswer) {
  std::vector<int> answers = {2, 3};
  if (!hasAnswer) answers.push_back(0);
  const auto own = otherAnswers.find(entryPoint);
  if (own != otherAnswers.end()) answers.insert(answers.end(), own->second.begin(), own->second.end());
  return answers;
}

template <typename Result, typename... Parameters>
ConformanceCase caseOf(const std::string& suffix, Result (*ProviderEntryPoints::*function)(Parameters...)) {
  const auto check = [suffix, function](Examination& it) {
    // init is what starts the provider.
    const bool isInit = suffix == "fi_pgn_init";
    if (!isInit) it.started();
    for (const int number : {0, 1, -1, INT_MAX, INT_MIN}) {
      const std::string what = suffix.substr(7) + " of null pointers and " + std::to_string(number);
      const int answer = it.calling(what, [&] { return callWith(number, it.provider().*function); });
      it.expectAnswer(what, answersOf(suffix, !std::is_void_v<Result>), answer);
    }
    if (!isInit) it.stop();
  };
  return {"nothing." + suffix.substr(7),
          "A null pointer that would have to be followed is status 3, an operation that is not supported 2; nothing is "
          "done then.",
          CaseNeeds::library, check};
}

}  // namespace

ConformanceCases nothingCases() {
  ConformanceCases cases;
  const auto add = [&](const std::string& suffix, auto function) {
    // It has no arguments.
    if (suffix != "fi_pgn_fini") cases.push_back(caseOf(suffix, function));
  };
#define FI_ENTRY_POINT(suffix, result, parameters) add(#suffix, &ProviderEntryPoints::suffix);
#include "cfientrypoints.def"
  return cases;
}

}  // namespace qmfi_host
