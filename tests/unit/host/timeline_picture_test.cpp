// The picture of a freeze.
#include "cli/timeline_picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pugixml.hpp>

#include "failure/host_error.h"

namespace qmfi_host {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ThrowsMessage;

using Moment = FreezeReceipt::Moment;

// Two file systems in a window of 10 ms, which is as wide as 660 pixels; the bars begin at 220.
Snapshot frozenSnapshot() {
  Snapshot snapshot;
  snapshot.id = "17b4f33e";
  snapshot.name = "nightly";
  FreezeReceipt receipt;
  receipt.splitBegan = Moment(4000);
  receipt.splitEnded = Moment(6000);
  receipt.over = Moment(10000);
  receipt.mayEnd = Moment(2000000);
  receipt.fileSystems = {
      {Moment(0), Moment(2000), Moment(3000), Moment(7000), Moment(8000), ThawAnswer::noFailure},
      {Moment(1000), Moment(2500), std::nullopt, Moment(9000), Moment(10000), ThawAnswer::noFailure}};
  snapshot.receipt = receipt;
  snapshot.nodes.resize(2);
  snapshot.nodes[0].mountPoint = "/mnt/a <&>";
  snapshot.nodes[1].mountPoint = "/mnt/\xff\n";
  return snapshot;
}

struct Bar {
  std::string what;
  double x;
  double width;
  std::string colour;

  bool operator==(const Bar& other) const = default;
};

void PrintTo(const Bar& bar, std::ostream* out) {
  *out << bar.what << " at " << bar.x << ", " << bar.width << " wide, " << bar.colour;
}

class TimelinePicture : public testing::Test {
 protected:
  explicit TimelinePicture(const Snapshot& snapshot = frozenSnapshot()) {
    EXPECT_TRUE(m_document.load_string(timelineOf(snapshot).c_str()));
  }

  // What says what it is.
  std::vector<Bar> bars() const {
    std::vector<Bar> bars;
    for (const pugi::xml_node node : m_document.child("svg").children("rect")) {
      if (!node.child("title")) continue;
      bars.push_back({node.child_value("title"), node.attribute("x").as_double(), node.attribute("width").as_double(),
                      node.attribute("fill").value()});
    }
    return bars;
  }

  std::vector<std::string> texts() const {
    std::vector<std::string> texts;
    for (const pugi::xml_node node : m_document.child("svg").children("text")) texts.emplace_back(node.child_value());
    return texts;
  }

  pugi::xml_document m_document;
};

TEST_F(TimelinePicture, HasABarForEachPartOfAFreeze) {
  EXPECT_THAT(bars(), ElementsAre(Bar{"volumes are split, 4.0 ms to 6.0 ms", 484, 132, "#fdbf6f"},
                                  Bar{"being frozen, 0.0 ms to 2.0 ms", 220, 132, "#a6cee3"},
                                  Bar{"frozen, 2.0 ms to 7.0 ms", 352, 330, "#1f78b4"},
                                  Bar{"being thawed, 7.0 ms to 8.0 ms", 682, 66, "#a6cee3"},
                                  Bar{"proven to be frozen, 3.0 ms to 3.0 ms", 418, 2, "#ff7f00"},
                                  Bar{"being frozen, 1.0 ms to 2.5 ms", 286, 99, "#a6cee3"},
                                  Bar{"frozen, 2.5 ms to 9.0 ms", 385, 429, "#1f78b4"},
                                  Bar{"being thawed, 9.0 ms to 10.0 ms", 814, 66, "#a6cee3"}));
}

TEST_F(TimelinePicture, SaysWhoseItIsAndWhatItProves) {
  EXPECT_EQ(texts()[0], "Snapshot nightly, 1970-01-01T00:00:00.000000Z");
  EXPECT_EQ(texts()[1], "proven: none; all thawed after 10.0 ms");
}

TEST_F(TimelinePicture, NamesFileSystemsByPlainText) {
  EXPECT_THAT(texts(), Contains("/mnt/a <&>"));
  EXPECT_THAT(texts(), Contains("/mnt/?\\x0a"));
}

TEST_F(TimelinePicture, HasAScaleOfRoundNumbers) {
  const std::vector<std::string> all = texts();
  EXPECT_THAT(std::vector(all.begin() + 4, all.begin() + 10),
              ElementsAre("0.0 ms", "2.0 ms", "4.0 ms", "6.0 ms", "8.0 ms", "10.0 ms"));
}

TEST(TimelinePictureOfNothing, IsAFailure) {
  Snapshot snapshot;
  snapshot.id = "17b4f33e";
  EXPECT_THAT([&] { timelineOf(snapshot); },
              ThrowsMessage<HostError>("snapshot 17b4f33e has no receipt, so there is no time line of its freeze"));
}

TEST(TimelinePictureOfAMoment, HasAScale) {
  Snapshot snapshot = frozenSnapshot();
  snapshot.receipt = FreezeReceipt{};
  EXPECT_NE(timelineOf(snapshot).find("0.0 ms"), std::string::npos);
}

}  // namespace
}  // namespace qmfi_host
