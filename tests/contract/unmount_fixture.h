// Fixture of the unmount tests: the machinery is reached through disable_access, whose flag 0x10 asks for force.
#ifndef UNMOUNT_FIXTURE_H
#define UNMOUNT_FIXTURE_H

#include <string>

#include "operations_fixture.h"

class UnmountTest : public OperationsTest {
 protected:
  static constexpr const char* mountPoint = "/data";
  static constexpr const char* plainProgram = "/bin/umount";
  static constexpr const char* forcedProgram = "/opt/KRIB/bin/qmumount";
  static constexpr const char* plainly = "/bin/umount  /data";
  static constexpr const char* byForce = "/opt/KRIB/bin/qmumount -o force  /data";

  void SetUp() override {
    OperationsTest::SetUp();
    table.add("/dev/qm/dsk/dg1/vol1", mountPoint);
  }

  int unmount(bool force) {
    kfi_domain& mounted = node(mountPoint);
    kfi_node_subobj_list list{&mounted, nullptr, nullptr};
    return plugin.disable_access(&list, force ? 0x10 : 0);
  }

  // What is traced before the first command.
  static TraceRecords lookedUp(bool force) {
    TraceRecords records = {{6, "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : /data"}};
    if (force) {
      records.push_back({6, "Searching for umount cmd : /opt/KRIB/bin/qmumount"});
      records.push_back({3, "Found umount cmd : /opt/KRIB/bin/qmumount"});
    }
    return records;
  }
  // What an unmount command that succeeds leaves.
  static TraceRecords run(const std::string& command) {
    return {{3, "Command : " + command}, {6, "executeCommand - Command : " + command}};
  }
  // The two records about a command that ended with a status, with the lines printed so far.
  static TraceRecords reported(const std::string& command, int exitStatus, const std::string& output) {
    return {{2, "execPipe.Exec failed with errorCode [11] message " + output},
            {3, "command '" + command + "' failed with errorCode [" + std::to_string(exitStatus) + "] message '" +
                    output + "'."}};
  }
  // What an unmount command that ends with a status leaves.
  static TraceRecords runAndFailed(const std::string& command, int exitStatus, const std::string& output) {
    return joined(TraceRecords{{3, "Command : " + command}}, executedAndFailed(command, exitStatus, output),
                  reported(command, exitStatus, output));
  }
  static TraceRecord failed() { return {1, "Umount failed for /data"}; }
};

#endif
