// The text in which a node's state is kept.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "qmfs_private_data.h"
#include "support/domains.h"
#include "support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// A blob that gives its buffer back.
class Blob {
 public:
  Blob() = default;
  explicit Blob(const std::string& text) {
    m_blob.kb_length = text.size() + 1;
    m_blob.kb_buffer = static_cast<char*>(qmfi_alloc_buf(m_blob.kb_length));
    std::memcpy(m_blob.kb_buffer, text.c_str(), m_blob.kb_length);
    m_blob.kb_encoding = 1;
  }
  Blob(const Blob&) = delete;
  Blob& operator=(const Blob&) = delete;
  ~Blob() { qmfi_free_buf(m_blob.kb_buffer, m_blob.kb_length); }

  kfi_blob* get() { return &m_blob; }
  kfi_blob* operator->() { return &m_blob; }

 private:
  kfi_blob m_blob{};
};

class NodeData : public CQmFSPrivateData {
 public:
  NodeData() : CQmFSPrivateData(identifierOf("/data"), false) {}

  std::vector<std::string> subObjects() {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < getSubObjectListLength(); ++i) names.emplace_back(getSubObjectList()[i]->vid_name);
    return names;
  }
};

TEST(NodeStateText, HasALineForEachFactAndNoneForAMissingAlternate) {
  EXPECT_EQ(composeNodeState({"rw,log", "/dev/d", "/data_alt"}),
            "<MNT_OPTS>rw,log</MNT_OPTS>\n<SUBOBJ>/dev/d</SUBOBJ>\n<ALTOBJ>/data_alt</ALTOBJ>\n");
  EXPECT_EQ(composeNodeState({"rw", "/dev/d", ""}), "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/d</SUBOBJ>\n");
  EXPECT_EQ(composeNodeState({"", "", ""}), "<MNT_OPTS></MNT_OPTS>\n<SUBOBJ></SUBOBJ>\n");
}

TEST(NodeState, FillsTheBlobWithATerminatedText) {
  NodeData data;
  data.setMntOpts("rw");
  data.addSubObject(identifierOf("/dev/first", 3));
  data.addSubObject(identifierOf("/dev/second", 3));
  data.setAltObj("/data_alt");
  Blob blob;
  EXPECT_EQ(data.getNodeState(blob.get()), 0);
  const std::string text = "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/first</SUBOBJ>\n<ALTOBJ>/data_alt</ALTOBJ>\n";
  ASSERT_NE(blob->kb_buffer, nullptr);
  EXPECT_EQ(blob->kb_length, text.size() + 1);
  EXPECT_EQ(std::string(blob->kb_buffer, blob->kb_length), text + '\0');
  EXPECT_EQ(blob->kb_encoding, 1);
}

struct RoundTripCase {
  const char* options;
  const char* subObject;
  const char* altObject;
};

TEST(NodeState, ComesBackAsItWas) {
  const RoundTripCase cases[] = {
      {"rw,log,delaylog", "/dev/qm/dsk/g/v", "/data_alt15112026141530"},
      {"rw", "/dev/d", ""},
      {"", "/dev/d", "/a"},
      {"a=<b>", "name with blanks\nand lines", "</SUBOBJ"},
  };
  for (const RoundTripCase& c : cases) {
    NodeData saved;
    saved.setMntOpts(c.options);
    saved.setAltObj(c.altObject);
    saved.addSubObject(identifierOf(c.subObject, 3));
    Blob blob;
    ASSERT_EQ(saved.getNodeState(blob.get()), 0);

    NodeData restored;
    EXPECT_EQ(restored.setNodeState(blob.get()), 0);
    EXPECT_EQ(restored.getMntOpts(), c.options);
    EXPECT_EQ(restored.getAltObj(), c.altObject);
    EXPECT_THAT(restored.subObjects(), ElementsAre(c.subObject));
    EXPECT_EQ(restored.getSubObjectList()[0]->vid_kind, 3);
  }
}

TEST(NodeState, ClosingTagWithinAValueCutsIt) {
  NodeData saved;
  saved.setMntOpts("a</MNT_OPTS>b");
  saved.addSubObject(identifierOf("/dev/d", 3));
  Blob blob;
  saved.getNodeState(blob.get());
  NodeData restored;
  restored.setNodeState(blob.get());
  EXPECT_EQ(restored.getMntOpts(), "a");
}

