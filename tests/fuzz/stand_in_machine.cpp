// The machine that the provider's calls meet in a fuzz target.
#include "stand_in_machine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sstream>

#include "qmfs_ioctl.h"
#include "support/system_programs.h"

StandInMachine* standInMachine = nullptr;

namespace {

// What programs print when they print something.
constexpr std::array outputs = {"device is busy", "usage: qmumount", "usage: qmumount -o force", "qmfs", "",
                                "%s%n\xff"};

bool isSystemProgram(const std::string& program) {
  const auto isOneOf = [&](const auto& list) { return std::find(list.begin(), list.end(), program) != list.end(); };
  return isOneOf(systemPrograms) || isOneOf(otherCandidates);
}

std::vector<std::string> wordsOf(const std::string& command) {
  std::istringstream stream(command);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

int failWith(int error) {
  errno = error;
  return -1;
}

}  // namespace

StandInMachine::StandInMachine(FuzzedDataProvider& input) : m_input(input) {
  standInMachine = this;
}

StandInMachine::~StandInMachine() {
  standInMachine = nullptr;
}

bool StandInMachine::fails() {
  constexpr std::uint8_t seldom = 0xe0;
  return m_input.ConsumeIntegral<std::uint8_t>() >= seldom;
}

void StandInMachine::mount(const std::string& device, const std::string& mountPoint, const std::string& type) {
  m_mounts[mountPoint] = {device, type};
}

void StandInMachine::requireNothingLeft() const {
  require(m_open.size() <= m_failedOpens, "descriptors of mount points are closed");
  require(m_frozen.size() <= m_failedFreezes, "nothing stays frozen");
}

StandInMachine::ProgramResult StandInMachine::run(const std::string& command) {
  const std::vector<std::string> words = wordsOf(command);
  require(!words.empty() && isSystemProgram(words[0]), "only the provider's own programs are run");
  const bool needsDevice = words[0] == "/sbin/fsck" || words[0] == "/sbin/mkfs";
  require(!needsDevice || !command.ends_with(' '), "a program that needs a device is given one");
  ProgramResult result;
  const bool failed = fails();
  if (failed) {
    constexpr int lastCode = 13;
    result.code = m_input.ConsumeIntegralInRange(1, lastCode);
    result.exitStatus = m_input.ConsumeIntegral<std::uint8_t>();
  }
  if (failed || words[0].ends_with("fstyp")) result.lines = {m_input.PickValueInArray(outputs)};
  // A program that failed may have done its work nevertheless.
  if (!failed || m_input.ConsumeBool()) effect(words);
  return result;
}

void StandInMachine::effect(const std::vector<std::string>& words) {
  constexpr std::size_t mountWords = 5;
  if (words[0] == "/bin/mount" && words.size() >= mountWords) {
    mount(words[words.size() - 2], words.back(), "qmfs");
  } else if (words[0].ends_with("umount")) {
    m_mounts.erase(words.back());
  }
}

std::FILE* StandInMachine::openMountTable() {
  if (fails()) {
    errno = EACCES;
    return nullptr;
  }
  m_tableText = "#\n";
  for (const auto& [mountPoint, entry] : m_mounts) {
    m_tableText += entry.device + " " + mountPoint + " " + entry.type + " rw,log 0 0\n";
  }
  return fmemopen(m_tableText.data(), m_tableText.size(), "r");
}

int StandInMachine::openMountPoint() {
  if (fails()) {
    ++m_failedOpens;
    return failWith(ENOENT);
  }
  m_open.insert(m_nextDescriptor);
  return m_nextDescriptor++;
}

int StandInMachine::close(int descriptor) {
  require(m_open.erase(descriptor) == 1, "an open descriptor is closed, and once");
  return 0;
}

int StandInMachine::driver(int descriptor, std::uint32_t request, std::uintptr_t argument) {
  require(m_open.contains(descriptor), "requests are made on open descriptors");
  if (request == QM_THAW) return thaw(descriptor);
  if (request == QM_FREEZE) {
    const int result = freeze(descriptor, static_cast<std::int32_t>(argument));
    if (result != 0) ++m_failedFreezes;
    return result;
  }
  require(request == QM_FREEZE_ALL, "no other request is made");
  const auto& all = *reinterpret_cast<const qmfs_freeze_all*>(argument);
  require(all.count > 0, "at least one file system is frozen");
  for (std::int32_t i = 0; i < all.count; ++i) {
    require(m_open.contains(all.descriptors[i]), "file systems are frozen by open descriptors");
    if (freeze(all.descriptors[i], all.timeout) == 0) continue;
    // All or nothing.
    for (std::int32_t frozen = 0; frozen < i; ++frozen) m_frozen.erase(all.descriptors[frozen]);
    return -1;
  }
  return 0;
}

int StandInMachine::freeze(int descriptor, std::int32_t timeout) {
  if (timeout < 1) return failWith(EINVAL);
  if (fails()) return failWith(EIO);
  return m_frozen.insert(descriptor).second ? 0 : failWith(EBUSY);
}

int StandInMachine::thaw(int descriptor) {
  const bool wasFrozen = m_frozen.erase(descriptor) == 1;
  // The time-out may have come first.
  if (fails()) return failWith(ETIMEDOUT);
  return wasFrozen ? 0 : failWith(EINVAL);
}
