// Freezes that did not go through the driver.
#include "launcher/stray_freezes.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

#include <memory>

#include "common/loop_device.h"
#include "system/descriptor.h"

namespace testbed {

using qmfi_system::Descriptor;

void thawStrayFreezes(dev_t pool) {
  const std::unique_ptr<libmnt_table, void (*)(libmnt_table*)> table(mnt_new_table_from_file("/proc/self/mountinfo"),
                                                                     mnt_unref_table);
  const std::unique_ptr<libmnt_iter, void (*)(libmnt_iter*)> each(mnt_new_iter(MNT_ITER_FORWARD), mnt_free_iter);
  libmnt_fs* entry = nullptr;
  while (table && mnt_table_next_fs(table.get(), each.get(), &entry) == 0) {
    if (distanceFromPool(mnt_fs_get_devno(entry), pool) == 0) continue;
    const Descriptor directory(open(mnt_fs_get_target(entry), O_RDONLY | O_CLOEXEC));
    if (directory.valid()) ioctl(directory.get(), FITHAW, 0);
  }
}

}  // namespace testbed
