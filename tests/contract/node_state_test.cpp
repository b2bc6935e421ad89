// A node's state: the filter of mount options, and the text that the framework keeps.
#include <cstring>

#include "plugin_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

const char* const device = "/dev/qm/dsk/dg1/vol1";

constexpr kfi_op_providerstate storeState = 0;
constexpr kfi_op_providerstate fetchState = 1;

// The text of a state; null members are left out.
std::string stateText(const std::string& options, const std::string& subObject, const std::string& altObject = "") {
  std::string text = "<MNT_OPTS>" + options + "</MNT_OPTS>\n<SUBOBJ>" + subObject + "</SUBOBJ>\n";
  if (!altObject.empty()) text += "<ALTOBJ>" + altObject + "</ALTOBJ>\n";
  return text;
}

class NodeState : public StartedPlugin {
 protected:
  int store(kfi_domain& domain, const std::string& text) {
    std::string buffer = text;
    kfi_blob blob{buffer.size() + 1, buffer.data(), 1};
    return plugin.process_providerstate(&domain, &blob, storeState);
  }

  std::string fetch(kfi_domain& domain) {
    kfi_blob blob{};
    EXPECT_EQ(plugin.process_providerstate(&domain, &blob, fetchState), 0);
    EXPECT_EQ(blob.kb_encoding, 1);
    if (blob.kb_buffer == nullptr) return "";
    std::string text = blob.kb_buffer;
    EXPECT_EQ(blob.kb_length, text.size() + 1);
    framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
    return text;
  }

  std::vector<std::string> subObjects(kfi_domain& domain) {
    qmfi_objid** objects = nullptr;
    int count = 0;
    EXPECT_EQ(plugin.subobj_list(&domain, &objects, &count), 0);
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) names.emplace_back(objects[i]->vid_name);
    framework.qmfi_free_buf(objects, static_cast<std::size_t>(count) * sizeof(void*));
    return names;
  }

  // A node that is mounted with the options and initialised.
  kfi_domain& mountedNode(const std::string& options) {
    table.add(device, "/mnt/a", "qmfs", options);
    return initialisedNode("/mnt/a");
  }
};

struct FilterCase {
  const char* options;
  const char* kept;
};

TEST_F(NodeState, FiltersMountOptions) {
  for (const FilterCase& tried : {
           FilterCase{"rw,log,delaylog", "rw,log,delaylog"},
           FilterCase{"ro,log,delaylog", "ro,delaylog"},
           FilterCase{"log,ro", "ro"},
           FilterCase{"log,ro,log", "ro"},
           FilterCase{"ro", "ro"},
           FilterCase{"log", "log"},
           FilterCase{"RO,log", "RO,log"},
           FilterCase{"ro,log=x,LOG", "ro,log=x,LOG"},
           FilterCase{"ro,nolog", "ro,nolog"},
           FilterCase{"errors=ro,log", "errors=ro,log"},
           FilterCase{"rw,mincache=closesync,convosync=delay", "rw,mincache=closesync,convosync=delay"},
       }) {
    table.write(std::string(device) + " /mnt/a qmfs " + tried.options + " 0 0\n");
    forget();
    kfi_domain& domain = initialisedNode("/mnt/a");
    EXPECT_EQ(fetch(domain), stateText(tried.kept, device));
    EXPECT_THAT(trace(),
                ::testing::Contains(traced(3, std::string("Got mount options for filtering: ") + tried.options)));
    EXPECT_THAT(trace(), ::testing::Contains(traced(3, std::string("Setting filtered mount options: ") + tried.kept)));
  }
}

TEST_F(NodeState, EmptyMountOptionsBecomeEmpty) {
  kfi_domain& domain = mountedNode("rw");
  // A line that ends before its options has empty ones.
  table.write(std::string(device) + " /mnt/a qmfs\n");
  forget();
  // Another record of the name shares the private data.
  initialisedNode("/mnt/a");
  EXPECT_EQ(fetch(domain), stateText("", device));
  EXPECT_THAT(trace(), ::testing::Contains(traced(3, "Setting filtered mount options: ")));
}

