// Unmounting: plain and forced, and what becomes of each way to fail.
#include "unmount_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

using Unmount = UnmountTest;

TEST_F(Unmount, PlainRunsUmount) {
  EXPECT_EQ(unmount(false), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/umount /data"));
  EXPECT_THAT(trace(), ElementsAreArray(joined(lookedUp(false), run(plainly))));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Unmount, ForcedRunsTheFileSystemsOwnProgram) {
  EXPECT_EQ(unmount(true), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /data"));
  EXPECT_THAT(trace(), ElementsAreArray(joined(lookedUp(true), run(byForce))));
}

TEST_F(Unmount, ForcedWithoutTheFileSystemsProgramRunsUmount) {
  programs.remove(forcedProgram);
  EXPECT_EQ(unmount(true), 0);
  EXPECT_THAT(trace(), ElementsAreArray(joined(lookedUp(false),
                                               TraceRecords{{6, "Searching for umount cmd : /opt/KRIB/bin/qmumount"},
                                                            {6, "Searching for umount cmd : /sbin/fs/qmfs/qmumount"},
                                                            {6, "Searching for umount cmd : /usr/lib/fs/qmfs/qmumount"},
                                                            {6, "Searching for umount cmd : /opt/KRIB/bin/umount"},
                                                            {6, "Searching for umount cmd : /usr/lib/fs/qmfs/umount"},
                                                            {6, "Searching for umount cmd : /opt/KRIBqmfs/sbin/umount"},
                                                            {2, "qmumount command is not installed"}},
                                               run(plainly))));
}

TEST_F(Unmount, APathWithNoMountedDeviceIsSuccessWithoutAnyCommand) {
  table.write("");
  table.add("/dev/qm/dsk/dg1/vol1", "/data", "xfs");
  for (const bool force : {false, true}) {
    forget();
    EXPECT_EQ(unmount(force), 0);
    EXPECT_THAT(trace(),
                ElementsAreArray(joined(lookedUp(false), TraceRecords{{3, "Mountpoint /data is already umounted"}})));
    expectNothingDone();
  }
}

TEST_F(Unmount, FailsWhenTheMountTableCannotBeRead) {
  table.makeUnreadable();
  EXPECT_EQ(unmount(true), 6);
  EXPECT_THAT(trace(), ElementsAreArray(
                           joined(lookedUp(false), TraceRecords{{1, "Mount point entry lookup failed"}, failed()})));
  expectNothingDone();
}

TEST_F(Unmount, AFailedUmountAfterWhichThePathIsNoLongerMountedIsSuccess) {
  const TraceRecords success = {{2, "unmountDevice - Device unmount was succesful"}};
  programs.answer(plainProgram, Answer().unmounts().complains("busy, ").complains("cannot write mtab").exits(16));
  EXPECT_EQ(unmount(false), 0);
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(lookedUp(false), runAndFailed(plainly, 16, "busy, cannot write mtab"), success)));

  table.add("/dev/qm/dsk/dg1/vol1", mountPoint);
  forget();
  programs.answer(forcedProgram, Answer().unmounts().complains("usage: force").exits(2));
  EXPECT_EQ(unmount(true), 0);
  EXPECT_THAT(trace(), ElementsAreArray(joined(lookedUp(true), runAndFailed(byForce, 2, "usage: force"), success)));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Unmount, AFailureThatIsNeitherBusyNorUsageThrowsTheExitStatus) {
  programs.answer(plainProgram, Answer().complains("not permitted").exits(32));
  EXPECT_EQ(unmount(false), 6);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/umount /data"));
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(lookedUp(false), runAndFailed(plainly, 32, "not permitted"),
                                      reported(plainly, 32, "not permitted"), TraceRecords{{1, "unmount failed"}})));
  expectExitStatusMessage(32);
  EXPECT_THAT(importedCalls().sleeps(), IsEmpty());
}

TEST_F(Unmount, AForcedFailureWithoutUsageThrowsTheExitStatusToo) {
  programs.answer(forcedProgram, Answer().complains("cannot force").exits(9));
  EXPECT_EQ(unmount(true), 6);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /data"));
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(lookedUp(true), runAndFailed(byForce, 9, "cannot force"),
                                      reported(byForce, 9, "cannot force"), TraceRecords{{1, "unmount failed"}})));
  expectExitStatusMessage(9);
}

TEST_F(Unmount, TheWordsAreLookedForAsTheyAreWritten) {
  for (const char* const text : {"Usage: qmumount", "USAGE", "Busy", "BUSY"}) {
    programs.answer(forcedProgram, Answer().complains(text).exits(5));
    programs.forget();
    EXPECT_EQ(unmount(true), 6) << text;
    expectExitStatusMessage(5);
    EXPECT_EQ(programs.commands().size(), 1u);
  }
}

