// Node states kept by the framework between calls and hosts.
#include <cstring>

#include "operations_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string DEVICE = "/dev/qm/dsk/dg1/vol1";

constexpr kfi_op_providerstate storeState = 0;
constexpr kfi_op_providerstate fetchState = 1;

class ProviderState : public OperationsTest {
 protected:
  int store(kfi_domain& node, std::string text) {
    kfi_blob blob{text.size() + 1, text.data(), 1};
    return plugin.process_providerstate(&node, &blob, storeState);
  }
};

TEST_F(ProviderState, TheQuiesceGroupHasNone) {
  kfi_domain& group = node("qmfs-quiesce");
  for (const kfi_op_providerstate operation : {storeState, fetchState, 7}) {
    EXPECT_EQ(0, plugin.process_providerstate(&group, nullptr, operation));
  }
  EXPECT_EQ(nullptr, group.fid_private);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(ProviderState, OnlyTheExactNameIsTheGroup) {
  kfi_domain& other = node("qmfs-quiesce2");
  EXPECT_EQ(6, plugin.process_providerstate(&other, nullptr, storeState));
  EXPECT_NE(nullptr, other.fid_private);
}

TEST_F(ProviderState, StoringCreatesThePrivateDataAndRestoresThem) {
  kfi_domain& restored = node("/data");
  EXPECT_EQ(0, store(restored, "<MNT_OPTS>ro,delaylog</MNT_OPTS>\n<SUBOBJ>" + DEVICE +
                                   "</SUBOBJ>\n<ALTOBJ>/data_alt</ALTOBJ>\n"));
  EXPECT_NE(nullptr, restored.fid_private);
  EXPECT_THAT(subObjectsOf(restored), ElementsAre(DEVICE));
  EXPECT_THAT(importedCalls().identifierRequests(),
              ElementsAre(IdentifierRequest{DEVICE, static_cast<std::uint32_t>(DEVICE.size() + 1), 3}));
  EXPECT_THAT(trace(), ElementsAre(traced(
                           3, "setNodeState: m_mntOpts=[ro,delaylog], subobj=[" + DEVICE + "], altobj=[/data_alt]")));
}

TEST_F(ProviderState, AnUnknownOperationOnlyCreatesThePrivateData) {
  kfi_domain& other = node("/data");
  for (const kfi_op_providerstate operation : {2, -1}) {
    EXPECT_EQ(0, plugin.process_providerstate(&other, nullptr, operation));
  }
  EXPECT_NE(nullptr, other.fid_private);
  EXPECT_THAT(subObjectsOf(other), IsEmpty());
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(ProviderState, StoringAnEmptyBlobPushesInvalidBlobContents) {
  kfi_domain& restored = node("/data");
  kfi_blob withoutBuffer{5, nullptr, 1};
  for (kfi_blob* const blob : {static_cast<kfi_blob*>(nullptr), &withoutBuffer}) {
    EXPECT_EQ(6, plugin.process_providerstate(&restored, blob, storeState));
    expectCaughtError(messages(), "processProviderState(): Invalid blob contents", "processProviderState");
  }
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(ProviderState, ABlobOfLengthZeroOrOfAnotherEncodingChangesNothing) {
  kfi_domain& restored = restoredNode("/data", DEVICE, "rw", "/alt");
  const std::string before = stateOf(restored);
  std::string text = "<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/dev/other</SUBOBJ>\n<ALTOBJ>/other</ALTOBJ>\n";
  kfi_blob empty{0, text.data(), 1};
  forget();
  EXPECT_EQ(0, plugin.process_providerstate(&restored, &empty, storeState));
  EXPECT_THAT(trace(), IsEmpty());
  for (const std::int32_t encoding : {0, 2}) {
    kfi_blob binary{text.size() + 1, text.data(), encoding};
    forget();
    EXPECT_EQ(0, plugin.process_providerstate(&restored, &binary, storeState));
    EXPECT_THAT(trace(), ElementsAre(traced(2, "setNodeState() Blob uses non-string encoding.")));
  }
  EXPECT_EQ(before, stateOf(restored));
  EXPECT_THAT(subObjectsOf(restored), ElementsAre(DEVICE));
}

TEST_F(ProviderState, TheBlobsTextEndsAtItsNulWhateverItsLength) {
  kfi_domain& restored = node("/data");
  std::string text = "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n";
  text += std::string("\0<ALTOBJ>/behind</ALTOBJ>\n", 26);
  kfi_blob blob{1, text.data(), 1};
  EXPECT_EQ(0, plugin.process_providerstate(&restored, &blob, storeState));
  EXPECT_EQ("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n", stateOf(restored));
}

TEST_F(ProviderState, TwoStoresLeaveTwoSubObjects) {
  kfi_domain& restored = node("/data");
  EXPECT_EQ(0, store(restored, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/a</SUBOBJ>\n"));
  EXPECT_EQ(0, store(restored, "<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/dev/b</SUBOBJ>\n"));
  EXPECT_THAT(subObjectsOf(restored), ElementsAre("/dev/a", "/dev/b"));
  EXPECT_EQ("<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/dev/a</SUBOBJ>\n", stateOf(restored));
}

TEST_F(ProviderState, AStateWithoutAnAlternateObjectLeavesTheOldOne) {
  kfi_domain& restored = restoredNode("/data", DEVICE, "rw", "/alt");
  for (const std::string tail : {"", "<ALTOBJ>/half\n", "/half</ALTOBJ>\n"}) {
    EXPECT_EQ(0, store(restored, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n" + tail));
    EXPECT_EQ("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n<ALTOBJ>/alt</ALTOBJ>\n", stateOf(restored));
  }
}

TEST_F(ProviderState, ABlobTooShortForItsMissingTagIsAnError) {
  kfi_domain& restored = node("/data");
  EXPECT_EQ(6, store(restored, "short"));
  const auto pushed = messages();
  ASSERT_EQ(1u, pushed.size());
  EXPECT_EQ("MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", pushed[0].id);
  EXPECT_THAT(pushed[0].arguments, ::testing::StartsWith("std::out_of_range, basic_string::substr"));
  EXPECT_THAT(subObjectsOf(restored), IsEmpty());
}

TEST_F(ProviderState, ASubObjectWithoutAnIdentifierIsNotStored) {
  kfi_domain& restored = node("/data");
  EXPECT_EQ(0, store(restored, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ></SUBOBJ>\n"));
  EXPECT_THAT(subObjectsOf(restored), IsEmpty());
  kfi_blob blob{};
  EXPECT_EQ(3, plugin.process_providerstate(&restored, &blob, fetchState));
}

TEST_F(ProviderState, FetchingFillsTheBlobWithTheStateAndItsNul) {
  table.add(DEVICE, "/data", "qmfs", "rw,log");
  kfi_domain& domain = initialisedNode("/data");
  forget();
  kfi_blob blob{99, nullptr, 77};

  ASSERT_EQ(0, plugin.process_providerstate(&domain, &blob, fetchState));

  const std::string text = "<MNT_OPTS>rw,log</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n";
  ASSERT_EQ(text.size() + 1, blob.kb_length);
  EXPECT_EQ(0, std::memcmp(text.c_str(), blob.kb_buffer, text.size() + 1));
  EXPECT_EQ(1, blob.kb_encoding);
  const std::string length = std::to_string(text.size());
  EXPECT_THAT(trace(), ElementsAre(traced(3, "getNodeState: [" + text + "] [" + length + "]:[" + text + "] [" +
                                                 std::to_string(text.size() + 1) + "], mnt_opts=[rw,log], " +
                                                 "m_subObjectList[0]=[" + DEVICE + "]")));
  framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
}

TEST_F(ProviderState, AStateFetchedFromOneNodeIsRestoredInAnother) {
  kfi_domain& first = restoredNode("/first", DEVICE, "ro,delaylog", "/first_alt");
  kfi_blob blob{};
  ASSERT_EQ(0, plugin.process_providerstate(&first, &blob, fetchState));
  kfi_domain& second = node("/second");
  EXPECT_EQ(0, plugin.process_providerstate(&second, &blob, storeState));
  EXPECT_EQ(std::string(blob.kb_buffer), stateOf(second));
  EXPECT_THAT(subObjectsOf(second), ElementsAre(DEVICE));
  framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
}

TEST_F(ProviderState, FetchingFromANodeWithoutASubObjectLeavesTheBlobCleared) {
  kfi_domain& fresh = node("/data");
  char old[] = "old";
  kfi_blob blob{sizeof old, old, 1};
  EXPECT_EQ(3, plugin.process_providerstate(&fresh, &blob, fetchState));
  EXPECT_EQ(0u, blob.kb_length);
  EXPECT_EQ(nullptr, blob.kb_buffer);
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(ProviderState, FetchingFromANodeWhoseSubObjectHasAnEmptyNameFillsTheBlob) {
  qmfi_objid empty{""_text, 0, 3};
  importedCalls().answerIdentifier("", &empty);
  kfi_domain& domain = node("/data");
  ASSERT_EQ(0, store(domain, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ></SUBOBJ>\n"));
  EXPECT_EQ("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ></SUBOBJ>\n", stateOf(domain));
}

TEST_F(ProviderState, FetchingRefusesNoNameAndRunsNoCommand) {
  for (const std::string& path : UNUSABLE_PATHS) {
    kfi_domain& domain = restoredNode(path, path, "rw | /bin/x", path);
    EXPECT_EQ("<MNT_OPTS>rw | /bin/x</MNT_OPTS>\n<SUBOBJ>" + path + "</SUBOBJ>\n<ALTOBJ>" + path + "</ALTOBJ>\n",
              stateOf(domain));
    EXPECT_THAT(refusals(), IsEmpty());
    expectNothingDone();
  }
}

TEST_F(ProviderState, FetchingFromANodeWhoseSubObjectHasNoNameLeavesTheBlobCleared) {
  qmfi_objid nameless{nullptr, 0, 3};
  importedCalls().answerIdentifier(DEVICE, &nameless);
  kfi_domain& domain = node("/data");
  ASSERT_EQ(0, store(domain, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n"));
  kfi_blob blob{4, "old"_text, 1};
  EXPECT_EQ(3, plugin.process_providerstate(&domain, &blob, fetchState));
  EXPECT_EQ(0u, blob.kb_length);
  EXPECT_EQ(nullptr, blob.kb_buffer);
}

TEST_F(ProviderState, FetchingWithoutMemoryForTheBufferIsAnError) {
  kfi_domain& domain = restoredNode("/data", DEVICE);
  importedCalls().failBuffer(stateOf(domain).size() + 1);
  kfi_blob blob{9, nullptr, 1};
  EXPECT_EQ(6, plugin.process_providerstate(&domain, &blob, fetchState));
  const auto pushed = messages();
  ASSERT_EQ(1u, pushed.size());
  EXPECT_EQ("MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION", pushed[0].id);
  EXPECT_EQ(0u, blob.kb_length);
  EXPECT_EQ(nullptr, blob.kb_buffer);
}

TEST_F(ProviderState, IsInvalidWithoutTheArgumentsThatItNeeds) {
  kfi_domain nameless{};
  kfi_blob blob{4, "old"_text, 1};
  EXPECT_EQ(3, plugin.process_providerstate(nullptr, &blob, fetchState));
  EXPECT_EQ(3, plugin.process_providerstate(&nameless, &blob, storeState));
  kfi_domain& fresh = node("/data");
  EXPECT_EQ(3, plugin.process_providerstate(&fresh, nullptr, fetchState));
  EXPECT_EQ(nullptr, fresh.fid_private);
  EXPECT_EQ(4u, blob.kb_length);
  EXPECT_NE(nullptr, blob.kb_buffer);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(ProviderState, IsInvalidAfterTheStop) {
  kfi_domain& fresh = node("/data");
  plugin.fini();
  kfi_blob blob{};
  EXPECT_EQ(3, plugin.process_providerstate(&fresh, &blob, fetchState));
  EXPECT_EQ(3, plugin.process_providerstate(&fresh, &blob, storeState));
}

}  // namespace