TEST_F(NodeState, FetchedIsATextThatEndsInItsNul) {
  kfi_domain& domain = mountedNode("rw");
  kfi_blob blob{};
  ASSERT_EQ(plugin.process_providerstate(&domain, &blob, fetchState), 0);
  const std::string text = stateText("rw", device);
  EXPECT_EQ(blob.kb_length, text.size() + 1);
  EXPECT_EQ(std::memcmp(text.c_str(), blob.kb_buffer, text.size() + 1), 0);
  EXPECT_EQ(blob.kb_encoding, 1);
  framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
}

TEST_F(NodeState, FetchTracesWhatItHandsOut) {
  kfi_domain& domain = mountedNode("rw");
  forget();
  const std::string text = fetch(domain);
  // 30 bytes of tags and line feed around the options, 42 characters of the second line.
  EXPECT_EQ(text, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n");
  EXPECT_THAT(trace(), ElementsAre(traced(3, "getNodeState: [" + text + "] [62]:[" + text +
                                                 "] [63], mnt_opts=[rw], m_subObjectList[0]=[/dev/qm/dsk/dg1/vol1]")));
}

TEST_F(NodeState, WithoutAlternateObjectHasTwoLines) {
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(store(domain, stateText("rw", device, "/mnt/a_alt")), 0);
  ASSERT_EQ(fetch(domain), stateText("rw", device, "/mnt/a_alt"));
  // A state without the third line leaves the alternate object as it was.
  ASSERT_EQ(store(domain, stateText("ro", device)), 0);
  EXPECT_EQ(fetch(domain), stateText("ro", device, "/mnt/a_alt"));
  kfi_domain& other = node("/mnt/b");
  ASSERT_EQ(store(other, stateText("rw", device)), 0);
  EXPECT_EQ(fetch(other), stateText("rw", device));
}

TEST_F(NodeState, RoundTripRestoresOptionsSubObjectAndAlternateObject) {
  kfi_domain& domain = node("/mnt/a");
  const std::string text = stateText("ro,delaylog", device, "/mnt/a_alt15112026141530");
  forget();
  ASSERT_EQ(store(domain, text), 0);
  EXPECT_THAT(trace(), ElementsAre(traced(3,
                                          "setNodeState: m_mntOpts=[ro,delaylog], subobj=[/dev/qm/dsk/dg1/vol1], "
                                          "altobj=[/mnt/a_alt15112026141530]")));
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{device, 21, 3}));
  EXPECT_THAT(subObjects(domain), ElementsAre(device));
  EXPECT_EQ(fetch(domain), text);
}

TEST_F(NodeState, StoredOptionsAreNotFilteredAgain) {
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(store(domain, stateText("ro,log", device)), 0);
  EXPECT_EQ(fetch(domain), stateText("ro,log", device));
}

TEST_F(NodeState, StoredTwiceLeavesTwoSubObjects) {
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(store(domain, stateText("rw", device)), 0);
  ASSERT_EQ(store(domain, stateText("rw", "/dev/qm/dsk/dg1/vol2")), 0);
  EXPECT_THAT(subObjects(domain), ElementsAre(device, "/dev/qm/dsk/dg1/vol2"));
  EXPECT_EQ(fetch(domain), stateText("rw", device));
}

struct BrokenState {
  const char* text;
  const char* options;
  const char* subObject;
};