TEST_F(Unmount, AWordIsLookedForWithinOneLine) {
  // "busy" over two lines: not tried again.
  programs.answer(plainProgram, Answer().complains("bu").complains("sy").exits(5));
  EXPECT_EQ(unmount(false), 6);
  expectExitStatusMessage(5);
  EXPECT_EQ(programs.commands().size(), 1u);

  // "usage" over two lines: no fallback.
  programs.answer(forcedProgram, Answer().complains("usa").complains("ge").exits(6));
  programs.forget();
  EXPECT_EQ(unmount(true), 6);
  expectExitStatusMessage(6);
  EXPECT_EQ(programs.commands().size(), 1u);

  // "force" over two lines: the option is not known.
  programs.answer(forcedProgram, Answer().complains("usage: -o for").complains("ce").exits(7));
  programs.answer(plainProgram, Answer());
  programs.forget();
  EXPECT_EQ(unmount(true), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /data", "/bin/umount /data"));

  // "busy" over the last line of the forced command and the first of the plain one.
  programs.answer(forcedProgram, Answer().complains("usage: bu").exits(7));
  programs.answer(plainProgram, Answer().complains("sy").exits(8));
  EXPECT_EQ(unmount(true), 6);
  expectExitStatusMessage(8);
  EXPECT_THAT(importedCalls().sleeps(), IsEmpty());
}

TEST_F(Unmount, APlainUmountThatPrintsAUsageTextIsNotRepeated) {
  programs.answer(plainProgram, Answer().complains("usage: umount").exits(1));
  EXPECT_EQ(unmount(false), 6);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/umount /data"));
  expectExitStatusMessage(1);

  programs.remove(forcedProgram);
  programs.forget();
  EXPECT_EQ(unmount(true), 6);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/umount /data"));
  expectExitStatusMessage(1);
}

TEST_F(Unmount, TheThrownStatusIsZeroWhenTheProgramDidNotEndWithOne) {
  programs.remove(plainProgram);
  EXPECT_EQ(unmount(false), 6);
  const TraceRecord noStatus{2, "execPipe.Exec failed with errorCode [7] message "};
  EXPECT_THAT(trace(), ElementsAreArray(joined(
                           lookedUp(false), run(plainly),
                           TraceRecords{{2, "executeCommand - Exec Pipe failed with error code [7] and message []"},
                                        noStatus,
                                        noStatus,
                                        {1, "unmount failed"}})));
  expectExitStatusMessage(0);
}

TEST_F(Unmount, AProgramThatIsKilledIsAFailureWithStatusZero) {
  programs.answer(forcedProgram, Answer().complains("dying").diesOf(9));
  EXPECT_EQ(unmount(true), 6);
  const TraceRecord killed{2, "execPipe.Exec failed with errorCode [12] message dying"};
  EXPECT_THAT(trace(),
              ElementsAreArray(
                  joined(lookedUp(true), run(byForce),
                         TraceRecords{{2, "executeCommand - Exec Pipe failed with error code [12] and message [dying]"},
                                      killed,
                                      killed,
                                      {1, "unmount failed"}})));
  expectExitStatusMessage(0);
}

// The program for forced unmounts prints its usage.

TEST_F(Unmount, AForcedUnmountWhoseUsageTextNamesForceThrows) {
  const Answer answers[] = {Answer().complains("usage: qmumount [-o force]").exits(22),
                            Answer().complains("usage: qmumount").complains("  force").exits(22)};
  const char* const outputs[] = {"usage: qmumount [-o force]", "usage: qmumount  force"};
  for (int i = 0; i < 2; ++i) {
    programs.answer(forcedProgram, answers[i]);
    forget();
    EXPECT_EQ(unmount(true), 6);
    EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /data"));
    EXPECT_THAT(trace(), ElementsAreArray(joined(lookedUp(true), runAndFailed(byForce, 22, outputs[i]),
                                                 TraceRecords{{1, "Force unmount is not supported"}})));
    expectExitStatusMessage(22);
  }
}

TEST_F(Unmount, AForcedUnmountWhoseUsageTextDoesNotNameForceFallsBackToUmountOnce) {
  programs.answer(forcedProgram, Answer().complains("usage: qmumount DIR").exits(22));
  EXPECT_EQ(unmount(true), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /data", "/bin/umount /data"));
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(lookedUp(true), runAndFailed(byForce, 22, "usage: qmumount DIR"), run(plainly))));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Unmount, AFallbackThatFailsAndLeavesNothingMountedIsSuccess) {
  programs.answer(forcedProgram, Answer().complains("usage ").exits(22));
  programs.answer(plainProgram, Answer().unmounts().complains("no mtab").exits(16));
  EXPECT_EQ(unmount(true), 0);
  // The second command's lines come behind the first's.
  EXPECT_THAT(trace(), ElementsAreArray(joined(lookedUp(true), runAndFailed(byForce, 22, "usage "),
                                               runAndFailed(plainly, 16, "usage no mtab"),
                                               TraceRecords{{2, "unmountDevice - Device unmount was succesful"}})));
}

