// qmfi thaw MOUNTPOINT...
#include <fcntl.h>

#include "cfifreezewatchdog.h"
#include "cli/command_table.h"
#include "cli/object_results.h"
#include "failure/host_error.h"
#include "failure/one_line.h"
#include "provider/thaw_requests.h"
#include "snapshot/thaw.h"
#include "system/descriptor.h"
#include "texts/translation.h"
#include "trust/trusted_path.h"

namespace qmfi_host {

namespace {

using qmfi_pdk_4_4::CFiThawAnswer;
using qmfi_pdk_4_4::thawFileSystem;

// Whoever could write there would choose a request that root makes; the kernel's own is always at hand.
std::vector<unsigned long> trustedThawRequests(const std::filesystem::path& directory) {
  const bool isTrusted = tryOrReport([&] { requireTrusted(directory); });
  return isTrusted ? installedThawRequests(directory) : std::vector<unsigned long>{FITHAW};
}

// For an emergency: it needs no lock, no state and no provider, all of which may lie on what is frozen.
class Thaw : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.arguments("MOUNTPOINT", m_mountPoints, translatable("File systems that may be frozen"));
  }

  WrongSettings wrongSettings() const override { return WrongSettings::tell; }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    const std::vector<unsigned long> requests = trustedThawRequests(settings.providerDirectory);
    ObjectResults results(settings, out);
    for (const std::string& mountPoint : m_mountPoints) {
      results.add({{"mount_point", mountPoint}}, [&](Json&) {
        const bool wasFrozen = thaw(mountPoint, requests);
        const std::string name = inOneLine(mountPoint);
        results.tell(wasFrozen ? translate("{0}: thawed", name) : translate("{0}: was not frozen", name));
        return wasFrozen ? "thawed" : "not_frozen";
      });
    }
    return results.finish();
  }

 private:
  // Whether it was frozen.
  static bool thaw(const std::string& mountPoint, const std::vector<unsigned long>& requests) {
    const qmfi_system::Descriptor directory(open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid()) throw systemErrorOfNamed(translate("{0} cannot be opened", mountPoint)).about(mountPoint);
    int error = 0;
    for (const unsigned long request : requests) {
      const CFiThawAnswer answer = thawFileSystem({directory.get(), request});
      if (answer.thawed) return true;
      if (error == 0) error = answer.error;
    }
    if (error != 0) throw cannotBeThawed(mountPoint, error);
    return false;
  }

  std::vector<std::string> m_mountPoints;
};

}  // namespace

std::unique_ptr<Command> makeThaw() {
  return std::make_unique<Thaw>();
}

}  // namespace qmfi_host
