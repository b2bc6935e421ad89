// Hostile names through every entry point that takes one: the programs that run get exactly the words of the command
// lines, no shell ever runs, statuses and messages are the contract's, and nothing is left behind.
#include <filesystem>

#include "campaigns.h"
#include "hostile_names.h"
#include "name_sites.h"

namespace faults {

namespace {

namespace fs = std::filesystem;

struct NameCase {
  const NameSite& site;
  Names names;
  std::string name;
};

class NamesCampaign {
 public:
  explicit NamesCampaign(Campaign& campaign) : m_campaign(campaign) {
    // Whoever runs a shell runs something that is recorded.
    for (const char* shell : {"/bin/sh", "/bin/bash"}) m_machine.programs.install(shell);
    m_usual.mountPoint = m_machine.path("names/mount_point");
    m_usual.alternate = m_machine.path("names/alternate");
  }

  void runAll(const std::vector<NameSite>& sites) {
    for (const NameSite& site : sites) {
      for (const auto which : site.hostile) runPieces(site, which);
    }
  }

 private:
  // Each piece alone and as a part of a usual name. A short run takes the next few for every place.
  void runPieces(const NameSite& site, std::string Names::*which) {
    constexpr std::size_t shortRunTakesOneOf = 7;
    const std::string begin = which == &Names::options  ? "rw,"
                              : which == &Names::device ? "/dev/qm/dsk/dg/"
                                                        : m_machine.path("names/");
    for (const std::string& piece : hostilePieces()) {
      for (const std::string& lead : {std::string(), begin}) {
        if (m_campaign.quick() && m_number++ % shortRunTakesOneOf != 0) continue;
        NameCase one{site, m_usual, {}};
        one.names.*which = lead + piece;
        one.name = std::string(site.name) + " with " + describe(which) + " [" + (lead + piece).substr(0, 100) + "]";
        runCase(one);
      }
    }
  }

  static const char* describe(std::string Names::*which) {
    if (which == &Names::mountPoint) return "mount point";
    if (which == &Names::device) return "device";
    return which == &Names::options ? "options" : "alternate";
  }

  // The usual programs say that they have done their work, and do nothing.
  void reset(const NameCase& one) {
    m_machine.reset();
    for (const char* program : {"/bin/mkdir", "/bin/rmdir", "/bin/mount", "/bin/umount", "/opt/KRIB/bin/qmumount"}) {
      m_machine.programs.answer(program, Answer());
    }
    std::error_code ignored;
    const std::string& mountPoint = one.names.mountPoint;
    const bool isOurs = mountPoint.starts_with(m_machine.path("names/")) && mountPoint.find("..") == std::string::npos;
    if (isOurs) fs::create_directories(mountPoint, ignored);
    m_machine.beginWithTable(mountTableLine(one.site, one.names));
  }

  void runCase(const NameCase& one) {
    if (!m_campaign.wants(one.name)) return;
    m_campaign.begin(one.name);
    reset(one);
    ExpectedCalls expected;
    one.site.expect(expected, one.names);
    {
      Host host(m_machine);
      m_campaign.expect(host.start(), "the plug-in does not start");
      m_machine.programs.forget();
      const std::size_t first = host.transcript().size();
      NameCaller caller(host);
      one.site.run(caller, one.names);
      compare(expected, madeCalls(host, first));
      host.stop();
    }
    m_campaign.expectNone(m_machine.differences());
  }

  void compare(const ExpectedCalls& expected, const Calls& made) {
    m_campaign.expectEqual(expected.calls().results, made.results, "calls");
    m_campaign.expectEqual(expected.calls().commands, made.commands, "commands");
    m_campaign.count("commands", made.commands.size());
  }

  Campaign& m_campaign;
  Machine m_machine;
  Names m_usual;
  std::size_t m_number = 0;
};

}  // namespace

void runNamesCampaign(Campaign& campaign) {
  NamesCampaign names(campaign);
  names.runAll(quietNameSites());
  names.runAll(commandNameSites());
}

}  // namespace faults
