// A verb of the program for each step.
#include "volume/command_splitter.h"

#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "failure/host_error.h"
#include "texts/translation.h"
#include "trust/trusted_path.h"
#include "volume/block_device.h"
#include "volume/command_split.h"
#include "volume/device_nodes.h"
#include "volume/possible_name.h"

namespace qmfi_host {

namespace {

// An array may have to copy. A question keeps somebody waiting who only looks.
constexpr std::chrono::minutes workTime(5);
constexpr std::chrono::seconds questionTime(10);

std::string textIn(const Json& answer, const char* key) {
  const auto value = answer.find(key);
  return value != answer.end() && value->is_string() ? value->get<std::string>() : std::string();
}

std::uint64_t bytesIn(const Json& answer, const char* key) {
  const auto value = answer.find(key);
  return value != answer.end() && value->is_number_unsigned() ? value->get<std::uint64_t>() : 0;
}

// What the program names is mounted, so it must be what root made, and not the volume itself.
dev_t attachedDevice(const CommandProgram& program, const SplitPlan& plan, const Json& answer) {
  const std::string path = textIn(answer, "device");
  const auto failure = [&](const std::string& reason) {
    return HostError(translate("the splitter program {0} failed to {1}: {2}", program.path(), "attach", reason));
  };
  if (!path.starts_with('/')) throw failure(translate("its answer has no absolute path as \"device\""));
  requireTrustedUpTo(path);
  const std::optional<dev_t> device = blockDeviceAt(path);
  if (!device) throw failure(translate("its \"device\" {0} is no block device", path));
  if (device == blockDeviceAt(plan.device)) throw failure(translate("its \"device\" {0} is the volume itself", path));
  return *device;
}

VolumeStatus statusIn(const Json& answer, const SplitPlan& plan) {
  VolumeStatus status;
  status.exists = answer.value("exists", Json()) == true;
  status.bytes = bytesIn(answer, "bytes");
  status.storage = textIn(answer, "storage");
  if (!status.storage.empty()) status.storage.insert(0, "command ");
  status.occupied = bytesIn(answer, "occupied");
  status.needs = bytesIn(answer, "needs");
  status.free = bytesIn(answer, "free");
  const std::optional<dev_t> node = blockDeviceAt(plan.snapshotDevice);
  if (node && node == blockDeviceAt(textIn(answer, "device"))) status.device = node;
  return status;
}

}  // namespace

CommandSplitter::CommandSplitter(std::string program, const std::filesystem::path& recordDirectory)
    : m_program(std::move(program)), m_records(recordDirectory, splitterName) {}

bool CommandSplitter::isFor(const std::string& device) const {
  return m_program.isThere() && blockDeviceAt(device).has_value();
}

SplitPlan CommandSplitter::plan(const std::string& device, const std::string& snapshotId) const {
  requireUsable();
  const std::string snapshot = device + "-" + snapshotId;
  SplitPlan plan{device, snapshot, device, snapshot, {}, name()};
  if (!blockDeviceAt(device)) {
    throw HostError(translate("the volume {0} cannot be split: it is no block device", device));
  }
  requireTellable(plan);
  requireAbsent(snapshot);
  requirePossibleName(snapshot);
  m_records.requirePossible(snapshot);
  return plan;
}

std::unique_ptr<GroupSplit> CommandSplitter::prepare(const std::vector<SplitPlan>& plans) const {
  m_program.requireUsable();
  std::set<std::string> names;
  for (const SplitPlan& plan : plans) {
    if (names.insert(copyNameOf(plan)).second) continue;
    throw HostError(translate("two copies would have the name {0}; nothing was frozen", copyNameOf(plan)));
  }
  return std::make_unique<CommandSplit>(m_program, plans);
}

std::unique_ptr<SnapshotDevice> CommandSplitter::attach(const SplitPlan& plan) const {
  removeNodes(plan);
  const dev_t device = attachedDevice(m_program, plan, m_program.ask("attach", plan, workTime));
  std::unique_ptr<SnapshotDevice> node = makeNode(plan.snapshotDevice, device);
  makeRawNode(plan, device);
  return node;
}

void CommandSplitter::detach(const SplitPlan& plan) const {
  removeNodes(plan);
  m_program.ask("detach", plan, workTime);
}

// Both are told by one run of the program.
VolumeStatus CommandSplitter::look(const SplitPlan& plan, LookAt /*what*/) const {
  try {
    return statusIn(m_program.ask("exists", plan, questionTime), plan);
  } catch (const HostError&) {
    return {};
  }
}

void CommandSplitter::keepRecord(const SplitPlan& plan, const std::string& text) const {
  m_records.keep(plan.snapshotFile, text);
}

std::vector<KeptRecord> CommandSplitter::records() const {
  return m_records.all();
}

void CommandSplitter::release(const SplitPlan& plan) const {
  detach(plan);
  m_program.ask("remove", plan, workTime);
  m_records.remove(plan.snapshotFile);
}

}  // namespace qmfi_host
