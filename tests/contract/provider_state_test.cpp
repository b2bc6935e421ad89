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
    EXPECT_EQ(plugin.process_providerstate(&group, nullptr, operation), 0);
  }
  EXPECT_EQ(group.fid_private, nullptr);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(ProviderState, OnlyTheExactNameIsTheGroup) {
  kfi_domain& other = node("qmfs-quiesce2");
  EXPECT_EQ(plugin.process_providerstate(&other, nullptr, storeState), 6);
  EXPECT_NE(other.fid_private, nullptr);
}

TEST_F(ProviderState, StoringCreatesThePrivateDataAndRestoresThem) {
  kfi_domain& restored = node("/data");
  EXPECT_EQ(store(restored,
                  "<MNT_OPTS>ro,delaylog</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n<ALTOBJ>/data_alt</ALTOBJ>\n"),
            0);
  EXPECT_NE(restored.fid_private, nullptr);
  EXPECT_THAT(subObjectsOf(restored), ElementsAre(DEVICE));
  EXPECT_THAT(importedCalls().identifierRequests(),
              ElementsAre(IdentifierRequest{DEVICE, static_cast<std::uint32_t>(DEVICE.size() + 1), 3}));
  EXPECT_THAT(trace(), ElementsAre(traced(
                           3, "setNodeState: m_mntOpts=[ro,delaylog], subobj=[" + DEVICE + "], altobj=[/data_alt]")));
}

