// Requests to the loop driver.
#include "volume/loop_device.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <linux/major.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <iterator>
#include <optional>
#include <thread>

#include "failure/host_error.h"

namespace qmfi_host {

namespace {

constexpr std::chrono::seconds patience(5);
constexpr std::chrono::milliseconds patienceWithOneDevice(100);
constexpr std::chrono::milliseconds pauseBetweenAttempts(1);

std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

bool isLoopNode(const struct stat& status) {
  return S_ISBLK(status.st_mode) && major(status.st_rdev) == LOOP_MAJOR;
}

bool isFile(const loop_info64& loop, const struct stat& file) {
  return loop.lo_device == file.st_dev && loop.lo_inode == file.st_ino;
}

// What the driver says of the loop device at a path; nothing when it is not attached.
std::optional<loop_info64> loopInformation(const std::string& device) {
  const Descriptor node(open(device.c_str(), O_RDONLY | O_CLOEXEC));
  loop_info64 information{};
  if (!node.valid() || ioctl(node.get(), LOOP_GET_STATUS64, &information) != 0) return std::nullopt;
  return information;
}

// The name of the backing file; the driver's own record of it is cut at 63 characters.
std::string backingName(dev_t device) {
  const std::string path =
      "/sys/dev/block/" + std::to_string(major(device)) + ":" + std::to_string(minor(device)) + "/loop/backing_file";
  std::ifstream stream(path);
  std::string name((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  if (!name.empty() && name.back() == '\n') name.pop_back();
  return name;
}

// Whether to take the first free loop device or one that nobody can hold yet.
enum class Choice { firstFree, newOne };

// Kernels before 5.15 make a new device only when none is free; then the first free one has to do.
int freeNumber(const Descriptor& control, Choice choice) {
  const int made = choice == Choice::newOne ? ioctl(control.get(), LOOP_CTL_ADD, -1) : -1;
  return made >= 0 ? made : ioctl(control.get(), LOOP_CTL_GET_FREE);
}

// A free loop device's number, as a node at the path.
void makeFreeNode(const Descriptor& control, const std::string& device, Choice choice) {
  const int number = freeNumber(control, choice);
  if (number < 0) throw systemError("no loop device is free");
  if (mknod(device.c_str(), S_IFBLK | 0600, makedev(LOOP_MAJOR, static_cast<unsigned>(number))) != 0) {
    throw systemError("the device " + device + " could not be made");
  }
}

}  // namespace

std::string backingFileOf(const std::string& device) {
  const auto status = statusOf(device);
  if (!status) throw systemError("the device " + device + " cannot be read");
  if (!isLoopNode(*status)) {
    throw HostError("the volume " + device + " cannot be split: it does not consist of a file");
  }
  const auto loop = loopInformation(device);
  std::string name = backingName(status->st_rdev);
  const auto file = statusOf(name);
  if (!loop || !file || !isFile(*loop, *file)) {
    throw HostError("the volume " + device + " cannot be split: its file \"" + name + "\" cannot be found");
  }
  if (loop->lo_offset != 0 || loop->lo_sizelimit != 0) {
    throw HostError("the volume " + device + " cannot be split: it covers only a part of its file " + name);
  }
  return name;
}

bool isLoopDeviceOver(const std::string& device, const std::string& file) {
  const auto node = statusOf(device);
  const auto backing = statusOf(file);
  if (!node || !backing || !isLoopNode(*node)) return false;
  const auto loop = loopInformation(device);
  return loop && isFile(*loop, *backing);
}

Descriptor attachLoopDevice(const std::string& device, const std::string& file) {
  const Descriptor control(open("/dev/loop-control", O_RDWR | O_CLOEXEC));
  if (!control.valid()) throw systemError("/dev/loop-control cannot be opened");
  const Descriptor backing(open(file.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  if (!backing.valid()) throw systemError("the snapshot file " + file + " cannot be opened");
  loop_config settings{};
  settings.fd = static_cast<__u32>(backing.get());
  settings.info.lo_flags = LO_FLAGS_AUTOCLEAR;
  const std::string what = "the device " + device + " could not be attached to " + file;
  const auto deadline = std::chrono::steady_clock::now() + patience;
  auto another = std::chrono::steady_clock::now() + patienceWithOneDevice;
  Choice choice = Choice::firstFree;
  for (;;) {
    makeFreeNode(control, device, choice);
    const Descriptor writable(open(device.c_str(), O_RDWR | O_CLOEXEC));
    if (writable.valid() && ioctl(writable.get(), LOOP_CONFIGURE, &settings) == 0) {
      // Kernels may refuse to mount a device that somebody else could write to.
      Descriptor handle(open(device.c_str(), O_RDONLY | O_CLOEXEC));
      if (handle.valid()) return handle;
    }
    const int reason = errno;
    unlink(device.c_str());
    // Somebody else was quicker to take this one; or somebody holds it, as a mount does that came too late for its last
    // file, and it stays the first free one until then.
    const auto now = std::chrono::steady_clock::now();
    if (reason != EBUSY || now > deadline) throw systemError(what, reason);
    choice = now > another ? Choice::newOne : Choice::firstFree;
    if (choice == Choice::newOne) another = now + patienceWithOneDevice;
    std::this_thread::sleep_for(pauseBetweenAttempts);
  }
}

void detachLoopDevice(const std::string& device) {
  const Descriptor node(open(device.c_str(), O_RDONLY | O_CLOEXEC));
  // Gone by itself in the meantime is as good.
  if (!node.valid() || (ioctl(node.get(), LOOP_CLR_FD, 0) != 0 && errno != ENXIO)) {
    throw systemError("the device " + device + " could not be detached");
  }
}

}  // namespace qmfi_host
