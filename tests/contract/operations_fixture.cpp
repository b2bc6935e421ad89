// What the tests of the provider's operations on nodes and resources share.
#include "operations_fixture.h"

#include <cstdlib>
#include <cstring>

kfi_domain& OperationsTest::restoredNode(const std::string& mountPoint, const std::string& device,
                                         const std::string& options, const std::string& alternate) {
  kfi_domain& restored = node(mountPoint);
  std::string text = "<MNT_OPTS>" + options + "</MNT_OPTS>\n<SUBOBJ>" + device + "</SUBOBJ>\n";
  if (!alternate.empty()) text += "<ALTOBJ>" + alternate + "</ALTOBJ>\n";
  kfi_blob blob{text.size() + 1, text.data(), 1};
  EXPECT_EQ(plugin.process_providerstate(&restored, &blob, 0), 0);
  forget();
  return restored;
}

kfi_domain& OperationsTest::mountedNode(const std::string& mountPoint, const std::string& device,
                                        const std::string& options) {
  table.add(device, mountPoint, "qmfs", options);
  return restoredNode(mountPoint, device, options);
}

int OperationsTest::bringOnline(std::string device, char* mountPoint, char* options) {
  char* devices[] = {device.data()};
  char** paths = nullptr;
  int count = 0;
  const int status = plugin.online_resource(devices, 1, mountPoint, "qmfs"_text, options, nullptr, 0, &paths, &count);
  if (paths != nullptr) framework.qmfi_free_buf(paths[0], std::strlen(paths[0]) + 1);
  std::free(paths);
  return status;
}

std::string OperationsTest::stateOf(kfi_domain& node) {
  kfi_blob blob{};
  EXPECT_EQ(plugin.process_providerstate(&node, &blob, 1), 0);
  std::string text = blob.kb_buffer != nullptr ? blob.kb_buffer : "";
  framework.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
  return text;
}

std::vector<std::string> OperationsTest::subObjectsOf(kfi_domain& node) {
  qmfi_objid** objects = nullptr;
  int count = 0;
  EXPECT_EQ(plugin.subobj_list(&node, &objects, &count), 0);
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) names.emplace_back(objects[i]->vid_name);
  framework.qmfi_free_buf(objects, static_cast<std::size_t>(count) * sizeof(void*));
  return names;
}

void OperationsTest::expectExecPipeMessage(const std::string& codeName, const std::string& text) {
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION", codeName + ", " + text);
}

void OperationsTest::expectExitStatusMessage(int exitStatus) {
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_INT_EXCEPTION", std::to_string(exitStatus));
}

std::vector<std::string> OperationsTest::refusals() const {
  std::vector<std::string> texts;
  for (const TraceRecord& record : trace()) {
    if (record.level == 4) texts.push_back(record.text);
  }
  return texts;
}

void OperationsTest::expectNothingDone() {
  EXPECT_THAT(programs.commands(), ::testing::IsEmpty());
  EXPECT_THAT(messages(), ::testing::IsEmpty());
}

TraceRecords executedAndFailed(const std::string& command, int exitStatus, const std::string& output) {
  return {{6, "executeCommand - Command : " + command},
          {2, "executeCommand - Exec Pipe failed with error code [11] and message [" + output + "]"},
          {2, "executeCommand - Command [" + command + "] failed with error code [" + std::to_string(exitStatus) +
                  "] and message [" + output + "]"}};
}