TEST_F(NodeState, DoesNotNoticeMissingTags) {
  int number = 0;
  for (const BrokenState& tried : {
           // Without its opening tag the options begin 9 characters into the text.
           BrokenState{"0123456789rw</MNT_OPTS>\n<SUBOBJ>/dev/x</SUBOBJ>\n", "9rw", "/dev/x"},
           // Without its closing tag a value runs to the end of the text.
           BrokenState{"<MNT_OPTS>rw<SUBOBJ>/dev/x</SUBOBJ>", "rw<SUBOBJ>/dev/x</SUBOBJ>", "/dev/x"},
           BrokenState{"<MNT_OPTS>rw</MNT_OPTS><SUBOBJ>/dev/x", "rw", "/dev/x"},
           // Without its opening tag the sub-object begins 7 characters into the text.
           BrokenState{"<MNT_OPTS>rw</MNT_OPTS></SUBOBJ>", "rw", "TS>rw</MNT_OPTS>"},
           // Without any tag both run to the end.
           BrokenState{"0123456789", "9", "789"},
           // A closing tag before its opening tag gives a negative length, which is the whole rest.
           BrokenState{"</MNT_OPTS><MNT_OPTS>rw<SUBOBJ>/dev/x</SUBOBJ>", "rw<SUBOBJ>/dev/x</SUBOBJ>", "/dev/x"},
       }) {
    kfi_domain& domain = node("/mnt/" + std::to_string(++number));
    EXPECT_EQ(store(domain, tried.text), 0) << tried.text;
    EXPECT_EQ(fetch(domain), stateText(tried.options, tried.subObject)) << tried.text;
  }
}

TEST_F(NodeState, OfAHalfAlternateObjectKeepsTheOldOne) {
  kfi_domain& domain = node("/mnt/a");
  ASSERT_EQ(store(domain, stateText("rw", device, "/mnt/old")), 0);
  ASSERT_EQ(store(domain, stateText("rw", device) + "<ALTOBJ>/mnt/new\n"), 0);
  ASSERT_EQ(store(domain, stateText("rw", device) + "/mnt/new</ALTOBJ>\n"), 0);
  EXPECT_EQ(fetch(domain), stateText("rw", device, "/mnt/old"));
}

TEST_F(NodeState, ShorterThanAMissingTagIsACaughtException) {
  kfi_domain& domain = node("/mnt/a");
  EXPECT_EQ(store(domain, "short"), 6);
  const auto pushed = messages();
  ASSERT_EQ(pushed.size(), 1u);
  EXPECT_EQ(pushed[0].id, "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION");
  EXPECT_THAT(pushed[0].arguments, StartsWith("std::out_of_range, basic_string::substr"));
}

TEST_F(NodeState, EndsAtItsNulWhateverItsLengthSays) {
  for (const std::uint64_t length : {std::uint64_t{1}, std::uint64_t{1} << 40}) {
    kfi_domain& domain = node("/mnt/" + std::to_string(length));
    std::string text = stateText("rw", device);
    kfi_blob blob{length, text.data(), 1};
    EXPECT_EQ(plugin.process_providerstate(&domain, &blob, storeState), 0);
    EXPECT_EQ(fetch(domain), text);
  }
}

TEST_F(NodeState, OfLength0IsIgnored) {
  kfi_domain& domain = node("/mnt/a");
  std::string text = stateText("rw", device);
  kfi_blob blob{0, text.data(), 1};
  forget();
  EXPECT_EQ(plugin.process_providerstate(&domain, &blob, storeState), 0);
  EXPECT_THAT(trace(), IsEmpty());
  EXPECT_THAT(subObjects(domain), IsEmpty());
}

TEST_F(NodeState, OfAnotherEncodingIsIgnored) {
  kfi_domain& domain = node("/mnt/a");
  std::string text = stateText("rw", device);
  for (const std::int32_t encoding : {0, 2, -1}) {
    kfi_blob blob{text.size() + 1, text.data(), encoding};
    forget();
    EXPECT_EQ(plugin.process_providerstate(&domain, &blob, storeState), 0);
    EXPECT_THAT(trace(), ElementsAre(traced(2, "setNodeState() Blob uses non-string encoding.")));
  }
  EXPECT_THAT(subObjects(domain), IsEmpty());
}