TEST(NodeState, RestoredTwiceAddsASecondSubObject) {
  Blob first("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/one</SUBOBJ>\n");
  Blob second("<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/dev/two</SUBOBJ>\n");
  NodeData data;
  data.setNodeState(first.get());
  data.setNodeState(second.get());
  EXPECT_EQ(data.getMntOpts(), "ro");
  EXPECT_THAT(data.subObjects(), ElementsAre("/dev/one", "/dev/two"));
}

struct RestoreCase {
  const char* text;
  const char* options;
  std::vector<std::string> subObjects;
  const char* altObject;
};

// Tags that are missing are not looked for: the place -1 takes part in the arithmetic, and a negative length reaches to
// the end of the text.
TEST(NodeState, MissingTagsTakePartInTheArithmetic) {
  const RestoreCase cases[] = {
      // Only the closing tag of the options, within and behind the first nine characters.
      {"0123456789abc</MNT_OPTS><SUBOBJ>/d</SUBOBJ>", "9abc", {"/d"}, "old"},
      {"rw,log</MNT_OPTS>\n<SUBOBJ>/d</SUBOBJ>\n", "NT_OPTS>\n<SUBOBJ>/d</SUBOBJ>\n", {"/d"}, "old"},
      // Only the opening tag of the options.
      {"<MNT_OPTS>rw\n<SUBOBJ>/d</SUBOBJ>\n", "rw\n<SUBOBJ>/d</SUBOBJ>\n", {"/d"}, "old"},
      // The closing tag ahead of the opening one.
      {"</MNT_OPTS><MNT_OPTS>x<SUBOBJ>/d</SUBOBJ>", "x<SUBOBJ>/d</SUBOBJ>", {"/d"}, "old"},
      // No tag of the options.
      {"<SUBOBJ>/d</SUBOBJ>", "d</SUBOBJ>", {"/d"}, "old"},
      // No tag of the sub-object, then one of the two.
      {"<MNT_OPTS></MNT_OPTS>", "", {"TS></MNT_OPTS>"}, "old"},
      {"<MNT_OPTS>rw</MNT_OPTS>\n</SUBOBJ>", "rw", {"TS>rw</MNT_OPTS>\n"}, "old"},
      {"<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/d\n", "rw", {"/d\n"}, "old"},
      {"</SUBOBJ><SUBOBJ>/d<MNT_OPTS>rw</MNT_OPTS>", "rw", {"/d<MNT_OPTS>rw</MNT_OPTS>"}, "old"},
      // No tag at all, down to the shortest text that has what is taken.
      {"0123456789", "9", {"789"}, "old"},
      {"012345678", "", {"78"}, "old"},
      // A sub-object without a name is none.
      {"<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ></SUBOBJ>\n", "rw", {}, "old"},
      // An alternate object needs both of its tags, whatever their order.
      {"<MNT_OPTS></MNT_OPTS><SUBOBJ>/d</SUBOBJ><ALTOBJ>/a", "", {"/d"}, "old"},
      {"<MNT_OPTS></MNT_OPTS><SUBOBJ>/d</SUBOBJ>/a</ALTOBJ>", "", {"/d"}, "old"},
      {"<MNT_OPTS></MNT_OPTS><SUBOBJ>/d</SUBOBJ></ALTOBJ><ALTOBJ>/a", "", {"/d"}, "/a"},
      {"<MNT_OPTS></MNT_OPTS><SUBOBJ>/d</SUBOBJ><ALTOBJ></ALTOBJ>", "", {"/d"}, ""},
      // The order of the lines does not matter, and the first of each tag counts.
      {"<ALTOBJ>/a</ALTOBJ><SUBOBJ>/d</SUBOBJ><MNT_OPTS>rw</MNT_OPTS><SUBOBJ>/e</SUBOBJ>", "rw", {"/d"}, "/a"},
  };
  for (const RestoreCase& c : cases) {
    SCOPED_TRACE(c.text);
    NodeData data;
    data.setAltObj("old");
    Blob blob(c.text);
    EXPECT_EQ(data.setNodeState(blob.get()), 0);
    EXPECT_EQ(data.getMntOpts(), c.options);
    EXPECT_EQ(data.subObjects(), c.subObjects);
    EXPECT_EQ(data.getAltObj(), c.altObject);
  }
}

