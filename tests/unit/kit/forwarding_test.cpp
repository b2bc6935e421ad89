// Entry points that hand their arguments on: each reaches its own operation, with every argument in its place.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "forwardings.h"
#include "tiny_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class EntryPointForwarding : public TinyProvider, public testing::WithParamInterface<Forwarding> {};

TEST_P(EntryPointForwarding, ReachesItsOperationWithEveryArgument) {
  const Forwarding& forwarding = GetParam();
  control().status = anyStatus;
  EXPECT_EQ(forwarding.call(*m_plugin), forwarding.answers ? anyStatus : 0);
  if (forwarding.delay == delayed) {
    EXPECT_THAT(takeCalls(), ElementsAre("delayedInit()", forwarding.operation));
  } else {
    EXPECT_THAT(takeCalls(), ElementsAre(forwarding.operation));
  }

  // The delayed initialisation is over, in every way.
  EXPECT_EQ(forwarding.call(*m_plugin), forwarding.answers ? anyStatus : 0);
  EXPECT_THAT(takeCalls(), ElementsAre(forwarding.operation));
}

TEST_P(EntryPointForwarding, FailedDelayedInitialisationEndsOneCallOnly) {
  const Forwarding& forwarding = GetParam();
  control().status = anyStatus;
  control().statuses["delayedInit"] = -9;
  if (forwarding.delay == delayed) {
    EXPECT_EQ(forwarding.call(*m_plugin), 1);
    EXPECT_THAT(takeCalls(), ElementsAre("delayedInit()"));
  }
  EXPECT_EQ(forwarding.call(*m_plugin), forwarding.answers ? anyStatus : 0);
  EXPECT_THAT(takeCalls(), ElementsAre(forwarding.operation));
}

TEST_P(EntryPointForwarding, LetsNoExceptionCross) {
  const Forwarding& forwarding = GetParam();
  control().duringCall = [] { throw "text"; };
  EXPECT_EQ(forwarding.call(*m_plugin), forwarding.answers ? 6 : 0);
}

INSTANTIATE_TEST_SUITE_P(All, EntryPointForwarding, testing::ValuesIn(FORWARDINGS));

class EntryPointArguments : public TinyProvider {
 protected:
  void TearDown() override { EXPECT_THAT(takeCalls(), ElementsAre("delayedInit()")); }
};

TEST_F(EntryPointArguments, ConfigWithoutNodeOrParametersIsInvalid) {
  EXPECT_EQ(m_plugin->fi_pgn_config(nullptr, 0, at(3), at(4)), 3);
  EXPECT_EQ(m_plugin->fi_pgn_config(at(1), 0, at(3), nullptr), 3);
}

TEST_F(EntryPointArguments, SubObjectListWithoutAnyOfItsThreeIsInvalid) {
  EXPECT_EQ(m_plugin->fi_pgn_subobj_list(nullptr, at(2), at(3)), 3);
  EXPECT_EQ(m_plugin->fi_pgn_subobj_list(at(1), nullptr, at(3)), 3);
  EXPECT_EQ(m_plugin->fi_pgn_subobj_list(at(1), at(2), nullptr), 3);
}

TEST_F(EntryPointArguments, OnlyTheTranslationOfNoNamesIsLetThrough) {
  EXPECT_EQ(m_plugin->fi_pgn_translate_resource_names(at(1), 1, at(3)), 3);
  EXPECT_EQ(m_plugin->fi_pgn_translate_resource_names(at(1), -1, at(3)), 3);
  EXPECT_EQ(m_plugin->fi_pgn_translate_resource_names(nullptr, 0, at(3)), 3);
  EXPECT_EQ(m_plugin->fi_pgn_translate_resource_names(at(1), 0, nullptr), 3);
}

TEST_F(EntryPointArguments, ObjectControlWithoutNameOrPlacesIsInvalid) {
  char name[] = "name";
  char* output = nullptr;
  int result = -1;
  EXPECT_EQ(m_plugin->fi_pgn_objctl(nullptr, nullptr, &output, &result), 3);
  EXPECT_EQ(m_plugin->fi_pgn_objctl(name, nullptr, nullptr, &result), 3);
  EXPECT_EQ(m_plugin->fi_pgn_objctl(name, nullptr, &output, nullptr), 3);
  EXPECT_EQ(output, nullptr);
  EXPECT_EQ(result, -1);
}

TEST_F(TinyProvider, NodeListIsGivenAsItIsBesideASingleNode) {
  control().status = anyStatus;
  kfi_quiescenode* nodes[] = {at(11), at(12)};
  kfi_splitnode* splitNodes[] = {at(21), at(22)};
  EXPECT_EQ(m_plugin->fi_pgn_quiesce(at(1), nodes, 2, nullptr), anyStatus);
  m_plugin->fi_pgn_unquiesce(at(1), nodes, 1);
  EXPECT_EQ(m_plugin->fi_pgn_isready(at(1), at(2), splitNodes, 2), anyStatus);
  EXPECT_EQ(m_plugin->fi_pgn_verify_qscombos(at(1), splitNodes, 0), anyStatus);
  EXPECT_EQ(m_plugin->fi_pgn_set_import_options(at(1), nullptr, 2, nullptr, 0, nullptr), anyStatus);
  EXPECT_EQ(m_plugin->fi_pgn_make(nullptr, at(2), nullptr, 0, at(5), at(6)), anyStatus);
  EXPECT_EQ(m_plugin->fi_pgn_prepare(at(1), at(2), splitNodes, -1, 5), anyStatus);
  EXPECT_EQ(m_plugin->fi_pgn_select(at(1), at(2), splitNodes, 1), anyStatus);
  EXPECT_THAT(takeCalls(), ElementsAre("delayedInit()", "quiesce([#11 #12], 2, null)", "unquiesce([#11], 1)",
                                       "isReady(#2, [#21 #22], 2)", "verifyQSCombos([], 0)",
                                       "setImportOptions(null, 2, null, 0, null)", "make(#2, null, 0, #5, #6)",
                                       "prepare(#2, [], -1, 5)", "select(#2, [#21], 1)"));
}

TEST_F(TinyProvider, EnumerationOfNodesWithoutAListIsInvalid) {
  EXPECT_EQ(m_plugin->fi_pgn_enumerate_nodes(nullptr, at(2), 3, at(4)), 3);
  EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(TinyProvider, ProviderInformationClearsTheListAhead) {
  control().status = anyStatus;
  EXPECT_EQ(m_plugin->fi_pgn_get_provider_info(nullptr), 3);
  EXPECT_THAT(takeCalls(), IsEmpty());
  kfi_provider_list* list = at(5);
  EXPECT_EQ(m_plugin->fi_pgn_get_provider_info(&list), anyStatus);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(takeCalls().size(), 1U);
}

}  // namespace