TEST_F(ProviderState, AnUnknownOperationOnlyCreatesThePrivateData) {
  kfi_domain& other = node("/data");
  for (const kfi_op_providerstate operation : {2, -1}) {
    EXPECT_EQ(plugin.process_providerstate(&other, nullptr, operation), 0);
  }
  EXPECT_NE(other.fid_private, nullptr);
  EXPECT_THAT(subObjectsOf(other), IsEmpty());
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(ProviderState, StoringAnEmptyBlobPushesInvalidBlobContents) {
  kfi_domain& restored = node("/data");
  kfi_blob withoutBuffer{5, nullptr, 1};
  for (kfi_blob* const blob : {static_cast<kfi_blob*>(nullptr), &withoutBuffer}) {
    EXPECT_EQ(plugin.process_providerstate(&restored, blob, storeState), 6);
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
  EXPECT_EQ(plugin.process_providerstate(&restored, &empty, storeState), 0);
  EXPECT_THAT(trace(), IsEmpty());
  for (const std::int32_t encoding : {0, 2}) {
    kfi_blob binary{text.size() + 1, text.data(), encoding};
    forget();
    EXPECT_EQ(plugin.process_providerstate(&restored, &binary, storeState), 0);
    EXPECT_THAT(trace(), ElementsAre(traced(2, "setNodeState() Blob uses non-string encoding.")));
  }
  EXPECT_EQ(stateOf(restored), before);
  EXPECT_THAT(subObjectsOf(restored), ElementsAre(DEVICE));
}

TEST_F(ProviderState, TheBlobsTextEndsAtItsNulWhateverItsLength) {
  kfi_domain& restored = node("/data");
  std::string text = "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n";
  text += std::string("\0<ALTOBJ>/behind</ALTOBJ>\n", 26);
  kfi_blob blob{1, text.data(), 1};
  EXPECT_EQ(plugin.process_providerstate(&restored, &blob, storeState), 0);
  EXPECT_EQ(stateOf(restored), "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n");
}

TEST_F(ProviderState, TwoStoresLeaveTwoSubObjects) {
  kfi_domain& restored = node("/data");
  EXPECT_EQ(store(restored, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/a</SUBOBJ>\n"), 0);
  EXPECT_EQ(store(restored, "<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/dev/b</SUBOBJ>\n"), 0);
  EXPECT_THAT(subObjectsOf(restored), ElementsAre("/dev/a", "/dev/b"));
  EXPECT_EQ(stateOf(restored), "<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/dev/a</SUBOBJ>\n");
}

TEST_F(ProviderState, AStateWithoutAnAlternateObjectLeavesTheOldOne) {
  kfi_domain& restored = restoredNode("/data", DEVICE, "rw", "/alt");
  for (const std::string tail : {"", "<ALTOBJ>/half\n", "/half</ALTOBJ>\n"}) {
    EXPECT_EQ(store(restored, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n" + tail), 0);
    EXPECT_EQ(stateOf(restored), "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n<ALTOBJ>/alt</ALTOBJ>\n");
  }
}

TEST_F(ProviderState, ABlobTooShortForItsMissingTagIsAnError) {
  kfi_domain& restored = node("/data");
  EXPECT_EQ(store(restored, "short"), 6);
  const auto pushed = messages();
  ASSERT_EQ(pushed.size(), 1u);
  EXPECT_EQ(pushed[0].id, "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION");
  EXPECT_THAT(pushed[0].arguments, ::testing::StartsWith("std::out_of_range, basic_string::substr"));
  EXPECT_THAT(subObjectsOf(restored), IsEmpty());
}

TEST_F(ProviderState, ASubObjectWithoutAnIdentifierIsNotStored) {
  kfi_domain& restored = node("/data");
  EXPECT_EQ(store(restored, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ></SUBOBJ>\n"), 0);
  EXPECT_THAT(subObjectsOf(restored), IsEmpty());
  kfi_blob blob{};
  EXPECT_EQ(plugin.process_providerstate(&restored, &blob, fetchState), 3);
}

TEST_F(ProviderState, FetchingFillsTheBlobWithTheStateAndItsNul) {
  table.add(DEVICE, "/data", "qmfs", "rw,log");
  kfi_domain& domain = initialisedNode("/data");
  forget();
  kfi_blob blob{99, nullptr, 77};

  ASSERT_EQ(plugin.process_providerstate(&domain, &blob, fetchState), 0);

  const std::string text = "<MNT_OPTS>rw,log</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n";
  ASSERT_EQ(blob.kb_length, text.size() + 1);
  EXPECT_EQ(std::memcmp(text.c_str(), blob.kb_buffer, text.size() + 1), 0);
  EXPECT_EQ(blob.kb_encoding, 1);
  const std::string length = std::to_string(text.size());
  EXPECT_THAT(trace(), ElementsAre(traced(3, "getNodeState: [" + text + "] [" + length + "]:[" + text + "] [" +
                                                 std::to_string(text.size() + 1) + "], mnt_opts=[rw,log], " +
                                                 "m_subObjectList[0]=[" + DEVICE + "]")));
  framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
}

TEST_F(ProviderState, AStateFetchedFromOneNodeIsRestoredInAnother) {
  kfi_domain& first = restoredNode("/first", DEVICE, "ro,delaylog", "/first_alt");
  kfi_blob blob{};
  ASSERT_EQ(plugin.process_providerstate(&first, &blob, fetchState), 0);
  kfi_domain& second = node("/second");
  EXPECT_EQ(plugin.process_providerstate(&second, &blob, storeState), 0);
  EXPECT_EQ(stateOf(second), std::string(blob.kb_buffer));
  EXPECT_THAT(subObjectsOf(second), ElementsAre(DEVICE));
  framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
}

TEST_F(ProviderState, FetchingFromANodeWithoutASubObjectLeavesTheBlobCleared) {
  kfi_domain& fresh = node("/data");
  char old[] = "old";
  kfi_blob blob{sizeof old, old, 1};
  EXPECT_EQ(plugin.process_providerstate(&fresh, &blob, fetchState), 3);
  EXPECT_EQ(blob.kb_length, 0u);
  EXPECT_EQ(blob.kb_buffer, nullptr);
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(ProviderState, FetchingFromANodeWhoseSubObjectHasAnEmptyNameFillsTheBlob) {
  qmfi_objid empty{""_text, 0, 3};
  importedCalls().answerIdentifier("", &empty);
  kfi_domain& domain = node("/data");
  ASSERT_EQ(store(domain, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ></SUBOBJ>\n"), 0);
  EXPECT_EQ(stateOf(domain), "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ></SUBOBJ>\n");
}

TEST_F(ProviderState, FetchingRefusesNoNameAndRunsNoCommand) {
  for (const std::string& path : UNUSABLE_PATHS) {
    kfi_domain& domain = restoredNode(path, path, "rw | /bin/x", path);
    EXPECT_EQ(stateOf(domain),
              "<MNT_OPTS>rw | /bin/x</MNT_OPTS>\n<SUBOBJ>" + path + "</SUBOBJ>\n<ALTOBJ>" + path + "</ALTOBJ>\n");
    EXPECT_THAT(refusals(), IsEmpty());
    expectNothingDone();
  }
}

TEST_F(ProviderState, FetchingFromANodeWhoseSubObjectHasNoNameLeavesTheBlobCleared) {
  qmfi_objid nameless{nullptr, 0, 3};
  importedCalls().answerIdentifier(DEVICE, &nameless);
  kfi_domain& domain = node("/data");
  ASSERT_EQ(store(domain, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + DEVICE + "</SUBOBJ>\n"), 0);
  kfi_blob blob{4, "old"_text, 1};
  EXPECT_EQ(plugin.process_providerstate(&domain, &blob, fetchState), 3);
  EXPECT_EQ(blob.kb_length, 0u);
  EXPECT_EQ(blob.kb_buffer, nullptr);
}

TEST_F(ProviderState, FetchingWithoutMemoryForTheBufferIsAnError) {
  kfi_domain& domain = restoredNode("/data", DEVICE);
  importedCalls().failBuffer(stateOf(domain).size() + 1);
  kfi_blob blob{9, nullptr, 1};
  EXPECT_EQ(plugin.process_providerstate(&domain, &blob, fetchState), 6);
  const auto pushed = messages();
  ASSERT_EQ(pushed.size(), 1u);
  EXPECT_EQ(pushed[0].id, "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION");
  EXPECT_EQ(blob.kb_length, 0u);
  EXPECT_EQ(blob.kb_buffer, nullptr);
}

TEST_F(ProviderState, IsInvalidWithoutTheArgumentsThatItNeeds) {
  kfi_domain nameless{};
  kfi_blob blob{4, "old"_text, 1};
  EXPECT_EQ(plugin.process_providerstate(nullptr, &blob, fetchState), 3);
  EXPECT_EQ(plugin.process_providerstate(&nameless, &blob, storeState), 3);
  kfi_domain& fresh = node("/data");
  EXPECT_EQ(plugin.process_providerstate(&fresh, nullptr, fetchState), 3);
  EXPECT_EQ(fresh.fid_private, nullptr);
  EXPECT_EQ(blob.kb_length, 4u);
  EXPECT_NE(blob.kb_buffer, nullptr);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(ProviderState, IsInvalidAfterTheStop) {
  kfi_domain& fresh = node("/data");
  plugin.fini();
  kfi_blob blob{};
  EXPECT_EQ(plugin.process_providerstate(&fresh, &blob, fetchState), 3);
  EXPECT_EQ(plugin.process_providerstate(&fresh, &blob, storeState), 3);
}

}  // namespace