TEST_F(NodeState, WithoutBlobOrBufferIsACaughtError) {
  kfi_domain& domain = node("/mnt/a");
  kfi_blob empty{10, nullptr, 1};
  EXPECT_EQ(plugin.process_providerstate(&domain, nullptr, storeState), 6);
  expectCaughtError(messages(), "processProviderState(): Invalid blob contents", "processProviderState");
  EXPECT_EQ(plugin.process_providerstate(&domain, &empty, storeState), 6);
  expectCaughtError(messages(), "processProviderState(): Invalid blob contents", "processProviderState");
}

TEST_F(NodeState, OfANodeWithoutASubObjectIsInvalidAndClearsTheBlob) {
  std::string stale = "stale";
  kfi_blob blob{6, stale.data(), 1};
  EXPECT_EQ(plugin.process_providerstate(&node("/mnt/a"), &blob, fetchState), 3);
  EXPECT_EQ(blob.kb_length, 0u);
  EXPECT_EQ(blob.kb_buffer, nullptr);
}

TEST_F(NodeState, FetchedWithoutABlobIsInvalid) {
  EXPECT_EQ(plugin.process_providerstate(&mountedNode("rw"), nullptr, fetchState), 3);
}

TEST_F(NodeState, FetchedWithoutMemoryForItIsACaughtError) {
  kfi_domain& domain = mountedNode("rw");
  importedCalls().failBuffer(stateText("rw", device).size() + 1);
  kfi_blob blob{};
  EXPECT_EQ(plugin.process_providerstate(&domain, &blob, fetchState), 6);
  EXPECT_EQ(blob.kb_buffer, nullptr);
  const auto pushed = messages();
  ASSERT_EQ(pushed.size(), 1u);
  EXPECT_EQ(pushed[0].id, "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION");
}

TEST_F(NodeState, OfTheQuiesceGroupIsNone) {
  std::string stale = "stale";
  kfi_blob blob{6, stale.data(), 1};
  kfi_domain& group = node("qmfs-quiesce");
  for (const kfi_op_providerstate operation : {storeState, fetchState, 2}) {
    EXPECT_EQ(plugin.process_providerstate(&group, &blob, operation), 0);
    EXPECT_EQ(plugin.process_providerstate(&group, nullptr, operation), 0);
  }
  EXPECT_EQ(blob.kb_length, 6u);
  EXPECT_EQ(blob.kb_buffer, stale.data());
  EXPECT_EQ(group.fid_private, nullptr);
}

TEST_F(NodeState, OfAnotherOperationIsNothing) {
  std::string stale = "stale";
  kfi_blob blob{6, stale.data(), 1};
  EXPECT_EQ(plugin.process_providerstate(&node("/mnt/a"), &blob, 2), 0);
  EXPECT_EQ(plugin.process_providerstate(&node("/mnt/a"), nullptr, -1), 0);
  EXPECT_EQ(blob.kb_buffer, stale.data());
}

TEST_F(NodeState, OfANodeWithoutANameIsInvalid) {
  kfi_domain unnamed{};
  kfi_blob blob{};
  for (const kfi_op_providerstate operation : {storeState, fetchState, 2}) {
    EXPECT_EQ(plugin.process_providerstate(nullptr, &blob, operation), 3);
    EXPECT_EQ(plugin.process_providerstate(&unnamed, &blob, operation), 3);
  }
}

TEST_F(NodeState, RefusesNoSubObjectThatIsEmptyButStoresNone) {
  kfi_domain& domain = node("/mnt/a");
  EXPECT_EQ(store(domain, stateText("rw", "")), 0);
  EXPECT_THAT(subObjects(domain), IsEmpty());
}

TEST_F(NodeState, CrossesFromOneStartToTheNext) {
  const std::string text = fetch(mountedNode("ro,log"));
  stopPlugin();
  ASSERT_EQ(startPlugin(), 0);
  kfi_domain& domain = node("/mnt/b");
  ASSERT_EQ(store(domain, text), 0);
  EXPECT_EQ(fetch(domain), stateText("ro", device));
}

}  // namespace
