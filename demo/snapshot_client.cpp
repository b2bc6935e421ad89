// Snapshots through qmfi's JSON.
#include "snapshot_client.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "demo_error.h"
#include "program.h"

namespace demo {

namespace {

// Beside this program, where it was built as well as where it is installed.
std::string qmfiProgram() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "qmfi";
}

// Long enough for a busy machine; a freeze that lasts so long ends by itself.
constexpr const char* freezeSeconds = "20";

nlohmann::json parse(const std::string& text) {
  nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
  if (json.is_discarded()) throw DemoError("qmfi printed no JSON:\n" + text);
  return json;
}

}  // namespace

TakenSnapshot::TakenSnapshot(const std::vector<std::string>& mountPoints) {
  std::vector<std::string> words = {qmfiProgram(),      "snapshot",         "create",     "--json",
                                    "--private-mounts", "--freeze-timeout", freezeSeconds};
  words.insert(words.end(), mountPoints.begin(), mountPoints.end());
  const nlohmann::json json = parse(mustRun(words));
  m_id = json.at("id");
  m_frozen = std::chrono::microseconds(json.at("frozen_us"));
  for (const auto& node : json.at("nodes")) {
    m_nodes.push_back({node.at("mount_point"), node.at("device"), node.at("snapshot_device"), node.at("alternate")});
  }
}

TakenSnapshot::~TakenSnapshot() {
  if (m_present) runProgram({qmfiProgram(), "snapshot", "delete", m_id});
}

void TakenSnapshot::remove() {
  m_present = false;
  mustRun({qmfiProgram(), "snapshot", "delete", m_id});
}

std::size_t countSnapshots() {
  return parse(mustRun({qmfiProgram(), "snapshot", "list", "--json"})).size();
}

}  // namespace demo