TEST_F(Unmount, ABusyFallbackIsTriedAgainWithoutForce) {
  programs.answer(forcedProgram, Answer().complains("usage ").exits(22));
  programs.answerNext(plainProgram, Answer().complains("device is busy").exits(16));
  EXPECT_EQ(unmount(true), 0);
  EXPECT_THAT(programs.commands(),
              ElementsAre("/opt/KRIB/bin/qmumount -o force /data", "/bin/umount /data", "/bin/umount /data"));
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(lookedUp(true), runAndFailed(byForce, 22, "usage "),
                                      runAndFailed(plainly, 16, "usage device is busy"),
                                      TraceRecords{{2, "Device to be unmounted is busy"},
                                                   {3, "Retrying umount... slept time '2' sec and retry attempt '1'."},
                                                   {3, "umount is successful."}})));
  EXPECT_THAT(importedCalls().sleeps(), ElementsAre(2u));
}

class FailedFallback : public UnmountTest {
 protected:
  // The trace of a forced unmount that fell back and failed, up to the dump.
  static TraceRecords beforeDump() {
    return joined(lookedUp(true), runAndFailed(byForce, 22, "usage "), runAndFailed(plainly, 3, "usage denied"),
                  TraceRecords{{1, "unmount failed"}});
  }

  void SetUp() override {
    UnmountTest::SetUp();
    programs.answer(forcedProgram, Answer().complains("usage ").exits(22));
    programs.answer(plainProgram, Answer().complains("denied").exits(3));
  }
};

TEST_F(FailedFallback, DumpsWhatIsKnownAndThrowsTheExitStatus) {
  programs.answer("/sbin/fuser", Answer().prints("/data: ").prints("4711m"));
  programs.answer("/bin/mount", Answer().prints("/dev/a on /data").prints("/dev/b on /b"));
  ASSERT_FALSE(std::filesystem::exists(mountPoint));

  EXPECT_EQ(unmount(true), 6);

  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /data", "/bin/umount /data",
                                               "/sbin/fuser /data", "/bin/mount -t qmfs"));
  EXPECT_THAT(
      trace(),
      ElementsAreArray(joined(
          beforeDump(),
          TraceRecords{{3,
                        "dumpInformationMount = Dumping stat information for mount point /data"
                        "Stat information failed for the mount point /datawith error code 2"},
                       {3, "dumpInformationFuser: FUSER_CMD = /sbin/fuser /data"},
                       {3,
                        "dumpInformationFuser = Dumping fuser data for mountpoint using command /sbin/fuser /data"
                        "/data: 4711m"},
                       {3, "dumpInformationMountCmd: MOUNT_CMD = /bin/mount -t qmfs "},
                       {3, "Command : /bin/mount -t qmfs "},
                       {3,
                        "dumpInformationMountCmd = Dumping information about mounted devices using command "
                        "/bin/mount -t qmfs /dev/a on /data/dev/b on /b"}})));
  expectExitStatusMessage(3);
  EXPECT_THAT(importedCalls().sleeps(), IsEmpty());
}

TEST_F(FailedFallback, ADumpWhoseProbesFailSaysSo) {
  programs.answer("/sbin/fuser", Answer().complains("nobody").exits(1));
  programs.answer("/bin/mount", Answer().complains("no ").complains("proc").exits(2));

  EXPECT_EQ(unmount(true), 6);

  const TraceRecords all = trace();
  const TraceRecords dump(all.begin() + static_cast<std::ptrdiff_t>(beforeDump().size()), all.end());
  EXPECT_THAT(
      dump,
      ElementsAre(traced(3,
                         "dumpInformationMount = Dumping stat information for mount point /data"
                         "Stat information failed for the mount point /datawith error code 2"),
                  traced(3, "dumpInformationFuser: FUSER_CMD = /sbin/fuser /data"),
                  traced(3,
                         "dumpInformationFuser = Dumping fuser data for mountpoint using command /sbin/fuser /data"
                         "fuser command failed to print usage information with  error code 11and output nobody"),
                  traced(3, "dumpInformationMountCmd: MOUNT_CMD = /bin/mount -t qmfs "),
                  traced(3, "Command : /bin/mount -t qmfs "),
                  traced(3,
                         "dumpInformationMountCmd = Dumping information about mounted devices using command "
                         "/bin/mount -t qmfs Mount command failed to print mount information with  error code "
                         "11and output no proc")));
  expectExitStatusMessage(3);
}

TEST_F(FailedFallback, ProbesThatAreMissingDoNotHideTheUnmountsStatus) {
  programs.remove("/sbin/fuser");
  programs.remove("/bin/mount");
  EXPECT_EQ(unmount(true), 6);
  EXPECT_EQ(trace().back(),
            traced(3,
                   "dumpInformationMountCmd = Dumping information about mounted devices using command "
                   "/bin/mount -t qmfs Mount command failed to print mount information with  error code 7and "
                   "output "));
  expectExitStatusMessage(3);
}

TEST_F(FailedFallback, ThatDoesNotEndWithAStatusLeavesTheForcedOnes) {
  programs.answer(plainProgram, Answer().complains("dying").diesOf(9));
  EXPECT_EQ(unmount(true), 6);
  expectExitStatusMessage(22);
}

TEST_F(FailedFallback, ItsStatusReplacesTheForcedOnes) {
  programs.answer(plainProgram, Answer().complains("denied").exits(4));
  EXPECT_EQ(unmount(true), 6);
  expectExitStatusMessage(4);
}

}  // namespace
