// Comparing mount namespaces.
#include "cli/mount_namespace.h"

#include <sys/stat.h>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

void requireMachinesMountNamespace() {
  struct stat own {};
  struct stat machines {};
  // Without /proc nothing is known of either.
  if (stat("/proc/self/ns/mnt", &own) != 0 || stat("/proc/1/ns/mnt", &machines) != 0) return;
  if (own.st_dev == machines.st_dev && own.st_ino == machines.st_ino) return;
  throw HostError(
      translate("this is another mount namespace than that of process 1, so other programs would not see the snapshot; "
                "--private-mounts takes it all the same"))
      .advise(translate("run qmfi in the namespace of process 1, or take the snapshot all the same by "
                        "--private-mounts"));
}

}  // namespace qmfi_host
