// Fixture of the tests of unmounts and commands: a plug-in whose commands the test answers.
#ifndef UNMOUNT_MACHINERY_H
#define UNMOUNT_MACHINERY_H

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "qmfs_plugin.h"
#include "recorded_commands.h"
#include "support/trace_capture.h"

class UnmountMachinery : public testing::Test {
 protected:
  UnmountMachinery() {
    recordedCommands = &m_commands;
    m_plugin.registerTraceLog(m_capture.log());
    m_commands.setMountTable("/dev/qm/dsk/dg1/vol1 /mnt/a qmfs rw 0 0\n");
  }
  ~UnmountMachinery() override { recordedCommands = nullptr; }

  // The records but those of entered and left functions.
  std::vector<std::string> trace() const {
    std::vector<std::string> records;
    for (const std::string& record : m_capture.records()) {
      if (record.find(" Function ") == std::string::npos) records.push_back(record);
    }
    return records;
  }

  int unmount() { return m_plugin.QmFSUmount(m_mountPoint.data(), false); }
  // The exit status that an unmount throws.
  std::optional<int> thrownByUnmount() {
    try {
      unmount();
    } catch (int status) {
      return status;
    }
    return std::nullopt;
  }

  RecordedCommands m_commands;
  TraceCapture m_capture;
  CQmFSPlugin m_plugin;
  std::string m_mountPoint = "/mnt/a";
};

#endif
