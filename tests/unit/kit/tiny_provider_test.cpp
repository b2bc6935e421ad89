// A second provider made with the kit: start and stop, sessions, object control and what operations throw.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/allocation_faults.h"
#include "support/cancelled_thread.h"
#include "support/trace_capture.h"
#include "tiny_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

class TinyLifecycle : public TinyProvider {};

TEST_F(TinyLifecycle, StartWithoutAVersionRecordMakesNothing) {
  int status = 0;
  {
    // None of the singletons can be made without memory.
    const MemoryFailure failure;
    status = m_plugin->fi_pgn_init(nullptr, nullptr, nullptr);
  }
  EXPECT_EQ(status, 7);
  EXPECT_EQ(control().providers, 0);
  EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(TinyLifecycle, StartTellsItsVersionAndTheProvidersStatus) {
  control().statuses["init"] = 30;
  kfi_version version{1, 2, 3, 4};
  EXPECT_EQ(m_plugin->fi_pgn_init(nullptr, &version, nullptr), 30);
  EXPECT_EQ(version.kv_major, 7);
  EXPECT_EQ(version.kv_minor, 0);
  EXPECT_EQ(version.kv_patch, 0);
  EXPECT_EQ(version.kv_build, 0);
  EXPECT_EQ(control().providers, 1);
  EXPECT_THAT(takeCalls(), ElementsAre("init()"));
}

TEST_F(TinyLifecycle, StopFinishesTheProviderThoughNothingElseRan) {
  m_plugin->fi_pgn_fini();
  EXPECT_THAT(takeCalls(), ElementsAre("fini()"));
  EXPECT_EQ(control().providers, 0);
}

TEST_F(TinyLifecycle, CallAfterTheStopMeetsAFreshProvider) {
  init();
  EXPECT_EQ(m_plugin->fi_pgn_post_deport(nullptr, nullptr), 0);
  m_plugin->fi_pgn_fini();
  takeCalls();
  EXPECT_EQ(m_plugin->fi_pgn_post_deport(nullptr, nullptr), 0);
  EXPECT_THAT(takeCalls(), ElementsAre("delayedInit()", "postDeport(null, null)"));
  EXPECT_EQ(control().providers, 1);
}

TEST_F(TinyLifecycle, ErrorsAreToldWithoutTheDelayedInitialisation) {
  kfi_msg_info* list = nullptr;
  EXPECT_EQ(m_plugin->fi_pgn_get_last_error(&list), 0);
  EXPECT_EQ(m_plugin->fi_pgn_del_last_error(&list), 0);
  kfi_msg_info record{};
  int length = 0;
  char* text = nullptr;
  EXPECT_EQ(m_plugin->fi_pgn_get_locale_message(&length, &record, nullptr, &text), 0);
  EXPECT_EQ(m_plugin->fi_pgn_del_locale_message(&text), 0);
  EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(TinyLifecycle, CallsAreTracedUnderTheEntryPointsName) {
  const EnvironmentVariable level("QMFI_TRACE_LEVEL", "6");
  init();
  m_plugin->fi_pgn_post_deport(nullptr, nullptr);
  m_plugin->fi_pgn_fini();
  const auto records = withoutLineNumbers(readTrace(m_directory.path() + "/tinyfi.log"));
  EXPECT_THAT(records, ElementsAre("L6 Entering Function tinyfi_fi_pgn_post_deport [line, cfiapiexport.h]",
                                   "L6 Exiting Function tinyfi_fi_pgn_post_deport [line, cfiapiexport.h]",
                                   "L6 Entering Function tinyfi_fi_pgn_fini [line, cfiapiexport.h]",
                                   "L6 Exiting Function tinyfi_fi_pgn_fini [line, cfiapiexport.h]"));
}

TEST_F(TinyLifecycle, TraceLevelIsOneUnlessTheEnvironmentSaysOtherwise) {
  init();
  m_plugin->fi_pgn_post_deport(nullptr, nullptr);
  EXPECT_THAT(readTrace(m_directory.path() + "/tinyfi.log"), IsEmpty());
}

// A host's context whose callback keeps what it is given.
struct Host {
  explicit Host(const char* name) : language(name), languageName(language.data()) {
    context.kcx_callback = [](kfi_context* called, const char* native, const char* defaulted, kfi_eseverity severity) {
      // The context record is the first member.
      auto* const host = reinterpret_cast<Host*>(called);
      host->received.push_back(std::string(native) + " | " + defaulted + " | " + std::to_string(severity));
    };
    context.kcx_language = &languageName;
  }

  kfi_context context{};
  std::string language;
  char* languageName;
  std::vector<std::string> received;
};

TEST_F(TinyLifecycle, MessagesReachTheHostsCallback) {
  Host host("de");
  init(&host.context);
  control().duringCall = [] { throw 5; };
  EXPECT_EQ(m_plugin->fi_pgn_post_deport(nullptr, nullptr), 6);
  // No catalog is registered, so both texts are the identifier with its arguments.
  ASSERT_EQ(host.received.size(), 1U);
  EXPECT_THAT(host.received[0], StartsWith("MSG_ERROR_UNHANDLED_INT_EXCEPTION: 5, cfiapiexport.h, "));
}

TEST_F(TinyLifecycle, HostWithoutALanguageIsServedAllTheSame) {
  Host noName("");
  noName.languageName = nullptr;
  Host noPlace("");
  noPlace.context.kcx_language = nullptr;
  for (Host* const host : {&noName, &noPlace}) {
    init(&host->context);
    control().duringCall = [] { throw 5; };
    EXPECT_EQ(m_plugin->fi_pgn_post_deport(nullptr, nullptr), 6);
    EXPECT_EQ(host->received.size(), 1U);
    m_plugin->fi_pgn_fini();
  }
}

class TinySessions : public TinyProvider {
 protected:
  TinySessions() {
    init();
    for (const char* const operation : {"make", "prepare", "select"}) control().statuses[operation] = 4;
  }

  char* session() { return m_session; }

  // Brings the session to know the nodes.
  void preselect(SplitNodes& nodes) {
    EXPECT_EQ(m_plugin->fi_pgn_preselect(nullptr, session(), nodes.list(), nodes.count()), 0);
    takeCalls();
  }

  // Calls make over the nodes with places that are set apart from every answer.
  int make(SplitNodes& nodes) {
    m_objects = untouchedObjects();
    m_count = -7;
    const int status = m_plugin->fi_pgn_make(nullptr, session(), nodes.list(), nodes.count(), &m_objects, &m_count);
    m_names.clear();
    if (status == 0 && m_objects != nullptr && m_objects != untouchedObjects()) {
      for (int i = 0; i < m_count; ++i) {
        EXPECT_EQ(m_objects[i]->vid_kind, 1);
        m_names.emplace_back(m_objects[i]->vid_name);
      }
      qmfi_free_buf(m_objects, static_cast<std::size_t>(m_count) * sizeof(void*));
    }
    return status;
  }

  qmfi_objid** untouchedObjects() { return &m_someObject; }

  qmfi_objid** m_objects = nullptr;
  int m_count = 0;
  std::vector<std::string> m_names;

 private:
  char m_session[3] = "s1";
  qmfi_objid* m_someObject = nullptr;
};

TEST_F(TinySessions, MakeHandsOutTheSecondNamesInTheOrderOfTheNodes) {
  SplitNodes nodes({"/b", "/a"});
  preselect(nodes);
  nodes.domain(0).fid_attr = 0x802;
  control().secondNames = {{"/a", "/snap/a"}, {"/b", "/snap/b"}};
  EXPECT_EQ(make(nodes), 0);
  EXPECT_THAT(m_names, ElementsAre("/snap/b", "/snap/a"));
  EXPECT_EQ(nodes.domain(0).fid_attr, 0x803U);
  EXPECT_EQ(nodes.domain(1).fid_attr, 1U);
  const auto calls = takeCalls();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_THAT(calls[0], StartsWith("make("));
  EXPECT_EQ(calls[1], "makeSnapshots(s1: 2)");
}

TEST_F(TinySessions, MakeNamesANodeOncePerMention) {
  SplitNodes nodes({"/a", "/a"});
  preselect(nodes);
  control().secondNames = {{"/a", "/snap/a"}};
  EXPECT_EQ(make(nodes), 0);
  EXPECT_THAT(m_names, ElementsAre("/snap/a", "/snap/a"));
}

TEST_F(TinySessions, MakeTakesASingleNode) {
  SplitNodes nodes({"/a"});
  preselect(nodes);
  control().secondNames = {{"/a", "/snap/a"}};
  qmfi_objid** objects = nullptr;
  int count = 0;
  EXPECT_EQ(m_plugin->fi_pgn_make(nodes[0], session(), nullptr, 0, &objects, &count), 0);
  ASSERT_EQ(count, 1);
  EXPECT_STREQ(objects[0]->vid_name, "/snap/a");
  EXPECT_EQ(objects[0]->vid_length, 7U);
  qmfi_free_buf(objects, sizeof(void*));
}

TEST_F(TinySessions, NodeThatTheSessionDoesNotKnowAddsNothing) {
  SplitNodes known({"/a"});
  preselect(known);
  control().secondNames = {{"/a", "/snap/a"}};
  SplitNodes nodes({"/x", "/a", "/y"});
  EXPECT_EQ(make(nodes), 0);
  EXPECT_THAT(m_names, ElementsAre("/snap/a"));
  EXPECT_EQ(nodes.domain(0).fid_attr, 1U);
  EXPECT_EQ(nodes.domain(2).fid_attr, 1U);
}

TEST_F(TinySessions, MakeOfUnknownNodesOnlyHandsOutNothing) {
  SplitNodes nodes({"/x"});
  EXPECT_EQ(make(nodes), 0);
  EXPECT_EQ(m_objects, nullptr);
  EXPECT_EQ(m_count, 0);
}

TEST_F(TinySessions, IdentifierThatCannotBeMadeLeavesTheCountAndNoArray) {
  SplitNodes nodes({"/a", "/b", "/c"});
  preselect(nodes);
  // There is no identifier of an empty name.
  control().secondNames = {{"/a", "/snap/a"}, {"/c", "/snap/c"}};
  EXPECT_EQ(make(nodes), 0);
  EXPECT_EQ(m_objects, nullptr);
  EXPECT_EQ(m_count, 3);
}

TEST_F(TinySessions, FailedMakeTouchesNothing) {
  SplitNodes nodes({"/a"});
  preselect(nodes);
  control().statuses["makeSnapshots"] = 17;
  EXPECT_EQ(make(nodes), 17);
  EXPECT_EQ(m_objects, untouchedObjects());
  EXPECT_EQ(m_count, -7);
  EXPECT_EQ(nodes.domain(0).fid_attr, 0U);
}

TEST_F(TinySessions, MakeThatDoesNotAskForTheSessionIsTheAnswer) {
  SplitNodes nodes({"/a"});
  preselect(nodes);
  for (const int status : {0, 9, -4}) {
    control().statuses["make"] = status;
    EXPECT_EQ(make(nodes), status);
    EXPECT_EQ(takeCalls().size(), 1U);
    EXPECT_EQ(m_objects, untouchedObjects());
    EXPECT_EQ(m_count, -7);
  }
}

TEST_F(TinySessions, PrepareAsksForTheSessionWhenItAnswersFour) {
  SplitNodes nodes({"/a", "/b"});
  preselect(nodes);
  control().statuses["prepareSnapshots"] = 17;
  EXPECT_EQ(m_plugin->fi_pgn_prepare(nodes[0], session(), nullptr, 0, 5), 17);
  EXPECT_EQ(takeCalls().back(), "prepareSnapshots(s1: 2)");
  control().statuses["prepare"] = 9;
  EXPECT_EQ(m_plugin->fi_pgn_prepare(nodes[0], session(), nullptr, 0, 5), 9);
  EXPECT_EQ(takeCalls().size(), 1U);
}

TEST_F(TinySessions, SelectAddsItsNodesBeforeTheSessionIsSelected) {
  SplitNodes nodes({"/a", "/b"});
  control().statuses["selectSnapshots"] = 17;
  EXPECT_EQ(m_plugin->fi_pgn_select(nullptr, session(), nodes.list(), 2), 17);
  EXPECT_EQ(takeCalls().back(), "selectSnapshots(s1: 2)");
}

TEST_F(TinySessions, SelectThatAnswersZeroStillAddsItsNodes) {
  SplitNodes nodes({"/a", "/b"});
  control().statuses["select"] = 0;
  EXPECT_EQ(m_plugin->fi_pgn_select(nodes[0], session(), nullptr, 0), 0);
  EXPECT_THAT(takeCalls().back(), StartsWith("select("));
  control().statuses["select"] = 4;
  EXPECT_EQ(m_plugin->fi_pgn_select(nodes[1], session(), nullptr, 0), 0);
  EXPECT_EQ(takeCalls().back(), "selectSnapshots(s1: 2)");
}

TEST_F(TinySessions, SelectThatAnswersOtherwiseAddsNothing) {
  SplitNodes nodes({"/a", "/b"});
  control().statuses["select"] = 9;
  EXPECT_EQ(m_plugin->fi_pgn_select(nodes[0], session(), nullptr, 0), 9);
  control().statuses["select"] = 4;
  EXPECT_EQ(m_plugin->fi_pgn_select(nodes[1], session(), nullptr, 0), 0);
  EXPECT_EQ(takeCalls().back(), "selectSnapshots(s1: 1)");
}

TEST_F(TinySessions, PreselectAddsNodesWithoutTheProvider) {
  SplitNodes nodes({"/a", "/b"});
  EXPECT_EQ(m_plugin->fi_pgn_preselect(nodes[0], session(), nullptr, 0), 0);
  EXPECT_EQ(m_plugin->fi_pgn_preselect(nodes[0], session(), nodes.list(), 2), 0);
  EXPECT_THAT(takeCalls(), ElementsAre("init()", "delayedInit()"));
  EXPECT_EQ(m_plugin->fi_pgn_select(nodes[0], session(), nullptr, 0), 0);
  EXPECT_EQ(takeCalls().back(), "selectSnapshots(s1: 2)");
}

TEST_F(TinySessions, PreselectFailsWithTheDelayedInitialisationOnce) {
  SplitNodes nodes({"/a"});
  control().statuses["delayedInit"] = 2;
  EXPECT_EQ(m_plugin->fi_pgn_preselect(nodes[0], session(), nullptr, 0), 1);
  EXPECT_EQ(m_plugin->fi_pgn_preselect(nodes[0], session(), nullptr, 0), 0);
}

TEST_F(TinySessions, HandleGoesWithTheSession) {
  SplitNodes nodes({"/a"});
  preselect(nodes);
  control().statuses["updateSnapshotHandle"] = 17;
  int handle = 0;
  EXPECT_EQ(m_plugin->fi_pgn_update_snapshot_handle(session(), &handle), 17);
  char other[] = "s2";
  m_plugin->fi_pgn_update_snapshot_handle(other, nullptr);
  const std::string address = std::to_string(reinterpret_cast<std::uintptr_t>(&handle));
  EXPECT_THAT(takeCalls(),
              ElementsAre("updateSnapshotHandle(s1: 1, #" + address + ")", "updateSnapshotHandle(s2: 0, null)"));
}

TEST_F(TinySessions, SessionsOutliveTheStop) {
  SplitNodes nodes({"/a"});
  preselect(nodes);
  m_plugin->fi_pgn_fini();
  m_plugin->fi_pgn_update_snapshot_handle(session(), nullptr);
  EXPECT_EQ(takeCalls().back(), "updateSnapshotHandle(s1: 1, null)");
}

TEST_F(TinySessions, CallsWithoutNodesGoTheirSessionWay) {
  SplitNodes known({"/a", "/b"});
  preselect(known);
  struct List {
    kfi_splitnode** nodes;
    int count;
  };
  for (const auto& [list, listCount] :
       {List{nullptr, 0}, List{known.list(), 0}, List{known.list(), -1}, List{nullptr, -1}}) {
    SCOPED_TRACE(listCount);
    EXPECT_EQ(m_plugin->fi_pgn_preselect(nullptr, session(), list, listCount), 0);
    EXPECT_THAT(takeCalls(), IsEmpty());
    EXPECT_EQ(m_plugin->fi_pgn_prepare(nullptr, session(), list, listCount, 0), 0);
    EXPECT_EQ(takeCalls().back(), "prepareSnapshots(s1: 2)");
    EXPECT_EQ(m_plugin->fi_pgn_select(nullptr, session(), list, listCount), 0);
    EXPECT_EQ(takeCalls().back(), "selectSnapshots(s1: 2)");
    qmfi_objid** objects = untouchedObjects();
    int count = -7;
    EXPECT_EQ(m_plugin->fi_pgn_make(nullptr, session(), list, listCount, &objects, &count), 0);
    EXPECT_EQ(takeCalls().back(), "makeSnapshots(s1: 2)");
    EXPECT_EQ(objects, nullptr);
    EXPECT_EQ(count, 0);
  }
}

TEST_F(TinySessions, CallsWithoutNodesPassTheSessionsStatusOn) {
  control().statuses["prepareSnapshots"] = 17;
  control().statuses["selectSnapshots"] = 18;
  control().statuses["makeSnapshots"] = 19;
  qmfi_objid** objects = untouchedObjects();
  int count = -7;
  EXPECT_EQ(m_plugin->fi_pgn_prepare(nullptr, session(), nullptr, 0, 0), 17);
  EXPECT_EQ(m_plugin->fi_pgn_select(nullptr, session(), nullptr, 0), 18);
  EXPECT_EQ(m_plugin->fi_pgn_make(nullptr, session(), nullptr, 0, &objects, &count), 19);
  EXPECT_EQ(objects, untouchedObjects());
  EXPECT_EQ(count, -7);
}

TEST_F(TinySessions, CallWithoutASessionNameIsInvalid) {
  SplitNodes nodes({"/a"});
  qmfi_objid** objects = untouchedObjects();
  int count = -7;
  for (const int listCount : {0, 1}) {
    EXPECT_EQ(m_plugin->fi_pgn_select(nullptr, nullptr, nodes.list(), listCount), 3);
    EXPECT_EQ(m_plugin->fi_pgn_preselect(nullptr, nullptr, nodes.list(), listCount), 3);
    EXPECT_EQ(m_plugin->fi_pgn_prepare(nullptr, nullptr, nodes.list(), listCount, 0), 3);
    EXPECT_EQ(m_plugin->fi_pgn_make(nullptr, nullptr, nodes.list(), listCount, &objects, &count), 3);
  }
  EXPECT_EQ(m_plugin->fi_pgn_update_snapshot_handle(nullptr, nullptr), 3);
  EXPECT_EQ(objects, untouchedObjects());
  EXPECT_EQ(count, -7);
}

// The lists that lack something, each with two nodes: a list, a node, a key.
class TinySessionsLackingNodes : public TinySessions {
 protected:
  std::vector<kfi_splitnode**> lists() { return {nullptr, m_noNode, m_noDomain, m_noKey}; }

  // What the session knows when everything was refused.
  void expectNothingAdded() {
    takeCalls();
    m_plugin->fi_pgn_update_snapshot_handle(session(), nullptr);
    EXPECT_THAT(takeCalls(), ElementsAre("updateSnapshotHandle(s1: 0, null)"));
  }

  SplitNodes m_nodes{{"/a"}};

 private:
  kfi_domain m_namelessDomain{};
  kfi_splitnode m_withoutDomain{m_nodes[0]->ksn_name, nullptr};
  kfi_splitnode m_withoutKey{m_nodes[0]->ksn_name, &m_namelessDomain};
  kfi_splitnode* m_noNode[2] = {m_nodes[0], nullptr};
  kfi_splitnode* m_noDomain[2] = {m_nodes[0], &m_withoutDomain};
  kfi_splitnode* m_noKey[2] = {m_nodes[0], &m_withoutKey};
};

TEST_F(TinySessionsLackingNodes, AreRefusedByThoseThatAddThem) {
  kfi_splitnode nameless{nullptr, &m_nodes.domain(0)};
  kfi_splitnode* noName[] = {m_nodes[0], &nameless};
  std::vector<kfi_splitnode**> all = lists();
  all.push_back(noName);
  for (kfi_splitnode** const list : all) {
    EXPECT_EQ(m_plugin->fi_pgn_select(nullptr, session(), list, 2), 3);
    EXPECT_EQ(m_plugin->fi_pgn_preselect(nullptr, session(), list, 2), 3);
  }
  expectNothingAdded();
}

TEST_F(TinySessionsLackingNodes, AreRefusedByMakeBeforeTheSnapshotsAreMade) {
  qmfi_objid** objects = untouchedObjects();
  int count = -7;
  for (kfi_splitnode** const list : lists()) {
    EXPECT_EQ(m_plugin->fi_pgn_make(nullptr, session(), list, 2, &objects, &count), 3);
    EXPECT_THAT(takeCalls().back(), StartsWith("make("));
  }
  EXPECT_EQ(m_plugin->fi_pgn_make(nullptr, session(), m_nodes.list(), 1, nullptr, &count), 3);
  EXPECT_EQ(m_plugin->fi_pgn_make(nullptr, session(), m_nodes.list(), 1, &objects, nullptr), 3);
  EXPECT_EQ(objects, untouchedObjects());
  EXPECT_EQ(count, -7);
  EXPECT_EQ(m_nodes.domain(0).fid_attr, 0U);
}

TEST_F(TinySessionsLackingNodes, AreNoMatterToPrepareWhichReadsNone) {
  for (kfi_splitnode** const list : lists()) {
    // Only the provider's own form would look at the list.
    EXPECT_EQ(m_plugin->fi_pgn_prepare(nullptr, session(), list, 2, 0), 0);
    EXPECT_EQ(takeCalls().back(), "prepareSnapshots(s1: 0)");
  }
}

TEST_F(TinySessionsLackingNodes, NeedNoNameForMake) {
  preselect(m_nodes);
  kfi_splitnode nameless{nullptr, &m_nodes.domain(0)};
  kfi_splitnode* list[] = {&nameless};
  qmfi_objid** objects = nullptr;
  int count = 0;
  control().secondNames = {{"/a", "/snap/a"}};
  EXPECT_EQ(m_plugin->fi_pgn_make(nullptr, session(), list, 1, &objects, &count), 0);
  ASSERT_EQ(count, 1);
  EXPECT_STREQ(objects[0]->vid_name, "/snap/a");
  qmfi_free_buf(objects, sizeof(void*));
}

TEST_F(TinySessions, AnswerOfTheProviderComesBeforeTheCheckOfWhatTheSessionNeeds) {
  control().statuses["make"] = control().statuses["select"] = control().statuses["prepare"] = 9;
  EXPECT_EQ(m_plugin->fi_pgn_make(nullptr, nullptr, nullptr, 0, nullptr, nullptr), 9);
  EXPECT_EQ(m_plugin->fi_pgn_select(nullptr, nullptr, nullptr, 0), 9);
  EXPECT_EQ(m_plugin->fi_pgn_prepare(nullptr, nullptr, nullptr, 0, 0), 9);
}

class TinyObjectControl : public TinyProvider {
 protected:
  // The output text of a call that succeeds.
  std::string call(const std::string& input, int& result) {
    char name[] = "object";
    std::string copy = input;
    char* output = nullptr;
    EXPECT_EQ(m_plugin->fi_pgn_objctl(name, input.empty() ? nullptr : copy.data(), &output, &result), 0);
    EXPECT_NE(output, nullptr);
    const std::unique_ptr<char, decltype(&std::free)> owned(output, &std::free);
    return output != nullptr ? output : "";
  }
};

TEST_F(TinyObjectControl, HandsArgumentsInAndOut) {
  control().status = 19;
  control().outputs = {{"size", "42", "int"}, {"name", "x", "string"}};
  int result = 0;
  EXPECT_EQ(call("<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> </OBJCTL_ARG_LIST>", result),
            "<OBJCTL_ARG_LIST> <OBJCTL_OUTPUT arg=size value=42 type=int /> <OBJCTL_OUTPUT arg=name value=x "
            "type=string /> </OBJCTL_ARG_LIST> ");
  EXPECT_EQ(result, 19);
  EXPECT_THAT(takeCalls(), ElementsAre("delayedInit()", "objctl(object, {a b c})"));
}

TEST_F(TinyObjectControl, NeedsNoInput) {
  int result = -1;
  EXPECT_EQ(call("", result), "<OBJCTL_ARG_LIST> </OBJCTL_ARG_LIST> ");
  EXPECT_EQ(result, 0);
  EXPECT_THAT(takeCalls(), ElementsAre("delayedInit()", "objctl(object, )"));
}

TEST_F(TinyObjectControl, FailedDelayedInitialisationLeavesThePlacesAlone) {
  control().statuses["delayedInit"] = 5;
  char name[] = "object";
  char* output = nullptr;
  int result = -1;
  EXPECT_EQ(m_plugin->fi_pgn_objctl(name, nullptr, &output, &result), 1);
  EXPECT_EQ(output, nullptr);
  EXPECT_EQ(result, -1);
  EXPECT_THAT(takeCalls(), ElementsAre("delayedInit()"));
}

class TinyExceptions : public TinyProvider {};

TEST_F(TinyExceptions, BecomeAMessageAndSix) {
  struct Case {
    std::function<void()> throwing;
    const char* id;
    const char* arguments;
  };
  const Case cases[] = {
      {[] { throw 5; }, "MSG_ERROR_UNHANDLED_INT_EXCEPTION", "[5,\"cfiapiexport.h\","},
      {[] { throw 5L; }, "MSG_ERROR_UNHANDLED_UNKNOWN_EXCEPTION", "[\"cfiapiexport.h\","},
      {[] { throw "text"; }, "MSG_ERROR_UNHANDLED_UNKNOWN_EXCEPTION", "[\"cfiapiexport.h\","},
      {[] { throw std::logic_error("odd"); }, "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION",
       "[\"std::logic_error\",\"odd\",\"cfiapiexport.h\","},
      {[] { throw std::runtime_error("late"); }, "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION",
       "[\"std::runtime_error\",\"late\",\"cfiapiexport.h\","},
  };
  init();
  for (const Case& c : cases) {
    control().duringCall = c.throwing;
    EXPECT_EQ(m_plugin->fi_pgn_post_deport(nullptr, nullptr), 6);
    EXPECT_THAT(takeMessages(), ElementsAre(Pair(c.id, StartsWith(c.arguments))));
  }
}

TEST_F(TinyExceptions, OfAnOperationLeaveTheProviderUsable) {
  control().duringCall = [] { throw 5L; };
  EXPECT_EQ(m_plugin->fi_pgn_post_deport(nullptr, nullptr), 6);
  control().duringCall = nullptr;
  EXPECT_EQ(m_plugin->fi_pgn_post_deport(nullptr, nullptr), 0);
  EXPECT_EQ(control().providers, 1);
  m_plugin->fi_pgn_fini();
  EXPECT_EQ(control().providers, 0);
}

TEST_F(TinyExceptions, ThreadThatIsCancelledInAnOperationGivesBackWhatItHeld) {
  const EndlessWait wait;
  control().duringCall = [&] { wait.enter(); };
  EXPECT_TRUE(endsWhenCancelled(wait, [this] { m_plugin->fi_pgn_post_deport(nullptr, nullptr); }));
  m_plugin->fi_pgn_fini();
  EXPECT_EQ(control().providers, 0);
}

}  // namespace
