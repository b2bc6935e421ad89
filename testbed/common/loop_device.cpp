// Loop devices: block devices over files.
#include "common/loop_device.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <linux/major.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "common/checked.h"

namespace testbed {

namespace {

constexpr std::chrono::seconds patience(5);
constexpr std::chrono::milliseconds patienceWithOneDevice(100);
constexpr std::chrono::milliseconds pauseBetweenAttempts(1);
constexpr int deepestStack = 8;

std::string nodeOf(int number) {
  return "/dev/loop" + std::to_string(number);
}

void makeNode(int number) {
  if (mknod(nodeOf(number).c_str(), S_IFBLK | 0660, makedev(LOOP_MAJOR, number)) < 0 && errno != EEXIST) {
    checked(-1, "making " + nodeOf(number));
  }
}

int firstFreeNumber(const Descriptor& control) {
  return checked(ioctl(control.get(), LOOP_CTL_GET_FREE), "finding a free loop device");
}

// A device that nobody can hold yet.
int newNumber(const Descriptor& control) {
  return checked(ioctl(control.get(), LOOP_CTL_ADD, -1), "making a loop device");
}

// The attached loop devices of the machine, by number.
std::vector<int> attachedNumbers() {
  std::vector<int> numbers;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/sys/block", error)) {
    const std::string name = entry.path().filename();
    int number;
    if (!name.starts_with("loop") || !std::filesystem::exists(entry.path() / "loop", error)) continue;
    if (std::from_chars(name.data() + 4, name.data() + name.size(), number).ec == std::errc())
      numbers.push_back(number);
  }
  return numbers;
}

}  // namespace

LoopDevice attachLoopDevice(int backing) {
  const Descriptor control(checked(open("/dev/loop-control", O_RDWR | O_CLOEXEC), "opening /dev/loop-control"));
  loop_config settings{};
  settings.fd = static_cast<__u32>(backing);
  settings.info.lo_flags = LO_FLAGS_AUTOCLEAR;
  const auto deadline = std::chrono::steady_clock::now() + patience;
  auto another = std::chrono::steady_clock::now() + patienceWithOneDevice;
  int number = firstFreeNumber(control);
  for (;;) {
    makeNode(number);
    const Descriptor writable(checked(open(nodeOf(number).c_str(), O_RDWR | O_CLOEXEC), "opening " + nodeOf(number)));
    if (ioctl(writable.get(), LOOP_CONFIGURE, &settings) == 0) {
      Descriptor handle(checked(open(nodeOf(number).c_str(), O_RDONLY | O_CLOEXEC), "opening " + nodeOf(number)));
      return {number, makedev(LOOP_MAJOR, number), std::move(handle)};
    }
    // Somebody else on the machine was quicker to take this one; or somebody holds it, as a mount does that came too
    // late for its last file, and it stays the first free one until then.
    const auto now = std::chrono::steady_clock::now();
    if (errno != EBUSY || now > deadline) checked(-1, "attaching " + nodeOf(number));
    std::this_thread::sleep_for(pauseBetweenAttempts);
    number = now > another ? newNumber(control) : firstFreeNumber(control);
    if (now > another) another = now + patienceWithOneDevice;
  }
}

std::optional<dev_t> fileSystemBehind(dev_t device) {
  if (major(device) != LOOP_MAJOR) return std::nullopt;
  const Descriptor node(open(nodeOf(static_cast<int>(minor(device))).c_str(), O_RDONLY | O_CLOEXEC));
  loop_info64 information{};
  if (!node.valid() || ioctl(node.get(), LOOP_GET_STATUS64, &information) < 0) return std::nullopt;
  return information.lo_device;
}

int distanceFromPool(dev_t device, dev_t pool) {
  for (int distance = 1; distance <= deepestStack; ++distance) {
    const auto behind = fileSystemBehind(device);
    if (!behind) return 0;
    if (*behind == pool) return distance;
    device = *behind;
  }
  return 0;
}

void detachLoopDevicesOf(dev_t pool) {
  for (const int number : attachedNumbers()) {
    if (distanceFromPool(makedev(LOOP_MAJOR, number), pool) == 0) continue;
    const Descriptor node(open(nodeOf(number).c_str(), O_RDONLY | O_CLOEXEC));
    if (node.valid()) ioctl(node.get(), LOOP_CLR_FD, 0);
  }
}

}  // namespace testbed
