// qmfi resource format DEVICE [--force]
#include <unistd.h>

#include <iostream>
#include <nlohmann/json.hpp>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "failure/json_text.h"
#include "provider/claim.h"
#include "snapshot/own_snapshots.h"
#include "snapshot/progress.h"
#include "texts/translation.h"
#include "volume/device_content.h"

namespace qmfi_host {

namespace {

// Nothing is destroyed without somebody having said so: by --force, or by an answer at a terminal.
class ResourceFormat : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.argument("DEVICE", m_device, translatable("Device to be formatted; what is on it is lost"));
    options.flag("--force", m_force, translatable("Do not ask, and format also a device that holds something else"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    OpenProviders providers(settings);
    m_device = trustedDevice(providers, m_device);
    requireNoSnapshot(openState(settings), m_device);
    requireUnusedDevice(m_device, DevicePurpose::format);
    Provider& provider = providerOfDevice(providers, m_device);
    if (!m_force) requireConsent(provider, settings, out);
    settings.signals->throwIfPending();
    settings.progress->choice(m_device, provider.name(), "");
    settings.progress->step(Step::format, m_device);
    provider.format(m_device);
    if (settings.json) {
      out << jsonDocument({{"device", m_device}, {"outcome", "done"}});
    } else {
      out << translate("{0} formatted", m_device) << "\n";
    }
    return ExitStatus::done;
  }

 private:
  void requireConsent(Provider& provider, const Settings& settings, std::ostream& out) const {
    const std::string content = contentOf(m_device);
    if (!content.empty() && !provider.ownsContentOf(m_device)) {
      throw HostError(Failure::forceNeeded,
                      translate("{0} holds something else ({1}); --force formats it all the same", m_device, content))
          .about(m_device);
    }
    // A question would stand before the JSON.
    if (isatty(STDIN_FILENO) == 0 || settings.json) {
      throw HostError(
          Failure::forceNeeded,
          translate("formatting destroys what is on {0}; without a terminal to ask, --force is needed", m_device))
          .about(m_device);
    }
    out << translate("Formatting destroys what is on {0}. Type \"yes\" to go on:", m_device) << " " << std::flush;
    std::string answer;
    settings.signals->deliverDuring([&] { std::getline(std::cin, answer); });
    if (answer != "yes") throw HostError(translate("{0} is left as it is", m_device)).about(m_device);
  }

  std::string m_device;
  bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> makeResourceFormat() {
  return std::make_unique<ResourceFormat>();
}

}  // namespace qmfi_host
