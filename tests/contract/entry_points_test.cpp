// Every entry point is traced, and answers missing arguments and odd numbers as decided.
#include <climits>
#include <map>
#include <optional>
#include <type_traits>

#include "plugin_fixture.h"

namespace {

using ::testing::EndsWith;

// Calls a function with null for every pointer and the number for everything else; nothing where it has no result.
template <typename Result, typename... Parameters>
std::optional<int> callWith(int number, Result (*function)(Parameters...)) {
  const auto argument = [number]<typename Parameter>(std::type_identity<Parameter>) -> Parameter {
    if constexpr (std::is_pointer_v<Parameter>) {
      return nullptr;
    } else {
      return static_cast<Parameter>(number);
    }
  };
  if constexpr (std::is_void_v<Result>) {
    function(argument(std::type_identity<Parameters>())...);
    return std::nullopt;
  } else {
    return function(argument(std::type_identity<Parameters>())...);
  }
}

// What each entry point answers to null pointers and zeros. Those that return nothing are not in it.
const std::map<std::string, int> answersToNothing = {
    {"init", 7},                      // no version record
    {"claim", 3},                     //
    {"supports_fitype", 0},           // answers 0 always
    {"deport_tree", 0},               // no alternate node: its import failed
    {"import_tree", 3},               //
    {"init_node", 3},                 //
    {"config", 3},                    //
    {"init_altnode", 6},              // an error of its own
    {"init_remnode", 6},              //
    {"reaccess_tmpobj", 2},           // not implemented, like all with a 2
    {"reaccess_altnode", 3},          //
    {"dispose", 0},                   // disposition 0 does nothing
    {"online", 0},                    // so does mode 0
    {"subobj_list", 3},               //
    {"errmsg", 3},                    //
    {"build_alttree", 6},             // an error of its own
    {"quiesce", 3},                   //
    {"make", 3},                      // no session
    {"prepare", 3},                   //
    {"select", 3},                    //
    {"preselect", 3},                 //
    {"isready", 2},                   //
    {"cache_disable", 3},             //
    {"interpose", 2},                 //
    {"getattr", 2},                   //
    {"get_provider_info", 3},         //
    {"enumerate_nodes", 3},           //
    {"enumerate_associations", 2},    //
    {"enumerate_group_nodes", 2},     //
    {"enumerate_fims", 2},            //
    {"isvalid_node_association", 2},  //
    {"get_associated_nodes", 2},      //
    {"check_node_existence", 3},      //
    {"objctl", 3},                    //
    {"process_providerstate", 3},     //
    {"get_last_error", 3},            //
    {"del_last_error", 3},            //
    {"get_locale_message", 3},        //
    {"del_locale_message", 3},        //
    {"enable_access", 6},             // an error of its own
    {"disable_access", 6},            //
    {"restore", 2},                   //
    {"resync", 2},                    //
    {"get_status", 2},                //
    {"pre_prepare", 2},               //
    {"query_valid_secondaries", 2},   //
    {"res_status", 2},                //
    {"revisit_pgn_nodes", 2},         //
    {"verify_qscombos", 2},           //
    {"set_import_options", 2},        //
    {"start_build_alttree", 2},       //
    {"translate_resource_names", 3},  //
    {"enumerate_enclosures", 2},      //
    {"import_resource", 2},           //
    {"format", 0},                    // bit 0 of the flags is clear
    {"enumerate_host_nodes", 2},      //
    {"online_resource", 3},           //
    {"deport_resource", 2},           //
    {"is_parent_pgn", 3},             //
    {"unformat", 2},                  //
    {"pre_deport_resource", 2},       //
    {"refresh_tree", 2},              //
    {"get_backupset", 2},             //
    {"get_app_status", 2},            //
    {"set_op_status", 2},             //
    {"set_comp_status", 2},           //
    {"set_restorepaths", 2},          //
    {"createSnapReplicaNode", 2},     //
    {"update_snapshot_id", 2},        //
    {"getSnapshotSetId", 2},          //
    {"update_snapshot_handle", 3},    // no session
    {"get_snapdiff", 2},              //
    {"post_deport", 2},               //
};

// What changes when every number is -1 or the greatest one: a count that does not fit, every flag set, no known mode.
const std::map<std::string, int> otherAnswersToOddNumbers = {
    {"enable_access", 0},  // bit 0 of the options is set
    {"format", 3},         // bit 0 of the flags is set, and there is no device
};

class EntryPoints : public StartedPlugin {
 protected:
  // The answers of all entry points but fini. Each is checked to be traced.
  std::map<std::string, int> answersTo(int number) {
    std::map<std::string, int> answers;
#define CALL(name, result, parameters) note(answers, #name, callWith(number, plugin.name));
#define CALL_TRACED(name, result, parameters)                            \
  if (std::string(#name) != "fini") {                                    \
    forget();                                                            \
    CALL(name, result, parameters) expectTraced("qmfsfi_fi_pgn_" #name); \
  }
    FOREIGN_ENTRY_POINTS(CALL_TRACED)
#undef CALL_TRACED
#undef CALL
    return answers;
  }

 private:
  static void note(std::map<std::string, int>& answers, const std::string& name, std::optional<int> answer) {
    if (answer) answers[name] = *answer;
  }

  void expectTraced(const std::string& name) {
    const auto found = scopes();
    if (name == "qmfsfi_fi_pgn_init") return;
    ASSERT_LE(2u, found.size()) << name;
    EXPECT_EQ(found.front(), (TraceScope{true, name, found.front().place}));
    EXPECT_EQ(found.back(), (TraceScope{false, name, found.front().place}));
    EXPECT_THAT(found.front().place, EndsWith(", cfiapiexport.h"));
  }
};

TEST_F(EntryPoints, AnswerToNothingAsDecided) {
  EXPECT_EQ(answersTo(0), answersToNothing);
  expectNothingDone("null pointers and zeros");
}

TEST_F(EntryPoints, AnswerToNegativeNumbersAsDecided) {
  auto expected = otherAnswersToOddNumbers;
  expected.insert(answersToNothing.begin(), answersToNothing.end());
  EXPECT_EQ(answersTo(-1), expected);
  expectNothingDone("null pointers and -1");
}

TEST_F(EntryPoints, AnswerToTheGreatestNumbersAsDecided) {
  auto expected = otherAnswersToOddNumbers;
  expected.insert(answersToNothing.begin(), answersToNothing.end());
  EXPECT_EQ(answersTo(INT_MAX), expected);
  expectNothingDone("null pointers and the greatest number");
}

}  // namespace
