// Programs that misbehave, wherever the provider runs one: they fail, hang, ignore signals, leave a daemon on the pipe,
// print too much, NULs or nothing, are missing or die by a signal.
#include <signal.h>

#include <chrono>
#include <set>

#include "campaigns.h"
#include "command_time.h"
#include "host_calls.h"

namespace faults {

namespace {

using std::chrono::seconds;

// How the command pipe sees the end of a program.
enum class End { success, failure, killed, timeout, missing };

struct Misbehaviour {
  std::string name;
  Answer answer;
  End end;
};

// What the contract makes of a command that does not succeed.
enum class Consequence {
  pipeError,    // status 6 with the pipe's error
  umountError,  // status 6 with the exit status
  notStarted,   // status 30 with the command
  none          // the call succeeds all the same
};

constexpr std::size_t moreThanIsKept = std::size_t{17} << 20;
constexpr std::size_t oneGigabyte = std::size_t{1} << 30;

// A place where the provider runs a program. run: drives the plug-in to it and returns the record of the call in
// question.
struct CallSite {
  const char* name;
  const char* program;
  Consequence consequence;
  const CallRecord& (*run)(Host& host);
  // Ends that have another consequence here.
  std::map<End, Consequence> exceptions = {};
};

const CallRecord& last(Host& host) {
  return host.transcript().back();
}

const CallRecord& start(Host& host) {
  host.start();
  return last(host);
}

using MountSnapshot = qmfi_objid*(Host& host, kfi_domain& node, kfi_subobj_entry* entries, qmfi_objid* snapshot);

const CallRecord& mountAlternate(Host& host, MountSnapshot* mountSnapshot) {
  host.start();
  kfi_domain& node = host.initialisedNode(host.machine.fileSystem(0));
  const std::string alternate = host.machine.path("alternate");
  kfi_subobj_entry entries[] = {{node.fid_objid->vid_name, host.text(alternate)}, {nullptr, nullptr}};
  host.mayStay.paths.push_back(alternate);
  mountSnapshot(host, node, entries, host.provider.object("/dev/qm/dsk/dg/snapshot"));
  return last(host);
}

const CallRecord& buildAlternate(Host& host) {
  return mountAlternate(host, buildAlternateTree);
}

const CallRecord& importTree(Host& host) {
  return mountAlternate(host, importAlternateTree);
}

const CallRecord& deport(Host& host) {
  host.start();
  const std::string mountPoint = host.machine.fileSystem(1);
  host.mayStay.paths.push_back(mountPoint);
  deportTree(host, nullptr, host.node(mountPoint));
  return last(host);
}

// The device is busy at first, so that the unmount is tried again.
const CallRecord& deportBusy(Host& host) {
  host.machine.programs.answerNext("/opt/KRIB/bin/qmumount", Answer().complains("target is busy").exits(32));
  return deport(host);
}

const CallRecord& disableAccess(Host& host) {
  host.start();
  host.mayStay.paths.push_back(host.machine.fileSystem(0));
  kfi_node_subobj_list list{&host.node(host.machine.fileSystem(0)), nullptr, nullptr};
  host.make("disable_access", [&] { return host.call.disable_access(&list, 0); });
  return last(host);
}

const CallRecord& enableAccess(Host& host) {
  host.start();
  const std::string mountPoint = host.machine.path("enabled");
  host.mayStay.paths.push_back(mountPoint);
  kfi_subobj_list device{host.provider.object("/dev/qm/dsk/dg/spare"), nullptr};
  kfi_node_subobj_list list{&host.node(mountPoint), &device, nullptr};
  list.kns_node->fid_attr = 0x40;
  host.make("enable_access", [&] { return host.call.enable_access(&list, 0, 0, 0); });
  return last(host);
}

const CallRecord& cacheDisable(Host& host) {
  host.start();
  kfi_domain& node = host.initialisedNode(host.machine.fileSystem(0));
  host.make("cache_disable", [&] { return host.call.cache_disable(&node); });
  return last(host);
}

const CallRecord& isParent(Host& host) {
  host.start();
  askWhetherParent(host, "/dev/qm/dsk/dg/spare");
  return last(host);
}

const CallRecord& format(Host& host) {
  host.start();
  host.mayStay.temporaryMountPoints = true;
  formatDevice(host, "/dev/qm/dsk/dg/spare", nullptr);
  return last(host);
}

const CallRecord& onlineResource(Host& host) {
  host.start();
  const std::string mountPoint = host.machine.path("resource");
  host.mayStay.paths.push_back(mountPoint);
  bringResourceOnline(host, "/dev/qm/dsk/dg/spare", host.text(mountPoint), nullptr, nullptr);
  return last(host);
}

// The mount fails at first, so that the file system is checked.
const CallRecord& onlineResourceWithCheck(Host& host) {
  host.machine.programs.answerNext("/bin/mount", Answer().exits(32));
  return onlineResource(host);
}

// An unmount that fails for good, so that what is known is dumped.
const CallRecord& dump(Host& host) {
  host.machine.programs.answer("/opt/KRIB/bin/qmumount", Answer().complains("usage: qmumount directory").exits(2));
  host.machine.programs.answer("/bin/umount", Answer().exits(3));
  return deport(host);
}

const CallRecord& online(Host& host) {
  host.start();
  const std::string mountPoint = host.machine.fileSystem(0);
  kfi_domain& node = host.initialisedNode(mountPoint);
  host.mayStay.paths.push_back(mountPoint);
  host.machine.table.write(host.machine.device(1) + " " + host.machine.fileSystem(1) + " qmfs rw,log 0 0\n");
  host.make("online", [&] { return host.call.online(nullptr, &node, 1, 0); });
  return last(host);
}

const std::vector<CallSite> callSites = {
    // The last program of a pipeline decides, unless the pipeline never got that far.
    {"query of the packages",
     "/bin/rpm",
     Consequence::none,
     start,
     {{End::timeout, Consequence::notStarted}, {End::missing, Consequence::notStarted}}},
    {"search in the packages", "/bin/grep", Consequence::notStarted, start},
    {"directory of a snapshot", "/bin/mkdir", Consequence::pipeError, buildAlternate},
    {"mount of a snapshot", "/bin/mount", Consequence::pipeError, buildAlternate},
    {"directory of an import", "/bin/mkdir", Consequence::pipeError, importTree},
    {"mount of an import", "/bin/mount", Consequence::pipeError, importTree},
    // Without it, the plain one does.
    {"forced unmount", "/opt/KRIB/bin/qmumount", Consequence::umountError, deport, {{End::missing, Consequence::none}}},
    {"retry of a busy unmount",
     "/opt/KRIB/bin/qmumount",
     Consequence::pipeError,
     deportBusy,
     {{End::missing, Consequence::none}}},
    {"removal of a mount point", "/bin/rmdir", Consequence::pipeError, deport},
    {"plain unmount", "/bin/umount", Consequence::umountError, disableAccess},
    {"directory of access", "/bin/mkdir", Consequence::pipeError, enableAccess},
    {"check before access", "/sbin/fsck", Consequence::pipeError, enableAccess},
    {"mount for access", "/bin/mount", Consequence::pipeError, enableAccess},
    {"remount", "/bin/mount", Consequence::pipeError, cacheDisable},
    {"type of a device", "/opt/KRIBqmfs/sbin/fstyp", Consequence::none, isParent},
    {"making of a file system", "/sbin/mkfs", Consequence::pipeError, format},
    {"directory of a test mount", "/bin/mkdir", Consequence::pipeError, format},
    {"test mount", "/bin/mount", Consequence::pipeError, format},
    {"unmount of a test mount", "/bin/umount", Consequence::umountError, format},
    {"directory of a resource", "/bin/mkdir", Consequence::pipeError, onlineResource},
    {"mount of a resource", "/bin/mount", Consequence::pipeError, onlineResource},
    {"check of a resource", "/sbin/fsck", Consequence::pipeError, onlineResourceWithCheck},
    {"users in a dump", "/sbin/fuser", Consequence::umountError, dump},
    {"directory to be online", "/bin/mkdir", Consequence::pipeError, online},
    {"mount to be online", "/bin/mount", Consequence::pipeError, online},
};

std::string number(int value) {
  return std::to_string(value);
}

// The usual work of the program, then an odd way to end.
std::vector<Misbehaviour> misbehaviours() {
  std::vector<Misbehaviour> list = {
      {"prints nothing", Answer(), End::success},
      {"hangs", Answer().hangs(), End::timeout},
      {"leaves a daemon on the pipe", Answer().leavesDaemon(), End::success},
      {"prints NULs", Answer().printsZeros(3), End::success},
      {"is missing", Answer(), End::missing},
      {"ignores SIGTERM and hangs", Answer().ignoresSignal(SIGTERM).hangs(), End::timeout},
      {"prints 17 MB", Answer().floods(moreThanIsKept), End::success},
      {"prints 1 GB", Answer().floods(oneGigabyte), End::success},
      {"leaves a daemon and hangs", Answer().leavesDaemon().hangs(), End::timeout},
      {"prints and hangs", Answer().prints("working").hangs(), End::timeout},
      {"prints 17 MB and fails", Answer().floods(moreThanIsKept).exits(1), End::failure},
      {"prints NULs and fails", Answer().printsZeros(100000).exits(1), End::failure},
      {"leaves a daemon and fails", Answer().leavesDaemon().exits(1), End::failure},
      {"prints 17 MB of NULs and hangs", Answer().printsZeros(moreThanIsKept).hangs(), End::timeout},
      {"prints an unended line and fails", Answer().printsUnended("not quite").exits(1), End::failure},
  };
  for (const int status : {1, 2, 3, 16, 32, 64, 77, 100, 125, 126, 127, 128, 137, 255}) {
    list.push_back({"fails with " + number(status), Answer().exits(status), End::failure});
  }
  for (const int signal :
       {SIGHUP, SIGINT, SIGQUIT, SIGABRT, SIGKILL, SIGSEGV, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGBUS}) {
    list.push_back({"dies by signal " + number(signal), Answer().diesOf(signal), End::killed});
  }
  return list;
}

Consequence consequenceOf(const CallSite& site, End end) {
  if (end == End::success) return Consequence::none;
  const auto exception = site.exceptions.find(end);
  return exception != site.exceptions.end() ? exception->second : site.consequence;
}

// What an answer does beside, so that a program which succeeds has done its work.
Answer withUsualWork(const CallSite& site, const Misbehaviour& misbehaviour) {
  const std::string program = site.program;
  Answer answer;
  if (misbehaviour.end == End::success) {
    if (program == "/bin/mkdir") answer.makesDirectory();
    if (program == "/bin/rmdir") answer.removesDirectory();
    if (program == "/bin/mount" && site.run != cacheDisable) answer.mountsAsAsked();
    if (program == "/bin/umount" || program == "/opt/KRIB/bin/qmumount") answer.unmounts();
  }
  return answer.then(misbehaviour.answer);
}

void checkRecord(Campaign& campaign, const CallRecord& record, Consequence consequence) {
  const auto begins = [&](const char* id) {
    return !record.messages.empty() && record.messages.front().starts_with(std::string(id) + " ");
  };
  const auto expectStatus = [&](int status) {
    campaign.expectEqual<std::int64_t>(status, record.status, "status of " + record.entryPoint);
  };
  switch (consequence) {
    case Consequence::none:
      expectStatus(0);
      campaign.expectEqual<std::vector<std::string>>({}, record.messages, "messages");
      break;
    case Consequence::pipeError:
      expectStatus(6);
      campaign.expect(begins("MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION"), "the pipe's error is not pushed");
      break;
    case Consequence::umountError:
      expectStatus(6);
      campaign.expect(begins("MSG_ERROR_UNHANDLED_INT_EXCEPTION"), "the exit status is not pushed");
      break;
    case Consequence::notStarted:
      expectStatus(30);
      campaign.expect(begins("MSG_ERROR_COMMAND_FAILED"), "the failed command is not pushed");
      break;
  }
}

void runCase(Campaign& campaign, Machine& machine, const CallSite& site, const Misbehaviour& misbehaviour) {
  const std::string name = std::string(site.name) + " " + misbehaviour.name;
  if (!campaign.wants(name)) return;
  campaign.begin(name);
  machine.reset();
  if (misbehaviour.end == End::timeout) {
    // A search that had ended would end the query before it, at whatever that prints next.
    machine.programs.answer("/bin/grep", Answer().readsInput());
  }
  if (misbehaviour.end == End::missing) {
    machine.programs.remove(site.program);
  } else {
    machine.programs.answer(site.program, withUsualWork(site, misbehaviour));
  }
  // Only what hangs takes its time; everything else may take as long as a busy machine needs.
  setCommandTimeout(misbehaviour.end == End::timeout ? seconds(1) : seconds(60));
  {
    Host host(machine);
    const bool isDump = site.run == dump;
    checkRecord(campaign, site.run(host), isDump ? Consequence::umountError : consequenceOf(site, misbehaviour.end));
    host.stop();
    machine.programs.endDaemons();
    campaign.expectNone(machine.differences(host.mayStay));
  }
  machine.programs.install(site.program);
  useProvidersCommandTimeout();
}

}  // namespace

void runChildrenCampaign(Campaign& campaign) {
  Machine machine;
  const std::vector<Misbehaviour> all = misbehaviours();
  for (std::size_t i = 0; i < callSites.size(); ++i) {
    for (std::size_t k = 0; k < all.size(); ++k) {
      // A short run takes every call site once, each with the next misbehaviour.
      if (!campaign.quick() || k == i % all.size()) runCase(campaign, machine, callSites[i], all[k]);
    }
  }
}

}  // namespace faults
