// Requests to the loop driver, and what the kernel shows of it.
#include "system/loop_device.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <linux/major.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <thread>

#include "system/small_file.h"

namespace qmfi_system {

namespace {

constexpr std::chrono::seconds patience(5);
constexpr std::chrono::milliseconds patienceWithOneDevice(100);
constexpr std::chrono::milliseconds pauseBetweenAttempts(1);

}  // namespace

bool isLoopDevice(dev_t device) {
  return major(device) == LOOP_MAJOR;
}

dev_t loopDevice(int number) {
  return makedev(LOOP_MAJOR, static_cast<unsigned>(number));
}

std::optional<LoopBacking> loopBacking(const std::string& node) {
  const Descriptor device(open(node.c_str(), O_RDONLY | O_CLOEXEC));
  loop_info64 loop{};
  if (!device.valid() || ioctl(device.get(), LOOP_GET_STATUS64, &loop) != 0) return std::nullopt;
  return LoopBacking{loop.lo_device, loop.lo_inode, loop.lo_offset, loop.lo_sizelimit};
}

// The driver's own record of the name is cut at 63 characters.
std::string backingFileName(dev_t device) {
  const std::string number = std::to_string(major(device)) + ":" + std::to_string(minor(device));
  std::string name = readSmallFile("/sys/dev/block/" + number + "/loop/backing_file").value_or("");
  if (!name.empty() && name.back() == '\n') name.pop_back();
  return name;
}

std::vector<int> attachedLoopDevices() {
  namespace fs = std::filesystem;
  constexpr std::string_view prefix = "loop";
  std::vector<int> numbers;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator("/sys/block", error)) {
    const std::string name = entry.path().filename();
    int number;
    if (!name.starts_with(prefix) || !fs::exists(entry.path() / "loop", error)) continue;
    if (std::from_chars(name.data() + prefix.size(), name.data() + name.size(), number).ec == std::errc()) {
      numbers.push_back(number);
    }
  }
  return numbers;
}

FreeLoopDevices::FreeLoopDevices(const Descriptor& control)
    : m_control(control), m_deadline(Clock::now() + patience), m_another(Clock::now() + patienceWithOneDevice) {}

int FreeLoopDevices::next() {
  const auto now = Clock::now();
  if (now > m_another) {
    m_another = now + patienceWithOneDevice;
    // Kernels before 5.15 make a new device only when none is free; then the first free one has to do.
    const int made = ioctl(m_control.get(), LOOP_CTL_ADD, -1);
    if (made >= 0) return made;
  }
  return ioctl(m_control.get(), LOOP_CTL_GET_FREE);
}

// Somebody else was quicker to take this one; or somebody holds it, as a mount does that came too late for its last
// file, and it stays the first free one until then.
bool FreeLoopDevices::mayTryAgain(int error) {
  if (error != EBUSY || Clock::now() > m_deadline) return false;
  std::this_thread::sleep_for(pauseBetweenAttempts);
  return true;
}

Descriptor attachLoopDevice(const std::string& node, int file, LoopDetaching detaching) {
  loop_config settings{};
  settings.fd = static_cast<__u32>(file);
  settings.info.lo_flags = detaching == LoopDetaching::byItself ? LO_FLAGS_AUTOCLEAR : 0;
  const Descriptor writable(open(node.c_str(), O_RDWR | O_CLOEXEC));
  if (!writable.valid() || ioctl(writable.get(), LOOP_CONFIGURE, &settings) != 0) return {};
  // Kernels may refuse to mount a device that somebody else could write to.
  Descriptor device(open(node.c_str(), O_RDONLY | O_CLOEXEC));
  const int error = errno;
  if (!device.valid()) ioctl(writable.get(), LOOP_CLR_FD, 0);
  errno = error;
  return device;
}

// What has other users is marked for its last one; a change of its flags would wait for the device to be idle.
void detachWithLastUser(const Descriptor& device) {
  ioctl(device.get(), LOOP_CLR_FD, 0);
}

int detachLoopDevice(const std::string& node) {
  const Descriptor device(open(node.c_str(), O_RDONLY | O_CLOEXEC));
  // Gone by itself in the meantime is as good.
  if (device.valid() && (ioctl(device.get(), LOOP_CLR_FD, 0) == 0 || errno == ENXIO)) return 0;
  return errno;
}

}  // namespace qmfi_system
