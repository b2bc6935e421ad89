// One snapshot of volumes of several kinds while a program writes to them, on a kernel that can split frozen logical
// volumes.
#include <filesystem>
#include <list>

#include "kinds_fixture.h"
#include "writer_process.h"

namespace machine_test {
namespace {

namespace fs = std::filesystem;

class VolumeKinds : public testing::TestWithParam<Layout> {};

demo::Numbers numbersIn(const std::vector<std::string>& trees) {
  return {demo::readNumber(trees.at(0)), demo::readNumber(trees.at(1)), demo::readNumber(trees.at(2))};
}

// A snapshot that is taken while a program writes, judged by the program's own log.
TakenSnapshot snapshotOfOneMoment() {
  demo::WriterProcess writer;
  const auto before = demo::Clock::now();
  TakenSnapshot snapshot(mountPoints());
  const auto after = demo::Clock::now();
  const demo::Numbers numbers = numbersIn(snapshot.trees());
  EXPECT_TRUE(demo::isOneMoment(numbers)) << testing::PrintToString(numbers);
  writer.waitForNumbers(2);
  EXPECT_EQ(demo::contradiction(numbers, writer.log(), before, after), "");
  return snapshot;
}

TEST_P(VolumeKinds, AreSplitAtOneMomentWhichTheyKeepWhenTheyAreMountedAgain) {
  const MountedLayout mounted(GetParam());
  const std::string before = machineState();
  const TakenSnapshot snapshot = snapshotOfOneMoment();
  std::vector<std::string> splitters;
  for (const Volume& volume : GetParam().volumes) splitters.push_back(volume.splitter);
  EXPECT_EQ(snapshot.splitters(), splitters);
  const demo::Numbers numbers = numbersIn(snapshot.trees());
  snapshot.let("unmount");
  for (const std::string& tree : snapshot.trees()) EXPECT_FALSE(fs::exists(tree));
  snapshot.let("mount");
  EXPECT_EQ(numbersIn(snapshot.trees()), numbers);
  EXPECT_NE(numbersIn(mountPoints()), numbers);
  snapshot.let("delete");
  EXPECT_EQ(machineState(), before);
}

// A copy of a live volume, as somebody would make it who knows of no freeze.
class UnfrozenCopy {
 public:
  UnfrozenCopy(const Volume& volume, const std::string& mountPoint)
      : m_copy{volume.place + "-control", volume.type, volume.splitter}, m_directory(mountPoint + "-control") {
    if (volume.isFile()) {
      mustRun({"/bin/cp", "--reflink=always", volume.place, m_copy.place});
      return;
    }
    mustRun({"/sbin/lvcreate", "--snapshot", volume.isThin() ? "--setactivationskip" : "--size",
             volume.isThin() ? "n" : "64M", "--name", fs::path(m_copy.place).filename(), volume.place});
  }
  UnfrozenCopy(const UnfrozenCopy&) = delete;
  UnfrozenCopy& operator=(const UnfrozenCopy&) = delete;
  ~UnfrozenCopy() {
    if (m_copy.isFile()) {
      fs::remove(m_copy.place);
    } else {
      mustRun({"/sbin/lvremove", "--yes", m_copy.place});
    }
  }

  std::uint64_t number() const {
    fs::create_directory(m_directory);
    std::uint64_t number = 0;
    {
      const MountedVolume mounted(m_copy, m_directory, m_copy.type == "xfs" ? "rw,nouuid" : "rw");
      number = demo::readNumber(m_directory);
    }
    fs::remove(m_directory);
    return number;
  }

 private:
  Volume m_copy;
  std::string m_directory;
};

TEST(VolumeKindsControl, CopiesOneAfterAnotherWithoutAFreezeAreFoundOut) {
  const MountedLayout mounted(thinFirst);
  constexpr int numbersBetween = 3;
  demo::WriterProcess writer;
  std::list<UnfrozenCopy> copies;
  for (std::size_t i = 0; i < demo::fileSystems; ++i) {
    copies.emplace_back(thinFirst.volumes.at(i), demo::ledgerMountPoints.at(i));
    writer.waitForNumbers(numbersBetween);
  }
  demo::Numbers numbers{};
  std::size_t i = 0;
  for (const UnfrozenCopy& copy : copies) numbers.at(i++) = copy.number();
  EXPECT_GT(numbers.front(), 0U);
  EXPECT_FALSE(demo::isOneMoment(numbers)) << testing::PrintToString(numbers);
}

INSTANTIATE_TEST_SUITE_P(Both, VolumeKinds, testing::Values(thinFirst, fileFirst),
                         [](const auto& layout) { return layout.param.name; });

}  // namespace
}  // namespace machine_test
