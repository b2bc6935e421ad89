// What is asked of loop devices, and what is said when it fails.
#include "volume/loop_device.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "failure/host_error.h"
#include "system/loop_device.h"
#include "texts/translation.h"

namespace qmfi_host {

using qmfi_system::Descriptor;
using qmfi_system::LoopBacking;

namespace {

std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

bool isLoopNode(const struct stat& status) {
  return S_ISBLK(status.st_mode) && qmfi_system::isLoopDevice(status.st_rdev);
}

bool isFile(const LoopBacking& loop, const struct stat& file) {
  return loop.fileSystem == file.st_dev && loop.inode == file.st_ino;
}

// A free loop device, as a node at the path.
void makeFreeNode(qmfi_system::FreeLoopDevices& devices, const std::string& device) {
  const int number = devices.next();
  if (number < 0) throw systemError(translate("no loop device is free"));
  if (mknod(device.c_str(), S_IFBLK | 0600, qmfi_system::loopDevice(number)) != 0) {
    throw systemError(translate("the device {0} could not be made", device)).about(device);
  }
}

Descriptor openLoopControl() {
  Descriptor control(open("/dev/loop-control", O_RDWR | O_CLOEXEC));
  if (!control.valid()) {
    throw systemError(
        translate(
            "/dev/loop-control, which gives the devices of snapshots, cannot be opened; \"modprobe loop\" makes it"))
        .about("/dev/loop-control")
        .advise(translate("\"modprobe loop\" makes it"));
  }
  return control;
}

HostError cannotBeRead(const std::string& device) {
  return systemError(translate("the device {0} cannot be read", device)).about(device);
}

HostError cannotBeSplit(const std::string& device, const std::string& text) {
  return HostError(Failure::cannotBeSplit, text).about(device);
}

HostError notAttached(const std::string& device, const std::string& file, int reason) {
  return systemError(translate("the device {0} could not be attached to {1}", device, file), reason).about(device);
}

}  // namespace

std::string backingFileOf(const std::string& device) {
  const auto status = statusOf(device);
  if (!status) throw cannotBeRead(device);
  if (!isLoopNode(*status)) {
    throw cannotBeSplit(device, translate("the volume {0} cannot be split: it does not consist of a file", device));
  }
  // Whoever may not look is told so, and not that there is nothing.
  if (faccessat(AT_FDCWD, device.c_str(), R_OK, AT_EACCESS) != 0) throw cannotBeRead(device);
  const auto loop = qmfi_system::loopBacking(device);
  std::string name = qmfi_system::backingFileName(status->st_rdev);
  const auto file = statusOf(name);
  if (!loop || !file || !isFile(*loop, *file)) {
    throw cannotBeSplit(device,
                        translate("the volume {0} cannot be split: its file \"{1}\" cannot be found", device, name));
  }
  if (loop->offset != 0 || loop->sizeLimit != 0) {
    throw cannotBeSplit(
        device, translate("the volume {0} cannot be split: it covers only a part of its file {1}", device, name));
  }
  return name;
}

std::optional<dev_t> loopDeviceOver(const std::string& device, const std::string& file) {
  const auto node = statusOf(device);
  const auto backing = statusOf(file);
  if (!node || !backing || !isLoopNode(*node)) return std::nullopt;
  const auto loop = qmfi_system::loopBacking(device);
  return loop && isFile(*loop, *backing) ? std::optional<dev_t>(node->st_rdev) : std::nullopt;
}

void requireLoopControl() {
  openLoopControl();
}

Descriptor attachLoopDevice(const std::string& device, const std::string& file) {
  const Descriptor control = openLoopControl();
  const Descriptor backing(open(file.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  if (!backing.valid()) throw systemError(translate("the snapshot file {0} cannot be opened", file)).about(file);
  qmfi_system::FreeLoopDevices devices(control);
  for (;;) {
    makeFreeNode(devices, device);
    Descriptor handle = qmfi_system::attachLoopDevice(device, backing.get(), qmfi_system::LoopDetaching::onRequest);
    if (handle.valid()) return handle;
    const int reason = errno;
    unlink(device.c_str());
    if (devices.mayTryAgain(reason)) continue;
    throw notAttached(device, file, reason);
  }
}

void detachLoopDevice(const std::string& device) {
  const int failure = qmfi_system::detachLoopDevice(device);
  if (failure != 0) throw systemError(translate("the device {0} could not be detached", device), failure).about(device);
}

}  // namespace qmfi_host