TEST(NodeState, TextTooShortForItsTagsIsOutOfRange) {
  for (const char* const text : {"", "0", "01234567"}) {
    NodeData data;
    Blob blob(text);
    try {
      data.setNodeState(blob.get());
      ADD_FAILURE() << text;
    } catch (const std::out_of_range& error) {
      EXPECT_THAT(error.what(), StartsWith("basic_string::substr"));
    }
    EXPECT_THAT(data.subObjects(), IsEmpty());
  }
}

TEST(NodeState, BlobsLengthIsOnlyTestedForZero) {
  NodeData data;
  Blob blob("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/d</SUBOBJ>\n");
  kfi_blob shorter = *blob.get();
  shorter.kb_length = 1;
  EXPECT_EQ(data.setNodeState(&shorter), 0);
  EXPECT_EQ(data.getMntOpts(), "rw");
}

class TracedNodeState : public testing::Test {
 protected:
  TracedNodeState() {
    m_data.setMntOpts("rw");
    m_data.setAltObj("/alt");
    m_data.registerTraceLog(m_capture.log());
  }

  void expectUnchanged() {
    EXPECT_EQ(m_data.getMntOpts(), "rw");
    EXPECT_EQ(m_data.getAltObj(), "/alt");
    EXPECT_THAT(m_data.subObjects(), IsEmpty());
  }

  TraceCapture m_capture;
  NodeData m_data;
};

constexpr const char* enteringSet = "L6 Entering Function setNodeState [line, qmfs_private_data.cpp]";
constexpr const char* exitingSet = "L6 Exiting Function setNodeState [line, qmfs_private_data.cpp]";

TEST_F(TracedNodeState, BlobWithoutTextChangesNothingSilently) {
  Blob blob("<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/d</SUBOBJ>\n");
  kfi_blob noBuffer = *blob.get();
  noBuffer.kb_buffer = nullptr;
  EXPECT_EQ(m_data.setNodeState(&noBuffer), 0);
  kfi_blob noLength = *blob.get();
  noLength.kb_length = 0;
  EXPECT_EQ(m_data.setNodeState(&noLength), 0);
  expectUnchanged();
  EXPECT_THAT(withoutLineNumbers(m_capture.records()), ElementsAre(enteringSet, exitingSet, enteringSet, exitingSet));
}

TEST_F(TracedNodeState, OtherEncodingChangesNothing) {
  for (const int encoding : {0, 2, -1}) {
    Blob blob("<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/d</SUBOBJ>\n");
    blob->kb_encoding = encoding;
    EXPECT_EQ(m_data.setNodeState(blob.get()), 0);
    expectUnchanged();
  }
  const auto records = withoutLineNumbers(m_capture.records());
  ASSERT_EQ(records.size(), 9U);
  EXPECT_THAT(std::vector<std::string>(records.begin(), records.begin() + 3),
              ElementsAre(enteringSet, "L2 setNodeState() Blob uses non-string encoding.", exitingSet));
}

TEST_F(TracedNodeState, RestoringIsTraced) {
  Blob blob("<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>/d</SUBOBJ>\n");
  m_data.setNodeState(blob.get());
  EXPECT_THAT(withoutLineNumbers(m_capture.records()),
              ElementsAre(enteringSet, "L3 setNodeState: m_mntOpts=[ro], subobj=[/d], altobj=[/alt]", exitingSet));
}

TEST_F(TracedNodeState, SavingIsTraced) {
  m_data.setAltObj("");
  m_data.addSubObject(identifierOf("/d", 3));
  Blob blob;
  m_data.getNodeState(blob.get());
  // The text has 24 characters for the options and 20 for the sub-object.
  const std::string text = "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/d</SUBOBJ>\n";
  EXPECT_THAT(
      withoutLineNumbers(m_capture.records()),
      ElementsAre("L6 Entering Function getNodeState [line, qmfs_private_data.cpp]",
                  "L3 getNodeState: [" + text + "] [44]:[" + text + "] [45], mnt_opts=[rw], m_subObjectList[0]=[/d]",
                  "L6 Exiting Function getNodeState [line, qmfs_private_data.cpp]"));
}

}  // namespace
